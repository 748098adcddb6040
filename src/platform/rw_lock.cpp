#include "platform/rw_lock.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <thread>
#include <vector>

namespace xv {
namespace {

std::uint32_t CurrentThread() {
  thread_local const auto id = static_cast<std::uint32_t>(syscall(SYS_gettid));
  return id;
}

// Slots of the thread-local counts. A slot goes to another lock when its own is gone; its counts
// are 0 on every thread by then.
class SlotList {
 public:
  int Take() {
    const std::scoped_lock lock(lock_);
    if (free_.empty()) return next_++;
    const int slot = free_.back();
    free_.pop_back();
    return slot;
  }
  void Give(int slot) {
    const std::scoped_lock lock(lock_);
    free_.push_back(slot);
  }

 private:
  std::mutex lock_;
  std::vector<int> free_;
  int next_ = 0;
};

// Never destroyed: locks of static objects may outlive any static of this file.
SlotList& Slots() {
  static SlotList* const slots = new SlotList;
  return *slots;
}

int& ReadCount(int slot) {
  thread_local std::vector<int> counts;
  if (counts.size() <= static_cast<std::size_t>(slot)) {
    counts.resize(static_cast<std::size_t>(slot) + 1, 0);
  }
  return counts[static_cast<std::size_t>(slot)];
}

// A reader's step. Gives the value seen, and has raised it when that is not below `floor`.
std::int32_t IncrementIfNotBelow(std::atomic<std::int32_t>& value, std::int32_t floor) {
  std::int32_t seen = value.load(std::memory_order_relaxed);
  while (seen >= floor && !value.compare_exchange_weak(seen, seen + 1, std::memory_order_acq_rel)) {
  }
  return seen;
}

// A writer's step: from no reader to "writer inside".
bool TakeForWriting(std::atomic<std::int32_t>& value) {
  std::int32_t free = 0;
  return value.compare_exchange_strong(free, -1, std::memory_order_acq_rel);
}

}  // namespace

void CriticalSection::Enter() {
  for (int i = 0; i < spinCount_; ++i) {
    if (TryEnter()) return;
  }
  mutex_.lock();
  Entered();
}

bool CriticalSection::TryEnter() {
  if (!mutex_.try_lock()) return false;
  Entered();
  return true;
}

void CriticalSection::Entered() {
  if (depth_++ == 0) owner_.store(CurrentThread(), std::memory_order_relaxed);
}

void CriticalSection::Leave() {
  if (--depth_ == 0) owner_.store(0, std::memory_order_relaxed);
  mutex_.unlock();
}

CRWSynchroLiteRW::CRWSynchroLiteRW(bool recursiveReaders, int spinCount)
    : slot_(recursiveReaders ? Slots().Take() : -1), section_(spinCount) {}

CRWSynchroLiteRW::~CRWSynchroLiteRW() {
  if (slot_ >= 0) Slots().Give(slot_);
}

bool CRWSynchroLiteRW::ReadLock(bool wait, std::uint64_t* tag) {
  const bool again = slot_ >= 0 && ReadCount(slot_)++ > 0;
  if (!again) {
    const bool mayPass = slot_ < 0 || writersWaiting_.load(std::memory_order_acquire) == 0;
    if (!mayPass || IncrementIfNotBelow(state_, 0) < 0) {
      if (wait) {
        section_.Enter();
      } else if (!section_.TryEnter()) {
        if (slot_ >= 0) --ReadCount(slot_);
        return false;
      }
      state_.fetch_add(1, std::memory_order_acq_rel);
      section_.Leave();
    }
  }
  if (tag != nullptr) *tag = tag_.load(std::memory_order_relaxed);
  return true;
}

void CRWSynchroLiteRW::ReadUnlock() {
  if (slot_ >= 0 && --ReadCount(slot_) > 0) return;
  state_.fetch_sub(1, std::memory_order_acq_rel);
}

void CRWSynchroLiteRW::StoreTag(std::uint64_t tag, std::uint64_t* previous) {
  const std::uint64_t before = tag_.exchange(tag, std::memory_order_relaxed);
  if (previous != nullptr) *previous = before;
}

bool CRWSynchroLiteRW::WriteLock(bool wait, std::uint64_t tag, std::uint64_t* previous) {
  if (!wait) {
    if (!section_.TryEnter()) return false;
    if (!TakeForWriting(state_)) {
      section_.Leave();
      return false;
    }
    writersWaiting_.fetch_add(1);
    StoreTag(tag, previous);
    return true;
  }
  constexpr int kTriesPerSleep = 128;
  section_.Enter();
  writersWaiting_.fetch_add(1);
  for (int tries = 1; !TakeForWriting(state_); ++tries) {
    if (tries % kTriesPerSleep == 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    } else {
      std::this_thread::yield();
    }
  }
  StoreTag(tag, previous);
  return true;
}

void CRWSynchroLiteRW::WriteUnlock() {
  state_.fetch_add(1, std::memory_order_acq_rel);
  writersWaiting_.fetch_sub(1);
  section_.Leave();
}

bool CRWSynchroLiteCS::Enter(bool wait) {
  if (!wait) return section_.TryEnter();
  section_.Enter();
  return true;
}

bool CRWSynchroLiteCS::ReadLock(bool wait, std::uint64_t* tag) {
  if (tag != nullptr) *tag = 0;
  return Enter(wait);
}

void CRWSynchroLiteCS::ReadUnlock() { section_.Leave(); }

bool CRWSynchroLiteCS::WriteLock(bool wait, std::uint64_t, std::uint64_t* previous) {
  if (previous != nullptr) *previous = 0;
  return Enter(wait);
}

void CRWSynchroLiteCS::WriteUnlock() { section_.Leave(); }

}  // namespace xv
