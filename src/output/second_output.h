#pragma once

#include <atomic>
#include <mutex>
#include <vector>

#include "output/output.h"
#include "output/output_report.h"
#include "platform/bounded_queue.h"
#include "platform/thread.h"

namespace xv {

// A second container of the same session. Its own thread writes it behind a bounded queue:
// when that is full packets are dropped and counted, so that it can never hold up the main output.
// It ends itself after a failure; the main output goes on.
class SecondOutput {
 public:
  explicit SecondOutput(OutputReport& report) : report_(report) {}
  ~SecondOutput();

  Output& output() { return output_; }
  // The header has been written: packets may come.
  Status Start();
  // Takes a clone of `packet`, whose stamps are in `timeBase`.
  void Put(const AVPacket& packet, AVRational timeBase);
  // Every stream has been given a packet.
  bool EveryStreamHasPacket();
  // No more packets: what waits is written, then the trailer, then the file is closed. Returns at
  // once; `Wait` returns when all that is done.
  void Finish();
  // As Finish, and the closed file is written anew under its name: a reader that opens it by name
  // gets it whole.
  void FinishAndRewrite();
  void Wait();
  bool finished() const { return finished_; }

 private:
  void Main();
  void GiveUp(Status failure);
  void Close();

  OutputReport& report_;
  Output output_;
  XvThread<SecondOutput> thread_;
  BoundedQueue<AvPtr<AVPacket>> packets_;
  std::mutex lock_;                    // guards what follows; ahead of the queue's
  std::vector<AVRational> timeBases_;  // of the streams, once the header is written
  std::vector<bool> given_;            // a packet came for the stream
  bool started_ = false;
  bool ending_ = false;
  bool rewrite_ = false;
  std::atomic<bool> finished_{false};
};

}  // namespace xv
