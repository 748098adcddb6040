#include "support/vendor/ledger.h"

#include <fmt/format.h>

#include <cstdlib>
#include <fstream>

namespace xv::vendor {

Ledger& Ledger::Get() {
  static Ledger& ledger = *new Ledger;  // the stand-ins say things until they are unloaded
  return ledger;
}

Ledger::Ledger() {
  if (const char* words = getenv("XV_VENDOR")) ApplyWords(words, &settings_);
}

void Ledger::ReportHeld() const {
  for (const std::string& line : Held()) Append(Current().report, "held at the end: " + line);
}

void Ledger::Append(const std::string& path, const std::string& line) const {
  if (!path.empty()) std::ofstream(path, std::ios::app) << line << '\n';
}

Settings Ledger::Current() const {
  const std::lock_guard held(lock_);
  return settings_;
}

void Ledger::Change(std::string_view words) {
  const std::lock_guard held(lock_);
  ApplyWords(words, &settings_);
}

void Ledger::Clear() {
  const std::lock_guard held(lock_);
  settings_ = Settings();
  counts_.clear();
  broken_.clear();
  calls_.clear();
  lost_ = false;
}

CallStart Ledger::Begin(const std::string& name) {
  const std::lock_guard held(lock_);
  const int number = ++counts_[name];
  if (settings_.loss.name == name && number >= settings_.loss.number) lost_ = true;
  CallStart start{lost_, std::nullopt};
  for (const FaultOrder& order : settings_.faults) {
    if (order.name != name) continue;
    if (order.andLater ? number >= order.number : number == order.number) start.fault = order.code;
  }
  return start;
}

void Ledger::End(Call call) {
  const std::lock_guard held(lock_);
  Append(settings_.trace, fmt::format("{} = {}", call.name, call.result));
  if (settings_.record) calls_.push_back(std::move(call));
}

void Ledger::NoteBroken(const std::string& line) {
  broken_.push_back(line);
  Append(settings_.report, line);
}

void Ledger::Broke(const std::string& line) {
  const std::lock_guard held(lock_);
  NoteBroken(line);
}

void Ledger::Hold(const std::string& what, int change) {
  const std::lock_guard held(lock_);
  held_[what] += change;
}

void Ledger::ContextMade(const void* context) {
  const std::lock_guard held(lock_);
  contexts_[context] = 0;
  ++held_["CUDA context"];
}

void Ledger::ContextGone(const void* context) {
  const std::lock_guard held(lock_);
  const auto found = contexts_.find(context);
  if (found == contexts_.end()) return;
  if (found->second != 0) NoteBroken("a CUDA context ended ahead of the sessions that use it");
  contexts_.erase(found);
  --held_["CUDA context"];
}

bool Ledger::ContextLives(const void* context) const {
  const std::lock_guard held(lock_);
  return contexts_.contains(context);
}

void Ledger::ContextUsed(const void* context, int change) {
  const std::lock_guard held(lock_);
  const auto found = contexts_.find(context);
  if (found != contexts_.end()) found->second += change;
}

std::vector<std::string> Ledger::Broken() const {
  const std::lock_guard held(lock_);
  return broken_;
}

std::vector<std::string> Ledger::Held() const {
  const std::lock_guard held(lock_);
  std::vector<std::string> lines;
  for (const auto& [what, count] : held_) {
    if (count != 0) lines.push_back(fmt::format("{} {}", count, what));
  }
  return lines;
}

std::vector<Call> Ledger::Recorded(std::string_view name) const {
  const std::lock_guard held(lock_);
  std::vector<Call> some;
  for (const Call& call : calls_) {
    if (name.empty() || call.name == name) some.push_back(call);
  }
  return some;
}

int Ledger::Count(std::string_view name) const {
  const std::lock_guard held(lock_);
  const auto found = counts_.find(name);
  return found == counts_.end() ? 0 : found->second;
}

namespace {

// Behind the stand-ins' own ends.
__attribute__((destructor)) void AtEnd() { Ledger::Get().ReportHeld(); }

}  // namespace

void Configure(std::string_view words) { Ledger::Get().Change(words); }
void Reset() { Ledger::Get().Clear(); }
std::vector<std::string> BrokenRules() { return Ledger::Get().Broken(); }
std::vector<std::string> Held() { return Ledger::Get().Held(); }
std::vector<Call> Calls(std::string_view name) { return Ledger::Get().Recorded(name); }
int CallCount(std::string_view name) { return Ledger::Get().Count(name); }

}  // namespace xv::vendor
