#pragma once

#include <string>

#include "base/status.h"
#include "session/outputs.h"
#include "tree/node.h"

namespace xv {

// Names and formats of a session, before any stream exists.
struct TargetPlan {
  std::string target;
  std::string format;     // "" when the name tells
  bool noFormat = false;  // none was named, and the format guessed has no video codec
  bool playWhileRec = false;
  std::string secondTarget;
  bool ismv = false;
};

TargetPlan PlanTarget(const std::string& target, const XMLParse::CoXMLNode& attributes);

// Makes the contexts of the outputs. A failing second one is reported and left out.
Status CreateOutputs(Outputs& outputs, TargetPlan& plan, const XMLParse::CoXMLNode& attributes,
                     OutputReport& report);

}  // namespace xv
