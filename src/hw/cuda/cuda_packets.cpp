#include "hw/cuda/cuda_packets.h"

#include <algorithm>

namespace xv {

std::uint8_t* CudaPackets::Acquire(std::int32_t* room) {
  const std::lock_guard guard(lock_);
  *room = 0;
  if (left_ || noPlace_ || queue_.empty()) return nullptr;
  lent_ = queue_.back().packet;
  ++lentTimes_;
  *room = static_cast<std::int32_t>(lent_->room());
  return lent_->end();
}

void CudaPackets::Release(std::int32_t bytes) {
  const std::lock_guard guard(lock_);
  if (lentTimes_ == 0) return;
  // A negative count is more than there is room for.
  lent_->AddChunk(static_cast<std::size_t>(bytes));
  if (--lentTimes_ == 0) lent_ = nullptr;
}

CudaPackets::Entry* CudaPackets::Find(std::int32_t number) {
  const auto found = std::find_if(queue_.begin(), queue_.end(),
                                  [=](const Entry& entry) { return entry.number == number; });
  return found == queue_.end() ? nullptr : &*found;
}

void CudaPackets::Append(const CudaFrameEvent& event) {
  ++begun_;
  noPlace_ = true;
  auto packet = MakeRef<HwPacket>(kCapacity);
  packet->type = static_cast<std::uint32_t>(event.type);
  packet->key = event.type == 0 || event.type == 1;
  queue_.push_back({std::move(packet), event.number});
  noPlace_ = false;
}

void CudaPackets::Begin(const CudaFrameEvent& event) {
  const std::lock_guard guard(lock_);
  if (left_) return;
  if (Entry* same = Find(event.number)) {
    same->isOpen = true;
    state_ = 2;
    return;
  }
  if (!queue_.empty() && state_ == kAtRest) state_ = 1;
  // Another picture begins, so what was begun ahead of it has arrived.
  for (Entry& entry : queue_) entry.packet->complete = true;
  try {
    Append(event);
  } catch (const std::bad_alloc&) {
    lost_ = true;
  }
}

void CudaPackets::End(const CudaFrameEvent& event) {
  const std::lock_guard guard(lock_);
  if (Entry* entry = Find(event.number)) {
    entry->isOpen = false;
    ++entry->ends;
  }
  CompleteFirst();
  changed_.notify_all();
}

void CudaPackets::CompleteFirst() {
  if (queue_.empty() || state_ < 1) return;
  const Entry& first = queue_.front();
  // Chunks alone would take the first field of a picture for all of it.
  if (first.packet->chunks >= state_ && first.ends >= state_) first.packet->complete = true;
}

std::optional<CudaPackets::Numbered> CudaPackets::TakeFirst() {
  const std::lock_guard guard(lock_);
  CompleteFirst();  // it may not have been the first when it ended
  if (queue_.empty() || !queue_.front().packet->complete) return std::nullopt;
  Numbered taken{std::move(queue_.front().packet), queue_.front().number};
  queue_.pop_front();
  return taken;
}

void CudaPackets::CompleteLast(std::optional<std::int32_t> finished, bool late) {
  const std::lock_guard guard(lock_);
  if (queue_.empty() || queue_.back().isOpen) return;
  const Entry& last = queue_.back();
  const bool asAWhole = state_ >= 1 && last.ends >= state_;
  const bool told = finished ? *finished == last.number : state_ != 2;
  if (late || asAWhole || told) last.packet->complete = true;
}

std::int64_t CudaPackets::Begun() const {
  const std::lock_guard guard(lock_);
  return begun_;
}

bool CudaPackets::IsEmpty() const {
  const std::lock_guard guard(lock_);
  return queue_.empty();
}

bool CudaPackets::TakeLoss() {
  const std::lock_guard guard(lock_);
  return std::exchange(lost_, false);
}

void CudaPackets::WaitForEnd(std::chrono::milliseconds longest) {
  std::unique_lock guard(lock_);
  if (!interrupted_) changed_.wait_for(guard, longest);
}

void CudaPackets::Interrupt() {
  const std::lock_guard guard(lock_);
  interrupted_ = true;
  changed_.notify_all();
}

bool CudaPackets::IsInterrupted() const {
  const std::lock_guard guard(lock_);
  return interrupted_;
}

void CudaPackets::Leave() {
  const std::lock_guard guard(lock_);
  left_ = true;
  queue_.clear();
}

bool CudaPackets::HasLeft() const {
  const std::lock_guard guard(lock_);
  return left_;
}

bool CudaPackets::HasLent() const {
  const std::lock_guard guard(lock_);
  return lentTimes_ > 0;
}

}  // namespace xv
