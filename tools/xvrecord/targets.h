#pragma once

#include <ctime>
#include <string>
#include <utility>
#include <vector>

// What a recording writes, and what it must not write over.
namespace xvrecord {

// The target is the process's own standard output.
bool IsStandardOutput(const std::string& target);
// Bytes to that target would land on a terminal.
bool IsTerminal(const std::string& target);

// `target` with the date and time, in UTC, in the place of %Y, %m, %d, %H, %M and %S; %% is "%".
// Other places, such as a number's ("%03d"), stay.
std::string FillTime(const std::string& target, std::time_t time);

// Attributes that name what a session writes beside its output: name and target.
std::vector<std::pair<std::string, std::string>> WrittenBy(const std::string& attributes);

// Everything that a session with these attributes is told to write by name: `output`, its second
// output, dumps and side files.
std::vector<std::string> TargetsOf(const std::string& output, const std::string& attributes);

// The container of that recording holds no more than one track of sound (unless all are merged).
bool TakesOneTrack(const std::string& output, const std::string& attributes);

// That recording's encoder of pictures takes YUV.
bool TakesYuv(const std::string& output, const std::string& attributes);

enum class Existing { kAsk, kOverwrite, kKeep };

// A sentence about the first target that is the input itself ("-" for standard input), or another
// target, or that exists and may not be written over; empty when recording may begin. kAsk puts
// the question on a terminal and refuses without one. The input is refused in any case.
std::string RefuseTargets(const std::string& input, const std::vector<std::string>& targets,
                          Existing existing);

}  // namespace xvrecord
