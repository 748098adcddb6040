#include "xvfollow/growth.h"

#include <csignal>
#include <thread>

#include "growing/recovery_note.h"
#include "platform/whole_file.h"
#include "xvfollow/recording.h"

namespace xvfollow {
namespace {

constexpr auto kPoll = std::chrono::milliseconds(100);
constexpr auto kPatience = std::chrono::seconds(10);

volatile std::sig_atomic_t stopped = 0;

}  // namespace

void StopFollowing() { stopped = 1; }
bool FollowingStopped() { return stopped != 0; }

bool Growth::LookAgain() {
  outOfPatience_ = std::chrono::steady_clock::now() - last_ > kPatience;
  over_ = over_ || !follow_ || closed_ || outOfPatience_ || FollowingStopped();
  if (over_) return false;
  // What came between the last look and the closing is found by the look to come.
  closed_ = !IsGrowing(recording_);
  if (!closed_) std::this_thread::sleep_for(kPoll);
  return true;
}

std::string Growth::Ending() const {
  const bool noted = xv::FileExists(xv::RecoveryPath(recording_));
  if (closed_ || (!IsGrowing(recording_) && !noted)) return "The recording is closed.";
  if (follow_ && outOfPatience_) {
    return "Nothing new came for " + std::to_string(kPatience.count()) + " seconds.";
  }
  return "The recording has no proper end yet.";
}

}  // namespace xvfollow
