#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tree/node.h"

namespace xv {

inline constexpr Attribute<bool> kSccCapture{
    "scc_capture", kSessionNode, true, {}, "Writes CEA-608 captions of frames to an SCC file."};
inline constexpr Attribute<FilePath> kSccPath{
    "scc_path", kSessionNode, {}, {}, "The SCC file; default: the output's name with \"scc\"."};
inline constexpr Attribute<std::int32_t> kCcMaxSkip{"cc_max_skip", kSessionNode, 3, AtLeast(0),
                                                    "Frames without captions within an SCC line."};
inline constexpr Attribute<bool> kAncCapture{
    "anc_capture", kSessionNode, false, {}, "Writes named frame data to an ancillary data file."};
inline constexpr Attribute<FilePath> kAncPath{
    "anc_path", kSessionNode, {}, {}, "That file; default: the output's name with \"anc\"."};
inline constexpr Attribute<std::string> kAncTags{"anc_capture.tags", kSessionNode, "default",
                                                 Expect("names, default"),
                                                 "Names of the data to write."};

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
std::span<const AttributeRow> CaptureAttributes();

// Each option is the first node's that has it; null nodes are passed over. Paths default to the
// output's with the extension "scc" or "anc", and to none for a URL.
CaptureOptions ReadCaptureOptions(std::span<const XMLParse::CoXMLNode* const> nodes,
                                  const std::string& outputPath);

// Names of a list, as written. An empty list, and the word "default", stand for "C608", "C708",
// "GA94" and "ANC.Line.1" to "ANC.Line.30".
std::vector<std::string> CaptureTags(std::string_view list);

}  // namespace xv
