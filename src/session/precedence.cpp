#include "session/precedence.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace xv {
namespace {

constexpr std::chrono::milliseconds kMostWait(250);
constexpr std::size_t kLeastMark = 2;
constexpr std::size_t kPartOfQueue = 8;

struct Shared {
  std::atomic<int> behind{0};  // sessions
  std::mutex lock;             // taken by those who wait, and for the last that catches up
  std::condition_variable caughtUp;
};

// Never destroyed: sessions may end after static objects.
Shared& All() {
  static Shared& shared = *new Shared;
  return shared;
}

}  // namespace

void PutPace::Begin(std::int64_t now, std::int64_t frameTime) {
  const bool quick = ended_ != 0 && (now - ended_) * 4 < frameTime;
  quick_ = quick ? quick_ + 1 : 0;
}

void Precedence::Start(std::size_t capacity) {
  mark_ = std::max(capacity / kPartOfQueue, kLeastMark);
}

void Precedence::Note(std::size_t waiting) {
  const std::size_t mark = mark_;
  if (mark == 0) return;
  if (waiting > mark) {
    if (!behind_.exchange(true)) ++All().behind;
    if (mark_ == 0) CatchUp();
  } else if (waiting <= 1) {
    CatchUp();
  }
}

void Precedence::CatchUp() {
  if (!behind_.exchange(false) || --All().behind > 0) return;
  const std::lock_guard guard(All().lock);
  All().caughtUp.notify_all();
}

void Precedence::End() {
  mark_ = 0;
  CatchUp();
}

bool Precedence::LetOthersCatchUp() {
  Shared& shared = All();
  if (shared.behind == 0) return true;
  std::unique_lock guard(shared.lock);
  return shared.caughtUp.wait_for(guard, kMostWait, [&] { return shared.behind == 0; });
}

}  // namespace xv
