#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace xvrecord {

// How far a recording has come, on standard error: a bar on a terminal, else a line each second.
class Progress {
 public:
  // `duration` in seconds, 0 when not known.
  Progress(double duration, bool quiet);
  ~Progress();

  void Show(double seconds, std::int64_t pictures, std::int64_t drops);

 private:
  // How far it is and, where the end is known, how long it will take from here (ETA).
  std::string Text(double seconds, std::int64_t pictures, std::int64_t drops, double speed) const;
  void Bar(double seconds, const std::string& text);

  double duration_;
  bool quiet_;
  bool terminal_;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point begin_;
  std::chrono::steady_clock::time_point last_;
};

}  // namespace xvrecord
