#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "platform/file.h"

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

// Tells another program, through a file, how many frames have been taken.
class FrameCount {
 public:
  // "" for nobody. Throws InputError when the file cannot be made.
  explicit FrameCount(const std::string& path);
  // False once it cannot be written.
  bool Tell(std::int64_t frames);

 private:
  xv::File file_;
};

}  // namespace xvrecord
