#pragma once

#include <ffnvcodec/nvEncodeAPI.h>

// The presets of old are marked as deprecated in the header; a driver has them all the same.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
