#pragma once

// The successor's headers call what the older interface has deprecated.
#define MFX_DEPRECATED_OFF
#include <mfxvideo.h>
