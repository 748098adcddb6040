#include "hw/quicksync/quick_allocator.h"

#include <algorithm>
#include <new>

namespace xv {
namespace {

constexpr mfxU16 kShared = MFX_MEMTYPE_EXTERNAL_FRAME | MFX_MEMTYPE_FROM_DECODE;

// Runs `work` on the allocator behind the record. No exception reaches the runtime.
template <typename Work>
mfxStatus OnAllocator(mfxHDL pthis, Work work) {
  if (pthis == nullptr) return MFX_ERR_NULL_PTR;
  try {
    return work(*static_cast<XvQSAllocatorBase*>(pthis));
  } catch (const std::bad_alloc&) {
    return MFX_ERR_MEMORY_ALLOC;
  }
}

mfxStatus AllocEntry(mfxHDL pthis, mfxFrameAllocRequest* request, mfxFrameAllocResponse* response) {
  return OnAllocator(pthis, [&](auto& self) { return self.Alloc(request, response); });
}
mfxStatus LockEntry(mfxHDL pthis, mfxMemId id, mfxFrameData* data) {
  return OnAllocator(pthis, [&](auto& self) { return self.Lock(id, data); });
}
mfxStatus UnlockEntry(mfxHDL pthis, mfxMemId id, mfxFrameData* data) {
  return OnAllocator(pthis, [&](auto& self) { return self.Unlock(id, data); });
}
mfxStatus HandleEntry(mfxHDL pthis, mfxMemId id, mfxHDL* handle) {
  return OnAllocator(pthis, [&](auto& self) { return self.GetHDL(id, handle); });
}
mfxStatus FreeEntry(mfxHDL pthis, mfxFrameAllocResponse* response) {
  return OnAllocator(pthis, [&](auto& self) { return self.Free(response); });
}

}  // namespace

XvQSAllocatorBase::XvQSAllocatorBase() {
  record_.pthis = this;
  record_.Alloc = AllocEntry;
  record_.Lock = LockEntry;
  record_.Unlock = UnlockEntry;
  record_.GetHDL = HandleEntry;
  record_.Free = FreeEntry;
}

void XvQSAllocatorBase::Answer(const Set& set, mfxFrameAllocResponse* response) {
  *response = {};
  response->AllocId = set.allocId;
  response->mids = const_cast<mfxMemId*>(set.ids.data());
  response->NumFrameActual = static_cast<mfxU16>(set.ids.size());
}

mfxStatus XvQSAllocatorBase::Alloc(const mfxFrameAllocRequest* request,
                                   mfxFrameAllocResponse* response) {
  if (request == nullptr || response == nullptr) return MFX_ERR_NULL_PTR;
  const std::scoped_lock lock(lock_);
  const auto same = std::ranges::find_if(sets_, [&](const auto& set) {
    return set->allocId == request->AllocId && set->type == request->Type;
  });
  if ((request->Type & kShared) == kShared && same != sets_.end()) {
    ++(*same)->references;
    Answer(**same, response);
    return MFX_ERR_NONE;
  }
  auto set = std::make_unique<Set>(Set{request->AllocId, request->Type, {}, 1});
  sets_.reserve(sets_.size() + 1);
  const std::size_t count = std::max(request->NumFrameSuggested, request->NumFrameMin);
  const mfxStatus status = MakeFrames(*request, count, &set->ids);
  if (status != MFX_ERR_NONE) return status;
  Answer(*set, response);
  sets_.push_back(std::move(set));
  return MFX_ERR_NONE;
}

mfxStatus XvQSAllocatorBase::Free(mfxFrameAllocResponse* response) {
  if (response == nullptr) return MFX_ERR_NULL_PTR;
  const std::scoped_lock lock(lock_);
  const auto found = std::ranges::find_if(
      sets_, [&](const auto& set) { return set->ids.data() == response->mids; });
  if (response->mids == nullptr || found == sets_.end()) return MFX_ERR_INVALID_HANDLE;
  *response = {};
  if (--(*found)->references > 0) return MFX_ERR_NONE;
  GiveUpFrames((*found)->ids);
  sets_.erase(found);
  return MFX_ERR_NONE;
}

void XvQSAllocatorBase::GiveUpAll() {
  const std::scoped_lock lock(lock_);
  for (const auto& set : sets_) GiveUpFrames(set->ids);
  sets_.clear();
}

// --- system memory ---

mfxStatus XvQSAllocatorSW::Memory(mfxMemId id, const mfxFrameData* data, mfxU8** memory) {
  if (data == nullptr) return MFX_ERR_NULL_PTR;
  if (memory == nullptr) return MFX_ERR_NONE;
  *memory = id != nullptr ? static_cast<mfxU8*>(id) : data->Y;
  return *memory == nullptr ? MFX_ERR_UNDEFINED_BEHAVIOR : MFX_ERR_NONE;
}

mfxStatus XvQSAllocatorSW::Lock(mfxMemId id, mfxFrameData* data) {
  mfxU8* memory = nullptr;
  const mfxStatus status = Memory(id, data, &memory);
  if (status != MFX_ERR_NONE) return status;
  const std::scoped_lock lock(framesLock_);
  const auto frame = frames_.find(memory);
  if (frame == frames_.end()) return id == nullptr ? MFX_ERR_NONE : MFX_ERR_INVALID_HANDLE;
  data->Y = memory;
  data->UV = memory + std::size_t{frame->second.pitch} * frame->second.height;
  data->V = data->UV + 1;
  data->PitchHigh = 0;
  data->PitchLow = frame->second.pitch;
  return MFX_ERR_NONE;
}

mfxStatus XvQSAllocatorSW::MakeFrames(const mfxFrameAllocRequest& request, std::size_t count,
                                      std::vector<mfxMemId>* ids) {
  if (request.Info.FourCC != MFX_FOURCC_NV12) return MFX_ERR_UNSUPPORTED;
  const std::size_t size = std::size_t{request.Info.Width} * request.Info.Height * 3 / 2;
  if (size == 0) return MFX_ERR_MEMORY_ALLOC;
  std::map<mfxMemId, Frame> made;
  for (std::size_t i = 0; i < count; ++i) {
    Frame frame{AlignedVector<mfxU8>(size), request.Info.Width, request.Info.Height};
    ids->push_back(frame.bytes.data());
    made.emplace(ids->back(), std::move(frame));
  }
  const std::scoped_lock lock(framesLock_);
  frames_.merge(made);
  return MFX_ERR_NONE;
}

void XvQSAllocatorSW::GiveUpFrames(const std::vector<mfxMemId>& ids) {
  const std::scoped_lock lock(framesLock_);
  for (const mfxMemId id : ids) frames_.erase(id);
}

}  // namespace xv
