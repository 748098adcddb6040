#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace xv {

// Whether a host gives its frames one after another, as one that reads a file does, or waits for
// each as a camera does. Of the host's thread.
class PutPace {
 public:
  // Nanoseconds of a steady clock.
  void Begin(std::int64_t now, std::int64_t frameTime);
  void End(std::int64_t now) { ended_ = now; }
  // For two seconds at 25 a second nothing but puts.
  bool Hurries() const { return quick_ >= 50; }

 private:
  std::int64_t ended_ = 0;  // the last put; 0: none yet
  int quick_ = 0;           // puts that began within a quarter of a frame's time
};

// Sessions of one process share its cores. One that would drop frames goes ahead of those whose
// hosts wait for room, or put without a pause: while its queue grows, they wait a little longer.
// Each session has one object, from open to cleanup.
class Precedence {
 public:
  Precedence() = default;
  ~Precedence() { End(); }
  Precedence(const Precedence&) = delete;
  Precedence& operator=(const Precedence&) = delete;

  // A session that drops frames once `capacity` of them wait. Others have no need to call it.
  void Start(std::size_t capacity);
  // How many frames wait, after each that came or went; on any thread.
  void Note(std::size_t waiting);
  // The session holds up nobody any more; a Note that comes late changes nothing.
  void End();

  // For a host that can wait: until no session is behind, a quarter of a second at
  // most, so that it still goes on beside one that never catches up. False: one still is.
  static bool LetOthersCatchUp();

 private:
  void CatchUp();

  std::atomic<std::size_t> mark_{0};  // behind with more than that; 0: never
  std::atomic<bool> behind_{false};
};

}  // namespace xv
