#pragma once

#include <string>
#include <vector>

namespace xv::test {

struct ProgramResult {
  int status = -1;  // exit status; 128 + n after signal n
  std::string out;
  std::string err;
};

// Runs a program to its end. `interruptAfter` in milliseconds sends SIGINT then, 0 never.
ProgramResult RunProgram(const std::vector<std::string>& command, int interruptAfter = 0);

}  // namespace xv::test
