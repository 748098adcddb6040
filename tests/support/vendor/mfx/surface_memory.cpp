#include "support/vendor/mfx/surface_memory.h"

#include "support/vendor/ledger.h"
#include "support/vendor/va/va_memory.h"

namespace xv::mfx {
namespace {

constexpr std::uint64_t kHashStart = 1469598103934665603U;
constexpr std::uint64_t kHashStep = 1099511628211U;

std::uint64_t HashRows(std::uint64_t hash, const std::uint8_t* rows, int pitch, int width,
                       int height) {
  for (int y = 0; y < height; ++y) {
    const std::uint8_t* row = rows + static_cast<std::ptrdiff_t>(y) * pitch;
    for (int x = 0; x < width; ++x) hash = (hash ^ row[x]) * kHashStep;
  }
  return hash;
}

}  // namespace

SurfaceMemory::SurfaceMemory(const mfxFrameSurface1& surface, const mfxFrameAllocator* allocator,
                             bool video) {
  if (surface.Data.Y != nullptr) {
    if (video) vendor::Ledger::Get().Broke("pointers of a surface in video memory");
    data_ = surface.Data;
  } else if (allocator == nullptr) {
    vendor::Ledger::Get().Broke("a surface of an allocator, and the session has none");
  } else if (video) {
    allocator_ = allocator;
    OpenVideo(surface.Data.MemId);
    allocator_ = nullptr;
  } else if (allocator->Lock(allocator->pthis, surface.Data.MemId, &data_) == MFX_ERR_NONE) {
    allocator_ = allocator;
    id_ = surface.Data.MemId;
  }
}

void SurfaceMemory::OpenVideo(mfxMemId id) {
  mfxHDL handle = nullptr;
  if (allocator_->GetHDL(allocator_->pthis, id, &handle) != MFX_ERR_NONE || handle == nullptr) {
    return vendor::Ledger::Get().Broke("a surface without a handle");
  }
  va::SurfaceView view;
  if (!va::FindSurface(*static_cast<const VASurfaceID*>(handle), &view)) {
    return vendor::Ledger::Get().Broke("a surface that the VA driver does not know");
  }
  mapped_ = view.mapped;
  data_.Y = view.luma;
  data_.UV = view.chroma;
  data_.Pitch = static_cast<mfxU16>(view.pitch);
}

SurfaceMemory::~SurfaceMemory() {
  if (allocator_ != nullptr) allocator_->Unlock(allocator_->pthis, id_, &data_);
}

std::uint64_t SurfaceMemory::Hash(const mfxFrameInfo& info) const {
  const std::uint64_t luma = HashRows(kHashStart, Luma(), Pitch(), info.CropW, info.CropH);
  return HashRows(luma, Chroma(), Pitch(), info.CropW, info.CropH / 2);
}

}  // namespace xv::mfx
