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
  bool mapped = false;  // by a client
};

// False when there is no such surface.
bool FindSurface(VASurfaceID id, SurfaceView* view);

}  // namespace xv::va
