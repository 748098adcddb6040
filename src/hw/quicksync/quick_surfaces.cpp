#include "hw/quicksync/quick_surfaces.h"

#include <algorithm>

#include "hw/quicksync/va_allocator.h"

namespace xv {
namespace {

// Pictures beyond what the runtime holds, so that it need not wait for the next one.
constexpr int kSpareFrames = 4;

ImageView ViewOfSurface(const mfxFrameSurface1& surface) {
  const std::ptrdiff_t pitch =
      (std::ptrdiff_t{surface.Data.PitchHigh} << 16) | surface.Data.PitchLow;
  ImageView view;
  view.tag = kFccNV12;
  view.width = surface.Info.CropW;
  view.height = surface.Info.CropH;
  view.chromaHeight = view.height / 2;
  view.data = {surface.Data.Y, surface.Data.UV, nullptr};
  view.step = {pitch, pitch, 0};
  return view;
}

void CopyNv12(const ImageView& from, const ImageView& to) {
  const std::size_t bytes[] = {static_cast<std::size_t>(to.width),
                               static_cast<std::size_t>(to.width + (to.width & 1))};
  const int rows[] = {to.height, to.height / 2};
  for (const std::size_t plane : {0u, 1u}) {
    const std::ptrdiff_t step = from.step[plane] == 0 ? to.step[plane] : from.step[plane];
    CopyPlane(from.data[plane], step, to.data[plane], to.step[plane], bytes[plane], rows[plane]);
  }
}

// Runs `work` with a copy of the frame's surface whose planes can be reached: the runtime may be
// reading the surface itself.
template <typename Work>
mfxStatus WhileLocked(const CInputFrame& frame, Work work) {
  mfxFrameSurface1 surface = frame.surface;
  if (!frame.allocator) {
    work(surface);
    return MFX_ERR_NONE;
  }
  const mfxStatus status = frame.allocator->Lock(surface.Data.MemId, &surface.Data);
  if (status != MFX_ERR_NONE) return status;
  work(surface);
  return frame.allocator->Unlock(surface.Data.MemId, &surface.Data);
}

}  // namespace

Status QuickSurfaces::MakeAllocator(QuickSession& session, const QuickSettings& settings) {
  if (settings.gpuMemory && session.hardware()) {
    allocator_ = MakeRef<XvQSAllocatorHW>(session.device());
    return session.Check("MFXVideoCORE_SetFrameAllocator",
                         MFXVideoCORE_SetFrameAllocator(session.handle(), allocator_->Record()));
  }
  if (settings.useVpp) allocator_ = MakeRef<XvQSAllocatorSW>();
  return S_OK;
}

Status QuickSurfaces::AllocateFrames(QuickSession& session, mfxFrameAllocRequest request) {
  if (allocator_->IsHardware() && vpp_) request.Type |= MFX_MEMTYPE_FROM_VPPOUT;
  request.NumFrameSuggested = static_cast<mfxU16>(std::min<std::size_t>(limit_, 0xFFFF));
  mfxFrameAllocResponse response{};
  const mfxStatus code = allocator_->Alloc(&request, &response);
  RETURN_IF_FAILED(session.Check("memory of the encoder's surfaces", code));
  for (int i = 0; i < response.NumFrameActual; ++i) {
    auto frame = NewFrame();
    frame->allocator = allocator_;
    frame->surface.Data.MemId = response.mids[i];
    // Memory of the system stays reachable: the runtime has no allocator to ask.
    if (!allocator_->IsHardware()) {
      (void)allocator_->Lock(frame->surface.Data.MemId, &frame->surface.Data);
    }
    free_.push_back(std::move(frame));
  }
  limit_ = free_.size();
  return S_OK;
}

Status QuickSurfaces::Build(QuickSession& session, const QuickSettings& settings) {
  Clear();
  info_ = settings.param.mfx.FrameInfo;
  RETURN_IF_FAILED(MakeAllocator(session, settings));
  LinkedParam param(settings);
  if (settings.useVpp) vpp_ = MakeRef<XvQSVPP>(session.handle(), allocator_, param.get());
  mfxFrameAllocRequest request{};
  RETURN_IF_FAILED(
      session.Check("MFXVideoENCODE_QueryIOSurf",
                    MFXVideoENCODE_QueryIOSurf(session.handle(), param.get(), &request)));
  // Access units are kept until their group is whole, and pictures with them.
  limit_ = std::size_t{std::max(request.NumFrameSuggested, request.NumFrameMin)} + kSpareFrames +
           settings.param.mfx.GopRefDist;
  return allocator_ ? AllocateFrames(session, request) : Status(S_OK);
}

void QuickSurfaces::Clear() {
  vpp_ = nullptr;
  free_.clear();
  allocator_ = nullptr;
  limit_ = 0;
}

std::unique_ptr<CInputFrame> QuickSurfaces::NewFrame() const {
  auto frame = std::make_unique<CInputFrame>();
  frame->surface.Info = info_;
  return frame;
}

std::unique_ptr<CInputFrame> QuickSurfaces::Take() {
  if (!free_.empty()) {
    auto frame = std::move(free_.back());
    free_.pop_back();
    return frame;
  }
  if (allocator_) return nullptr;
  auto frame = NewFrame();
  const std::size_t luma = std::size_t{info_.Width} * info_.Height;
  frame->bytes.resize(luma * 3 / 2);
  mfxFrameData& data = frame->surface.Data;
  data.PitchLow = info_.Width;
  data.Y = frame->bytes.data();
  data.UV = data.Y + luma;
  data.V = data.UV + 1;
  return frame;
}

void QuickSurfaces::PutBack(std::unique_ptr<CInputFrame> frame) {
  free_.push_back(std::move(frame));
}

mfxStatus QuickSurfaces::CopyIn(const ImageView& picture, CInputFrame& frame) const {
  return WhileLocked(
      frame, [&](const mfxFrameSurface1& surface) { CopyNv12(picture, ViewOfSurface(surface)); });
}

mfxStatus QuickSurfaces::CopyOut(CInputFrame& frame, std::vector<mfxU8>* bytes,
                                 ImageView* picture) const {
  const std::size_t luma = std::size_t{info_.Width} * info_.Height;
  bytes->resize(luma * 3 / 2);
  mfxFrameSurface1 copy{};
  copy.Info = info_;
  copy.Data.PitchLow = info_.Width;
  copy.Data.Y = bytes->data();
  copy.Data.UV = copy.Data.Y + luma;
  *picture = ViewOfSurface(copy);
  return WhileLocked(
      frame, [&](const mfxFrameSurface1& surface) { CopyNv12(ViewOfSurface(surface), *picture); });
}

}  // namespace xv
