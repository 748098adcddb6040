#include "hw/quicksync/va_allocator.h"

#include <atomic>

namespace xv {
namespace {

// What an identifier of a frame points to. The one who has set `locked` owns `image`.
struct VaFrame {
  VASurfaceID surface = VA_INVALID_SURFACE;
  VAImage image{};
  std::atomic<bool> locked{false};
};

VaFrame* FrameOf(mfxMemId id) { return static_cast<VaFrame*>(id); }

void SetPlanes(const VAImage& image, mfxU8* memory, mfxFrameData* data) {
  data->Y = memory + image.offsets[0];
  data->UV = memory + image.offsets[1];
  data->V = data->UV + 1;
  data->PitchHigh = static_cast<mfxU16>(image.pitches[0] >> 16);
  data->PitchLow = static_cast<mfxU16>(image.pitches[0]);
}

// Derives and maps; what was done of it is undone when it fails.
mfxStatus MapFrame(const VaDevice& device, VaFrame& frame, mfxFrameData* data) {
  const VaFunctions& va = device.calls();
  if (va.syncSurface(device.display(), frame.surface) != VA_STATUS_SUCCESS ||
      va.deriveImage(device.display(), frame.surface, &frame.image) != VA_STATUS_SUCCESS) {
    return MFX_ERR_LOCK_MEMORY;
  }
  const bool usable = frame.image.format.fourcc == VA_FOURCC_NV12 &&
                      frame.image.pitches[0] == frame.image.pitches[1];
  void* memory = nullptr;
  if (usable && va.mapBuffer(device.display(), frame.image.buf, &memory) == VA_STATUS_SUCCESS) {
    SetPlanes(frame.image, static_cast<mfxU8*>(memory), data);
    return MFX_ERR_NONE;
  }
  (void)va.destroyImage(device.display(), frame.image.image_id);
  return MFX_ERR_LOCK_MEMORY;
}

}  // namespace

mfxStatus XvQSAllocatorHW::Lock(mfxMemId id, mfxFrameData* data) {
  if (data == nullptr) return MFX_ERR_NULL_PTR;
  if (id == nullptr) return MFX_ERR_INVALID_HANDLE;
  VaFrame& frame = *FrameOf(id);
  if (frame.locked.exchange(true)) return MFX_ERR_LOCK_MEMORY;
  const mfxStatus status = MapFrame(*device_, frame, data);
  if (status != MFX_ERR_NONE) frame.locked = false;
  return status;
}

mfxStatus XvQSAllocatorHW::Unlock(mfxMemId id, mfxFrameData* data) {
  if (id == nullptr || !FrameOf(id)->locked) return MFX_ERR_INVALID_HANDLE;
  VaFrame& frame = *FrameOf(id);
  const VaFunctions& va = device_->calls();
  const bool unmapped = va.unmapBuffer(device_->display(), frame.image.buf) == VA_STATUS_SUCCESS;
  const bool destroyed =
      va.destroyImage(device_->display(), frame.image.image_id) == VA_STATUS_SUCCESS;
  frame.locked = false;
  if (data != nullptr) data->Y = data->UV = data->V = nullptr;
  return unmapped && destroyed ? MFX_ERR_NONE : MFX_ERR_DEVICE_FAILED;
}

mfxStatus XvQSAllocatorHW::GetHDL(mfxMemId id, mfxHDL* handle) {
  if (handle == nullptr) return MFX_ERR_NULL_PTR;
  if (id == nullptr) return MFX_ERR_INVALID_HANDLE;
  *handle = &FrameOf(id)->surface;
  return MFX_ERR_NONE;
}

mfxStatus XvQSAllocatorHW::MakeFrames(const mfxFrameAllocRequest& request, std::size_t count,
                                      std::vector<mfxMemId>* ids) {
  if (request.Info.FourCC != MFX_FOURCC_NV12) return MFX_ERR_UNSUPPORTED;
  if (request.Type & MFX_MEMTYPE_SYSTEM_MEMORY) return MFX_ERR_UNSUPPORTED;
  VASurfaceAttrib layout{};
  layout.type = VASurfaceAttribPixelFormat;
  layout.flags = VA_SURFACE_ATTRIB_SETTABLE;
  layout.value.type = VAGenericValueTypeInteger;
  layout.value.value.i = VA_FOURCC_NV12;
  std::vector<std::unique_ptr<VaFrame>> frames(count);
  for (auto& frame : frames) frame = std::make_unique<VaFrame>();
  std::vector<VASurfaceID> surfaces(count, VA_INVALID_SURFACE);
  ids->reserve(count);
  const VAStatus code = device_->calls().createSurfaces(
      device_->display(), VA_RT_FORMAT_YUV420, request.Info.Width, request.Info.Height,
      surfaces.data(), static_cast<unsigned>(count), &layout, 1);
  if (code != VA_STATUS_SUCCESS) return MFX_ERR_MEMORY_ALLOC;
  for (std::size_t i = 0; i < count; ++i) {
    frames[i]->surface = surfaces[i];
    ids->push_back(frames[i].release());
  }
  return MFX_ERR_NONE;
}

void XvQSAllocatorHW::GiveUpFrames(const std::vector<mfxMemId>& ids) {
  for (const mfxMemId id : ids) {
    if (FrameOf(id)->locked) (void)Unlock(id, nullptr);
    (void)device_->calls().destroySurfaces(device_->display(), &FrameOf(id)->surface, 1);
    delete FrameOf(id);
  }
}

}  // namespace xv
