#pragma once

#include <string>
#include <vector>

namespace xv::test {

// A fault of a library that we call, which ends the process: the innermost frame is the library's,
// and the function stands on the stack.
struct KnownDeath {
  const char* library;
  const char* function;
  const char* reason;  // why it stays
};

// Runs the numbered cases `first`, `first` + `step`, ... of `program`, which is given both numbers
// behind `arguments` and prints for each case "begin NUMBER DESCRIPTION" and "end NUMBER TROUBLE".
// Lines between are the stack of a case that dies; another child goes on behind that
// case. Troubles and deaths that are not known fail the test.
void SweepInChildren(const std::string& program, const std::vector<std::string>& arguments,
                     std::size_t first, std::size_t step,
                     const std::vector<KnownDeath>& known = {});

}  // namespace xv::test
