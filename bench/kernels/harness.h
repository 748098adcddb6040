#pragma once

#include <functional>
#include <string>
#include <vector>

namespace xv::bench {

using Body = std::function<void()>;

struct Candidate {
  std::string name;
  Body body;  // null: this one does not know the work
};

struct Options {
  int rounds = 15;
  bool cold = true;  // also with the caches swept before each picture
  std::string only;  // rows whose title holds this text
};

// Measures candidates in turn, round by round, so that what disturbs the machine disturbs them
// alike. Times are the processor time of the calling thread: everything runs on one thread.
class Harness {
 public:
  explicit Harness(const Options& options);

  bool Wants(const std::string& title) const;
  // Prints the title and a line for each candidate: milliseconds a call, median and minimum, hot
  // (on the same memory again and again) and cold.
  void Row(const std::string& title, const std::vector<Candidate>& candidates);

 private:
  void Sweep();

  Options options_;
  std::vector<char> sweep_;
};

}  // namespace xv::bench
