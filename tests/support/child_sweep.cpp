#include "support/child_sweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sstream>

#include "support/peer_process.h"
#include "support/temporary_folder.h"

namespace xv::test {
namespace {

// What a child has printed: the last case that it began, and those that went wrong.
struct Told {
  std::size_t number = 0;
  std::string description;
  std::string stack;  // of a case that has not ended
  std::vector<std::string> troubles;
};

Told Read(const std::string& output) {
  Told told;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string what, rest;
    words >> what;
    if (what != "begin" && what != "end") {
      told.stack += "\n  " + line;
      continue;
    }
    words >> told.number >> std::ws;
    std::getline(words, rest);
    told.stack.clear();
    if (what == "begin") told.description = rest;
    if (what == "end" && !rest.empty()) told.troubles.push_back(told.description + ": " + rest);
  }
  return told;
}

// The first frame that is not the signal's way through the C library and the program.
std::string InnermostFrame(const std::string& stack) {
  std::istringstream lines(stack);
  for (std::string line; std::getline(lines, line);) {
    const bool passes = line.find("/libc.so") != line.npos || line.find("_child(") != line.npos;
    if (!line.empty() && !passes) return line;
  }
  return {};
}

bool IsKnown(const std::vector<KnownDeath>& known, const std::string& stack) {
  const std::string innermost = InnermostFrame(stack);
  return std::any_of(known.begin(), known.end(), [&](const KnownDeath& death) {
    return innermost.find(death.library) != std::string::npos &&
           stack.find(death.function) != std::string::npos;
  });
}

}  // namespace

void SweepInChildren(const std::string& program, const std::vector<std::string>& arguments,
                     std::size_t first, std::size_t step, const std::vector<KnownDeath>& known) {
  // A child that dies leaves its files.
  const TemporaryFolder folder;
  const ScopedVariable files("TMPDIR", folder.Path());
  for (;;) {
    std::vector<std::string> command{program};
    command.insert(command.end(), arguments.begin(), arguments.end());
    command.insert(command.end(), {std::to_string(first), std::to_string(step)});
    const ProgramResult result = RunProgram(command);
    const Told told = Read(result.out);
    for (const std::string& trouble : told.troubles) ADD_FAILURE() << trouble;
    ASSERT_FALSE(told.description.empty()) << "nothing was tried: " << result.err;
    if (result.status == 0) return;
    ASSERT_GT(result.status, 128) << result.err;
    EXPECT_TRUE(IsKnown(known, told.stack))
        << told.description << ": " << strsignal(result.status - 128) << told.stack;
    first = told.number + step;
  }
}

}  // namespace xv::test
