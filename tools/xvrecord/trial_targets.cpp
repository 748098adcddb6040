#include "xvrecord/trial_targets.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "xvrecord/input.h"
#include "xvrecord/targets.h"
#include "xvwriter/host.hpp"

namespace xvrecord {
namespace {

namespace fs = std::filesystem;

void RequireWritable(const std::string& target) {
  if (IsStandardOutput(target)) return;
  std::error_code error;
  const fs::path path(target);
  const fs::path parent = path.has_parent_path() ? path.parent_path() : fs::path(".");
  const fs::path asked = fs::exists(path, error) ? path : parent;
  if (access(asked.c_str(), W_OK) != 0) throw InputError(target + " cannot be written.");
}

}  // namespace

TrialTargets::TrialTargets(const std::string& output, const std::string& attributes) {
  const auto targets = WrittenBy(attributes);
  if (output.find("://") != std::string::npos) {
    throw UsageError("--validate does not open streams such as " + output + ".");
  }
  RequireWritable(output);
  for (const auto& [key, target] : targets) RequireWritable(target);
  std::string name = (fs::temp_directory_path() / "xvrecord-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw InputError("There is no temporary folder.");
  folder_ = name;
  const std::string file = fs::path(output).filename().string();
  output_ = folder_ + "/" + (IsStandardOutput(output) ? "stdout" : file);
  int number = 0;
  for (const auto& [key, target] : targets) {
    const std::string trial =
        folder_ + "/" + std::to_string(number++) + fs::path(target).filename().string();
    attributes_ += " " + xv::host::Attribute(key, trial).value_or("");
  }
}

TrialTargets::~TrialTargets() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

}  // namespace xvrecord
