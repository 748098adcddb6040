#pragma once

#include <chrono>
#include <string>

namespace xvfollow {

// Says, at the end of what a recording holds, whether more may come. One caller at a time.
class Growth {
 public:
  // Without `follow` nothing is waited for.
  Growth(std::string recording, bool follow) : recording_(std::move(recording)), follow_(follow) {}

  bool Follows() const { return follow_; }
  // Waits a moment; true when it is worth to look again. False, from then on, once a look has come
  // after the recording was closed, when nothing came for ten seconds, or when StopFollowing was
  // called.
  bool LookAgain();
  // Something new has been found.
  void Progress() { last_ = std::chrono::steady_clock::now(); }
  // How the recording was left, as a sentence.
  std::string Ending() const;

 private:
  std::string recording_;
  bool follow_;
  bool closed_ = false;
  bool over_ = false;
  bool outOfPatience_ = false;
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

// Ends the waiting of every Growth. May be called by a signal handler.
void StopFollowing();
// Whether it was called.
bool FollowingStopped();

}  // namespace xvfollow
