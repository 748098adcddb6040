#include "xvrecord/messages.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string_view>

#include "base/secrets.h"

namespace xvrecord {
namespace {

constexpr const char* kRed = "\033[1;31m";
constexpr const char* kYellow = "\033[1;33m";

bool TakesColour() {
  const char* no = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  return isatty(STDERR_FILENO) == 1 && (no == nullptr || *no == 0) && terminal != nullptr &&
         std::string_view(terminal) != "dumb";
}

void Say(const char* colour, const std::string& sentence) {
  static const bool coloured = TakesColour();
  std::fprintf(stderr, "%sxvrecord:%s %s\n", coloured ? colour : "", coloured ? "\033[0m" : "",
               xv::MaskSecrets(sentence).c_str());
}

}  // namespace

int Fail(const std::string& sentence) {
  Say(kRed, sentence);
  return kFailed;
}

int FailWith(const std::string& what, xv::HRESULT result, const xv::host::Writer& writer) {
  const std::string noted = writer.LastError();
  return Fail(what + ": " + xv::host::Describe(result) + (noted.empty() ? "" : " " + noted));
}

int FailUsage(const std::string& sentence) {
  Say(kRed, sentence);
  return kUsage;
}

void Warn(const std::string& sentence) { Say(kYellow, sentence); }

void WarnOfEach(const std::string& what, const std::string& lines) {
  std::istringstream stream(lines);
  for (std::string line; std::getline(stream, line);) Warn(what + " " + line);
}

}  // namespace xvrecord
