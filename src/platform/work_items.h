#pragma once

#include <functional>

namespace xv {

// Pieces of computation shared among the processor's cores by one pool for the whole process. Work
// that waits for disks or networks has its own thread instead.
//
// The pool has a thread for each core that the process may use but one, which is the caller's;
// fewer where the environment variable XVWRITER_THREADS gives a lower number than that of the
// cores, none with 1. Threads start with the first work and end with the library.

// Runs piece(0) ... piece(count - 1), in any order and on any thread, and returns when all of them
// are done, however long that takes; throws what one of them threw first. The caller's thread takes
// part, so that a busy pool delays nobody. The pool's threads take pieces from all callers in turn.
// Takes no memory beyond that of `piece`. A piece may call it too.
void RunWorkItems(int count, const std::function<void(int)>& piece);

// The most threads that RunWorkItems of this thread works on while the object lives; 0: as many as
// there are.
class WorkItemLimit {
 public:
  explicit WorkItemLimit(int threads);
  ~WorkItemLimit();
  WorkItemLimit(const WorkItemLimit&) = delete;
  WorkItemLimit& operator=(const WorkItemLimit&) = delete;

 private:
  const int before_;
};

// The number in XVWRITER_THREADS; 0 where it says nothing, or no number from 1 to 1024.
int ThreadsOfEnvironment();

}  // namespace xv
