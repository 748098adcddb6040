#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "hw/cuda/cuda_api.h"
#include "support/vendor/nvcuvenc/software_h264.h"

namespace xv::nvcuvenc {

// A picture on its way, or the end of the stream.
struct Job {
  Picture picture;
  bool last = false;
};

// How access units come out.
struct DeliveryOptions {
  int delay = 0;   // pictures that must come behind one
  int lateMs = 0;  // ahead of each
  int stuck = 0;   // from that one on none comes; 0: never
  int chunk = 0;   // bytes of a chunk; 0: as many as there is room for
  int begins = 1;  // 2: each picture is begun and ended twice
};

// Encodes on a thread of its own and calls the client back from there.
class Delivery {
 public:
  Delivery(const H264Options& h264, const DeliveryOptions& options, const CudaCallbacks& callbacks,
           void* user);
  ~Delivery();

  const SoftwareH264& encoder() const { return encoder_; }
  void Put(Job job);
  // Number of the picture that was finished last; -1 for none.
  int LastFinished() const { return finished_; }

 private:
  void Run();
  std::optional<Job> NextJob();
  void Encode(const Job& job);
  void Deliver(const AccessUnit& unit);
  // Bytes [begin, end) of the unit; with a begin and an end.
  void DeliverPart(const AccessUnit& unit, std::size_t begin, std::size_t end);

  SoftwareH264 encoder_;  // the thread's, but for its headers
  const DeliveryOptions options_;
  const CudaCallbacks callbacks_;
  void* const user_;
  std::deque<AccessUnit> ready_;  // the thread's
  int delivered_ = 0;
  std::atomic<int> finished_{-1};

  std::mutex lock_;  // guards what follows
  std::condition_variable changed_;
  std::deque<Job> jobs_;
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace xv::nvcuvenc
