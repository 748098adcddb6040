#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "output/output.h"
#include "output/output_report.h"
#include "platform/bounded_queue.h"
#include "platform/thread.h"

namespace xv {

// A second container of the same session. Its own thread opens and writes it behind a queue that is
// bounded in packets and in bytes: when that is full packets are dropped and counted, so that it
// can never hold up the main output. It ends itself after a failure; the main output goes on.
class SecondOutput {
 public:
  explicit SecondOutput(OutputReport& report) : report_(report) {}
  ~SecondOutput();

  Output& output() { return output_; }
  // The streams are there: packets may come. `open` opens the file and writes the header, on the
  // output's thread; what it uses outlives `Wait`.
  Status Start(std::function<Status()> open);
  // Takes a clone of `packet`, whose stamps are in `timeBase`.
  void Put(const AVPacket& packet, AVRational timeBase);
  // Every stream has been given a packet.
  bool EveryStreamHasPacket();
  // No more packets: what waits is written, within the time that the output has for a receiver that
  // takes nothing, then the trailer, then the file is closed. Returns at once; `Wait` returns when
  // all that is done.
  void Finish();
  // As Finish, and the closed file is written anew under its name: a reader that opens it by name
  // gets it whole.
  void FinishAndRewrite();
  void Wait();
  bool finished() const { return finished_; }

 private:
  struct Waiting {
    AvPtr<AVPacket> packet;
    AVRational timeBase;
  };

  void Main();
  Status Open();
  Status Write(Waiting& waiting);
  void FinishLocked();
  void GiveUp(Status failure);
  void Close();

  OutputReport& report_;
  Output output_;
  XvThread<SecondOutput> thread_;
  std::function<Status()> open_;
  BoundedQueue<Waiting> packets_;
  std::atomic<std::int64_t> bytes_{0};  // of the packets that wait
  std::mutex lock_;                     // guards what follows; ahead of the queue's
  std::vector<bool> given_;             // a packet came for the stream
  bool started_ = false;
  bool ending_ = false;
  bool rewrite_ = false;
  std::atomic<bool> finished_{false};
};

}  // namespace xv
