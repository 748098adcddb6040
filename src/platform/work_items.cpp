#include "platform/work_items.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <new>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace xv {
namespace {

constexpr int kMostThreads = 1024;

thread_local int limitOfThread = 0;

// The pieces of one call, on its caller's stack: linked into the pool's ring while there are some
// that nobody has begun.
struct Job {
  const std::function<void(int)>* piece = nullptr;
  int count = 0;
  int most = 0;  // threads on it at once, its caller's too; kMostThreads: any number
  int begun = 0;
  int helpers = 0;  // threads of the pool on it
  std::exception_ptr failure;
  std::condition_variable done;
  Job* before = nullptr;
  Job* next = nullptr;

  bool AllBegun() const { return begun == count; }
  // But for a piece of the caller's own.
  bool AllDone() const { return AllBegun() && helpers == 0; }
  bool TakesHelper() const { return !AllBegun() && helpers < most - 1; }
  // What a piece's own work items may have, so that all together keep within the limit.
  int LimitOfPieces() const { return most == kMostThreads ? 0 : std::max(most / count, 1); }
};

class Pool {
 public:
  static Pool& Get() {
    static Pool pool;
    return pool;
  }
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;
  ~Pool();

  void Run(Job& job);

 private:
  Pool();
  void StartThreads();
  void Serve();
  static void RunPiece(Job& job, int number, std::exception_ptr* failure);
  void RunNext(Job& job, std::unique_lock<std::mutex>& guard);
  void Link(Job& job);
  void Unlink(Job& job);
  Job* Choose();

  const pid_t process_ = getpid();
  std::size_t wanted_ = 0;  // threads
  std::vector<std::thread> threads_;
  std::mutex lock_;  // guards what follows and the jobs
  std::condition_variable work_;
  Job* first_ = nullptr;  // of the ring; the next to be served
  bool started_ = false;
  bool ends_ = false;
};

Pool::Pool() {
  const int told = ThreadsOfEnvironment();
  const unsigned cores = std::thread::hardware_concurrency();
  const unsigned all = told > 0 ? std::min(static_cast<unsigned>(told), cores) : cores;
  wanted_ = all > 0 ? all - 1 : 0;
}

// A process that was forked has the object, but not its threads.
Pool::~Pool() {
  if (getpid() != process_) {
    for (std::thread& thread : threads_) thread.detach();
    return;
  }
  {
    const std::lock_guard guard(lock_);
    ends_ = true;
  }
  work_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

// Where the system gives no more threads, those that there are do the work.
void Pool::StartThreads() {
  started_ = true;
  if (getpid() != process_) return;
  try {
    threads_.reserve(wanted_);
    while (threads_.size() < wanted_) threads_.emplace_back(&Pool::Serve, this);
  } catch (const std::bad_alloc&) {
  } catch (const std::system_error&) {
  }
}

void Pool::Link(Job& job) {
  if (first_ == nullptr) {
    first_ = job.before = job.next = &job;
    return;
  }
  job.next = first_;
  job.before = first_->before;
  job.before->next = first_->before = &job;
}

void Pool::Unlink(Job& job) {
  if (first_ == &job) first_ = job.next == &job ? nullptr : job.next;
  job.before->next = job.next;
  job.next->before = job.before;
}

// The next job that another thread may work on; the one behind it is the next to be served.
Job* Pool::Choose() {
  Job* job = first_;
  if (job == nullptr) return nullptr;
  do {
    if (job->TakesHelper()) {
      first_ = job->next;
      return job;
    }
    job = job->next;
  } while (job != first_);
  return nullptr;
}

void Pool::RunPiece(Job& job, int number, std::exception_ptr* failure) {
  const WorkItemLimit limit(job.LimitOfPieces());
  try {
    (*job.piece)(number);
  } catch (...) {
    *failure = std::current_exception();
  }
}

// The lock is given up while the piece runs.
void Pool::RunNext(Job& job, std::unique_lock<std::mutex>& guard) {
  const int number = job.begun++;
  if (job.AllBegun()) Unlink(job);
  guard.unlock();
  std::exception_ptr failure;
  RunPiece(job, number, &failure);
  guard.lock();
  if (failure && !job.failure) job.failure = std::move(failure);
}

void Pool::Serve() {
  std::unique_lock guard(lock_);
  for (;;) {
    Job* job = nullptr;
    work_.wait(guard, [&] { return ends_ || (job = Choose()) != nullptr; });
    if (job == nullptr) return;
    ++job->helpers;
    RunNext(*job, guard);
    --job->helpers;
    if (job->AllDone()) job->done.notify_one();  // its caller returns once the lock is free
  }
}

void Pool::Run(Job& job) {
  std::unique_lock guard(lock_);
  if (!started_) StartThreads();
  Link(job);
  const int helpers = std::min(job.count, job.most) - 1;
  for (int i = 0; i < helpers; ++i) work_.notify_one();
  while (!job.AllBegun()) RunNext(job, guard);
  job.done.wait(guard, [&] { return job.AllDone(); });
}

}  // namespace

int ThreadsOfEnvironment() {
  const char* told = std::getenv("XVWRITER_THREADS");
  const std::string_view text = told == nullptr ? std::string_view() : told;
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  return whole && number >= 1 && number <= kMostThreads ? number : 0;
}

WorkItemLimit::WorkItemLimit(int threads) : before_(std::exchange(limitOfThread, threads)) {}

WorkItemLimit::~WorkItemLimit() { limitOfThread = before_; }

void RunWorkItems(int count, const std::function<void(int)>& piece) {
  if (count <= 0) return;
  if (count == 1) return piece(0);
  Job job;
  job.piece = &piece;
  job.count = count;
  job.most = limitOfThread > 0 ? limitOfThread : kMostThreads;
  Pool::Get().Run(job);
  if (job.failure) std::rethrow_exception(job.failure);
}

}  // namespace xv
