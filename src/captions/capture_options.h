#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "props/attribute_spec.h"
#include "tree/node.h"

namespace xv {

// What to capture beside the recording, and where to.
struct CaptureOptions {
  bool scc = true;
  bool anc = false;
  std::string sccPath;  // empty: nowhere
  std::string ancPath;
  std::int32_t maxSkip = 0;
  std::vector<std::string> tags;
};

// The keys that ReadCaptureOptions reads.
std::span<const AttributeSpec> CaptureAttributes();

// Each option is the first node's that has it; null nodes are passed over. Paths default to the
// output's with the extension "scc" or "anc", and to none for a URL.
CaptureOptions ReadCaptureOptions(std::span<const XMLParse::CoXMLNode* const> nodes,
                                  const std::string& outputPath);

// Names of a list, as written. An empty list, and the word "default", stand for "C608", "C708",
// "GA94" and "ANC.Line.1" to "ANC.Line.30".
std::vector<std::string> CaptureTags(std::string_view list);

}  // namespace xv
