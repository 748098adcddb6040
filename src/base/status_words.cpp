#include "base/status_words.h"

#include <cstdio>

namespace xv {

std::string StatusWords(Status status) {
  if (const char* sentence = StatusSentence(status.code())) return sentence;
  char number[16];
  std::snprintf(number, sizeof(number), "0x%08X", static_cast<unsigned>(status.code()));
  return number;
}

}  // namespace xv
