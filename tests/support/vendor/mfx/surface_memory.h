#pragma once

#include <cstdint>

#include "support/vendor/mfx/mfx_header.h"

namespace xv::mfx {

// The pixels of a client's surface while it lives: where the surface points, or through the
// client's allocator.
class SurfaceMemory {
 public:
  // `allocator` may be null. `video`: the allocator's memory is a surface of VA-API.
  SurfaceMemory(const mfxFrameSurface1& surface, const mfxFrameAllocator* allocator, bool video);
  ~SurfaceMemory();
  SurfaceMemory(const SurfaceMemory&) = delete;
  SurfaceMemory& operator=(const SurfaceMemory&) = delete;

  // In video memory, by the client.
  bool Mapped() const { return mapped_; }
  bool Ok() const { return data_.Y != nullptr; }
  const std::uint8_t* Luma() const { return data_.Y; }
  const std::uint8_t* Chroma() const { return data_.UV; }
  int Pitch() const { return data_.Pitch; }
  // Of all pixels in the crop of `info`.
  std::uint64_t Hash(const mfxFrameInfo& info) const;

 private:
  void OpenVideo(mfxMemId id);

  const mfxFrameAllocator* allocator_ = nullptr;  // to be unlocked
  mfxMemId id_ = nullptr;
  mfxFrameData data_{};
  bool mapped_ = false;
};

}  // namespace xv::mfx
