#pragma once

#include <va/va.h>

#include <cstdint>

// What the stand-in of the VA driver holds, for those that work with its surfaces. Any thread.
namespace xv::va {

// Initialised, and not terminated yet.
bool DisplayLives(const void* display);

struct SurfaceView {
  std::uint8_t* luma = nullptr;
  std::uint8_t* chroma = nullptr;  // NV12
  int pitch = 0;
  int width = 0, height = 0;
};

// False when there is no such surface. A surface that a client has mapped breaks a rule: the device
// must not work with it.
bool FindSurface(VASurfaceID id, SurfaceView* view);

}  // namespace xv::va
