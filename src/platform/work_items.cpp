#include "platform/work_items.h"

#include <exception>
#include <mutex>
#include <utility>

#if defined(XV_THREAD_SANITIZER)
#include <thread>
#include <vector>
#else
#include <tbb/task_group.h>
#endif

namespace xv {

#if defined(XV_THREAD_SANITIZER)
// The packaged oneTBB is not instrumented: under the thread sanitizer each piece has a thread.
struct WorkItems::Impl {
  void Run(std::function<void()> piece) { threads.emplace_back(std::move(piece)); }
  void Join() {
    for (std::thread& thread : threads) thread.join();
    threads.clear();
  }
  std::vector<std::thread> threads;
  std::mutex lock;
  std::exception_ptr failure;
};
#else
struct WorkItems::Impl {
  void Run(std::function<void()> piece) { group.run(std::move(piece)); }
  void Join() { group.wait(); }
  tbb::task_group group;
  std::mutex lock;  // guards `failure`
  std::exception_ptr failure;
};
#endif

WorkItems::WorkItems() : impl_(std::make_unique<Impl>()) {}

WorkItems::~WorkItems() { impl_->Join(); }

void WorkItems::Add(std::function<void()> piece) {
  // A throw must not cancel the other pieces, so it is kept here and not left to the group.
  impl_->Run([impl = impl_.get(), piece = std::move(piece)] {
    try {
      piece();
    } catch (...) {
      const std::scoped_lock lock(impl->lock);
      if (!impl->failure) impl->failure = std::current_exception();
    }
  });
}

void WorkItems::Wait() {
  impl_->Join();
  if (impl_->failure) std::rethrow_exception(std::exchange(impl_->failure, nullptr));
}

void RunWorkItems(int count, const std::function<void(int)>& piece) {
  if (count <= 0) return;
  WorkItems items;
  for (int i = 1; i < count; ++i) items.Add([&piece, i] { piece(i); });
  piece(0);
  items.Wait();
}

}  // namespace xv
