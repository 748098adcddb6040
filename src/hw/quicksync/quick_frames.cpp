#include "hw/quicksync/quick_frames.h"

#include <algorithm>
#include <atomic>

namespace xv {
namespace {

constexpr std::size_t kMostFreePackets = 32;
constexpr std::size_t kLargestPacket = std::size_t{1} << 29;

}  // namespace

bool CInputFrame::IsLocked() {
  return std::atomic_ref(surface.Data.Locked).load(std::memory_order_acquire) > 0;
}

void COutputPkt::Reset(std::int64_t number) {
  stream = {};
  stream.TimeStamp = ~mfxU64{0};
  stream.DecodeTimeStamp = -1;
  stream.Data = bytes_.data();
  stream.MaxLength = static_cast<mfxU32>(bytes_.size());
  sync = nullptr;
  sequence = number;
}

Status COutputPkt::Grow() {
  const std::size_t grown = bytes_.size() + bytes_.size() / 2 + 1;
  if (grown > kLargestPacket) return E_OUTOFMEMORY;
  try {
    bytes_.resize(grown);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  stream.Data = bytes_.data();
  stream.MaxLength = static_cast<mfxU32>(bytes_.size());
  return S_OK;
}

// --- pictures ---

CInputFrame* QuickLists::AddFrame(Frame frame) {
  frame->delivered = false;
  frames_.push_back({std::move(frame), nextPicture_++});
  return frames_.back().frame.get();
}

QuickLists::Frame QuickLists::TakeBackLast() {
  Frame frame = std::move(frames_.back().frame);
  frames_.pop_back();
  --nextPicture_;
  return frame;
}

std::vector<QuickLists::Frame> QuickLists::TakeFreed() {
  std::vector<Frame> freed;
  std::erase_if(frames_, [&](Placed& placed) {
    if (!placed.frame->delivered || placed.frame->IsLocked()) return false;
    freed.push_back(std::move(placed.frame));
    return true;
  });
  return freed;
}

std::vector<CInputFrame*> QuickLists::Undelivered() {
  std::vector<CInputFrame*> frames;
  for (const Placed& placed : frames_) {
    if (!placed.frame->delivered) frames.push_back(placed.frame.get());
  }
  return frames;
}

std::size_t QuickLists::UndeliveredCount() const {
  return static_cast<std::size_t>(std::ranges::count_if(
      frames_, [](const Placed& placed) { return !placed.frame->delivered; }));
}

// --- access units ---

QuickLists::Packet QuickLists::TakePacket(std::size_t capacity) {
  if (freePackets_.empty()) return std::make_unique<COutputPkt>(capacity);
  Packet packet = std::move(freePackets_.back());
  freePackets_.pop_back();
  return packet;
}

void QuickLists::PutFree(Packet packet) {
  if (freePackets_.size() < kMostFreePackets) freePackets_.push_back(std::move(packet));
}

QuickLists::Packet QuickLists::TakeOldestPending() {
  Packet packet = std::move(pending_.front());
  pending_.pop_front();
  return packet;
}

void QuickLists::AddComplete(Ref<HwPacket> unit, std::uint64_t clock) {
  auto found = std::ranges::find_if(frames_, [&](const Placed& placed) {
    return !placed.kept && placed.frame->surface.Data.TimeStamp == clock;
  });
  if (found == frames_.end()) {
    found = std::ranges::find_if(frames_, [](const Placed& placed) { return !placed.kept; });
  }
  if (found != frames_.end()) found->kept = true;
  kept_.push_back({std::move(unit), found == frames_.end() ? released_ : found->picture});
  ReleaseGroup();
}

// The group is whole when as many pictures are kept as there are up to the last of them.
void QuickLists::ReleaseGroup() {
  std::int64_t last = released_ - 1;
  for (const Kept& kept : kept_) last = std::max(last, kept.picture);
  if (last - released_ + 1 <= static_cast<std::int64_t>(kept_.size())) ReleaseAll();
}

void QuickLists::ReleaseAll() {
  for (Kept& kept : kept_) {
    released_ = std::max(released_, kept.picture + 1);
    complete_.push_back(std::move(kept.unit));
  }
  kept_.clear();
  for (Placed& placed : frames_) {
    if (placed.picture < released_) placed.frame->delivered = true;
  }
}

Ref<HwPacket> QuickLists::TakeComplete() {
  if (complete_.empty()) return nullptr;
  Ref<HwPacket> unit = std::move(complete_.front());
  complete_.pop_front();
  return unit;
}

void QuickLists::ForgetUnfinished() {
  while (!pending_.empty()) PutFree(TakeOldestPending());
  kept_.clear();
  for (Placed& placed : frames_) placed.kept = placed.frame->delivered;
}

void QuickLists::Clear() { *this = {}; }

}  // namespace xv
