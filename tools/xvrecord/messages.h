#pragma once

#include <string>

#include "xvwriter/host.hpp"

// What the program says to a person: sentences on standard error, their opening coloured on a
// terminal unless NO_COLOR asks for none.
namespace xvrecord {

constexpr int kFailed = 1;  // exit status
constexpr int kUsage = 2;

// Prints a failure and gives the exit status of one.
int Fail(const std::string& sentence);
// The status in words and hex, and what the writer noted about it.
int FailWith(const std::string& what, xv::HRESULT result, const xv::host::Writer& writer);
int FailUsage(const std::string& sentence);
void Warn(const std::string& sentence);
// One warning for each line.
void WarnOfEach(const std::string& what, const std::string& lines);

}  // namespace xvrecord
