#include <fmt/format.h>

#include <sstream>
#include <stdexcept>

#include "support/vendor/ledger.h"

namespace xv::vendor {
namespace {

[[noreturn]] void Refuse(std::string_view word) {
  throw std::invalid_argument(fmt::format("not a setting of the stand-ins: {}", word));
}

int Number(const std::string& text, std::string_view word) {
  std::size_t used = 0;
  int value = 0;
  try {
    value = std::stoi(text, &used);
  } catch (const std::exception&) {
    Refuse(word);
  }
  if (used != text.size()) Refuse(word);
  return value;
}

void SetDriver(const std::string& value, std::string_view word, Settings* settings) {
  const std::size_t dot = value.find('.');
  if (dot == std::string::npos) Refuse(word);
  settings->major = Number(value.substr(0, dot), word);
  settings->minor = Number(value.substr(dot + 1), word);
  settings->oldPresets = settings->major < 12;
  settings->oldest = settings->major < 12 ? 7 : 10;
}

// "NAME:N:CODE", or "NAME:N" for a loss.
FaultOrder ReadOrder(const std::string& value, bool withCode, std::string_view word) {
  std::istringstream parts(value);
  FaultOrder order;
  std::string number, code;
  std::getline(parts, order.name, ':');
  std::getline(parts, number, ':');
  std::getline(parts, code, ':');
  if (order.name.empty() || number.empty() || code.empty() == withCode) Refuse(word);
  order.andLater = number.back() == '+';
  if (order.andLater) number.pop_back();
  order.number = Number(number, word);
  if (withCode) order.code = Number(code, word);
  return order;
}

bool SetNumber(const std::string& name, const std::string& value, std::string_view word,
               Settings* s) {
  const std::map<std::string, int*> numbers = {{"oldest", &s->oldest},
                                               {"bframes", &s->bFrames},
                                               {"hevc_bframes", &s->hevcBFrames},
                                               {"max_width", &s->maxWidth},
                                               {"max_height", &s->maxHeight},
                                               {"gather", &s->gather},
                                               {"delay", &s->delay},
                                               {"late_ms", &s->lateMs},
                                               {"stuck", &s->stuck},
                                               {"sessions", &s->sessions},
                                               {"devices", &s->devices},
                                               {"chunk", &s->chunk},
                                               {"begins", &s->begins},
                                               {"after_close", &s->afterClose},
                                               {"busy", &s->busy},
                                               {"keep_locked", &s->keepLocked},
                                               {"room_for", &s->roomFor}};
  const auto found = numbers.find(name);
  if (found == numbers.end()) return false;
  *found->second = Number(value, word);
  return true;
}

bool SetFlag(const std::string& name, const std::string& value, std::string_view word,
             Settings* s) {
  const std::map<std::string, bool*> flags = {
      {"old_presets", &s->oldPresets}, {"hevc", &s->hevc},     {"lossless", &s->lossless},
      {"fields", &s->fields},          {"record", &s->record}, {"hardware", &s->hardware},
      {"software", &s->software}};
  const auto found = flags.find(name);
  if (found == flags.end()) return false;
  *found->second = Number(value, word) != 0;
  return true;
}

void ApplyWord(const std::string& word, Settings* s) {
  const std::size_t equals = word.find('=');
  if (equals == std::string::npos) Refuse(word);
  const std::string name = word.substr(0, equals), value = word.substr(equals + 1);
  if (SetNumber(name, value, word, s) || SetFlag(name, value, word, s)) return;
  if (name == "driver") return SetDriver(value, word, s);
  if (name == "fail") return s->faults.push_back(ReadOrder(value, true, word));
  if (name == "lose") return void(s->loss = ReadOrder(value, false, word));
  if (name == "report") return void(s->report = value);
  if (name == "trace") return void(s->trace = value);
  if (name != "encode" || (value != "full" && value != "empty")) Refuse(word);
  s->emptyEncode = value == "empty";
}

}  // namespace

void ApplyWords(std::string_view words, Settings* settings) {
  std::istringstream all{std::string(words)};
  for (std::string word; all >> word;) ApplyWord(word, settings);
}

}  // namespace xv::vendor
