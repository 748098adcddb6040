#pragma once

#include <string>

namespace xvrecord {

// Stands in for everything that a recording would write, in a folder that goes away with it.
class TrialTargets {
 public:
  // Throws InputError where a target's folder or file cannot be written, and UsageError for a
  // stream, which is not opened without being sent.
  TrialTargets(const std::string& output, const std::string& attributes);
  ~TrialTargets();
  TrialTargets(const TrialTargets&) = delete;
  TrialTargets& operator=(const TrialTargets&) = delete;

  std::string Output() const { return output_; }
  // To stand behind those of the recording.
  std::string Attributes() const { return attributes_; }

 private:
  std::string folder_;
  std::string output_;
  std::string attributes_;
};

}  // namespace xvrecord
