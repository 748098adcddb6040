#pragma once

#include <functional>
#include <memory>

namespace xv {

// Pieces of computation shared among the processor's cores. Work that waits for disks or networks
// has its own thread instead. One owner at a time; the pieces run on any thread, in any order.
class WorkItems {
 public:
  WorkItems();
  // Waits for what still runs, so a piece may use the owner's stack. A failure is dropped here.
  ~WorkItems();
  WorkItems(const WorkItems&) = delete;
  WorkItems& operator=(const WorkItems&) = delete;

  void Add(std::function<void()> piece);
  // Returns when every piece is done, however long that takes. Throws what a piece threw first.
  void Wait();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// Runs piece(0) ... piece(count - 1) and waits for all of them; the caller's thread takes part.
void RunWorkItems(int count, const std::function<void(int)>& piece);

}  // namespace xv
