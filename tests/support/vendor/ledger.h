#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "support/vendor/vendor_control.h"

// The stand-ins' side of vendor_control.h.
namespace xv::vendor {

struct FaultOrder {
  std::string name;
  int number = 0;  // of the call, from 1
  bool andLater = false;
  std::int64_t code = 0;
};

struct Settings {
  int major = 11, minor = 1;
  int oldest = 7;
  bool oldPresets = true;
  bool hevc = true, lossless = true, fields = true;
  int bFrames = 4, hevcBFrames = 0;
  int maxWidth = 4096, maxHeight = 4096;
  int gather = 0, delay = 2, lateMs = 0, stuck = 0;
  int chunk = 0, begins = 1, afterClose = 0;
  int busy = 0, keepLocked = 0, roomFor = 0;
  bool hardware = true, software = true;
  int sessions = 100;
  int devices = 1;
  bool emptyEncode = false;
  bool record = true;
  std::vector<FaultOrder> faults;
  FaultOrder loss;
  std::string report, trace;
};

// Throws std::invalid_argument.
void ApplyWords(std::string_view words, Settings* settings);

struct CallStart {
  bool lost = false;                  // the device is
  std::optional<std::int64_t> fault;  // what a test has ordered
};

class Ledger {
 public:
  static Ledger& Get();

  Settings Current() const;
  void Change(std::string_view words);
  void Clear();

  // Counts a call.
  CallStart Begin(const std::string& name);
  void End(Call call);
  void Broke(const std::string& line);
  // Something that must be given back: `change` more of it.
  void Hold(const std::string& what, int change);

  // Contexts of CUDA, and how many sessions work in one.
  void ContextMade(const void* context);
  void ContextGone(const void* context);
  bool ContextLives(const void* context) const;
  void ContextUsed(const void* context, int change);

  std::vector<std::string> Broken() const;
  std::vector<std::string> Held() const;
  std::vector<Call> Recorded(std::string_view name) const;
  int Count(std::string_view name) const;
  // Into the file of reports.
  void ReportHeld() const;

 private:
  Ledger();
  void Append(const std::string& path, const std::string& line) const;
  void NoteBroken(const std::string& line);

  mutable std::mutex lock_;  // a leaf: guards all below
  Settings settings_;
  std::map<std::string, int, std::less<>> counts_;
  std::map<std::string, int> held_;
  std::map<const void*, int> contexts_;  // uses
  std::vector<std::string> broken_;
  std::vector<Call> calls_;
  bool lost_ = false;
};

}  // namespace xv::vendor
