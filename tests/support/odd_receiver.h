#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "support/loopback.h"

namespace xv::test {

// What a receiver does once it has read OddReceiver::kTaken bytes.
enum class Receiving {
  kAll,         // reads on
  kStops,       // keeps the connection and reads no more
  kResets,      // closes it with bytes unread
  kHalfCloses,  // ends its own direction and reads on
  kSlowly,      // reads on, some 200 KB a second
};

// Takes one connection on loopback.
class OddReceiver {
 public:
  static constexpr int kTaken = 100'000;

  explicit OddReceiver(Receiving receiving);
  ~OddReceiver();
  std::string Url(const char* scheme) const;
  bool HasTakenItsPart() const { return taken_ >= kTaken; }

 private:
  void Run();
  bool Read();

  const Receiving receiving_;
  const BoundSocket bound_;
  std::atomic<int> connection_{-1};
  std::atomic<int> taken_{0};
  std::atomic<bool> over_{false};
  std::thread thread_;
};

}  // namespace xv::test
