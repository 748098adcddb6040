#pragma once

// Intel's interface as both of its dispatchers have it: libmfx, and libvpl in its place where the
// build says so. The successor's headers call what the older one has deprecated; all that is called
// here is exported by both, and that word is all that differs.
#define MFX_DEPRECATED_OFF
#include <mfxvideo.h>

#include <string>

namespace xv {

// For a person: "MFXVideoENCODE_Init: the parameters are not valid (MFX -15)".
std::string QuickErrorText(const char* call, mfxStatus code);

// The device is gone, or hangs: a new session helps.
bool IsDeviceFailure(mfxStatus code);

}  // namespace xv
