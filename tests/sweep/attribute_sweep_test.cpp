#include <gmock/gmock.h>

#include <cstring>
#include <sstream>

#include "support/peer_process.h"
#include "support/temporary_folder.h"

// Every value of every row that the list shows, in child processes: none may end by a signal, and
// what the list offers records or is refused with words.
namespace xv::test {
namespace {

// What a child has printed: the last case that it began, and those that went wrong.
struct Told {
  std::size_t number = 0;
  std::string description;
  std::vector<std::string> troubles;
};

Told Read(const std::string& output) {
  Told told;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string what, rest;
    words >> what >> told.number >> std::ws;
    std::getline(words, rest);
    if (what == "begin") told.description = rest;
    if (what == "end" && !rest.empty()) told.troubles.push_back(told.description + ": " + rest);
  }
  return told;
}

// The cases `first`, `first` + `step`, ...; a child that dies is followed by another one.
void Sweep(std::size_t first, std::size_t step) {
#ifdef XV_SANITIZED
  GTEST_SKIP() << "encoders that refuse a value leak, which ends a child too";
#endif
  // A child that dies leaves its files.
  const TemporaryFolder folder;
  const ScopedVariable files("TMPDIR", folder.Path());
  for (;;) {
    const ProgramResult result =
        RunProgram({SWEEP_CHILD, std::to_string(first), std::to_string(step)});
    const Told told = Read(result.out);
    for (const std::string& trouble : told.troubles) ADD_FAILURE() << trouble;
    ASSERT_FALSE(told.description.empty()) << "nothing was tried";
    if (result.status == 0) return;
    ASSERT_GT(result.status, 128) << result.err;
    ADD_FAILURE() << told.description << ": " << strsignal(result.status - 128);
    first = told.number + step;
  }
}

constexpr std::size_t kSampleStep = 97;
constexpr std::size_t kSlices = 16;

TEST(AttributeSweep, NoValueOfASampleKillsTheHost) { Sweep(kSampleStep / 2, kSampleStep); }

class WholeSweep : public testing::TestWithParam<std::size_t> {};

TEST_P(WholeSweep, DISABLED_NoValueKillsTheHost) { Sweep(GetParam(), kSlices); }

INSTANTIATE_TEST_SUITE_P(Slices, WholeSweep, testing::Range(std::size_t{0}, kSlices));

}  // namespace
}  // namespace xv::test
