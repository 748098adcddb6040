#include "captions/capture_options.h"

#include <fmt/format.h>

#include <algorithm>
#include <climits>
#include <iterator>

#include "base/text.h"
#include "captions/frame_items.h"
#include "platform/paths.h"
#include "values/value_syntax.h"

namespace xv {
namespace {

enum Key { kScc, kSccPath, kMaxSkip, kAnc, kAncPath, kTags };
constexpr AttributeSpec kAttributes[] = {
    {"scc_capture", "", "bool", "true", "", "Writes CEA-608 captions of frames to an SCC file."},
    {"scc_path", "", "path", "", "", "The SCC file; default: the output's name with \"scc\"."},
    {"cc_max_skip", "", "int", "3", "0 and more", "Frames without captions within an SCC line."},
    {"anc_capture", "", "bool", "false", "", "Writes named frame data to an ancillary data file."},
    {"anc_path", "", "path", "", "", "That file; default: the output's name with \"anc\"."},
    {"anc_capture.tags", "", "list", "default", "names, default", "Names of the data to write."},
};

constexpr std::string_view kDefaultTags = "default";
constexpr int kAncLines = 30;

class OptionReader {
 public:
  explicit OptionReader(std::span<const XMLParse::CoXMLNode* const> nodes) : nodes_(nodes) {}

  std::string Text(Key key) const {
    for (const XMLParse::CoXMLNode* node : nodes_) {
      if (node == nullptr) continue;
      if (auto text = node->FindText(kAttributes[key].key)) return *text;
    }
    return kAttributes[key].defaultValue;
  }
  bool Bool(Key key) const { return ReadBool(Text(key)); }
  std::int32_t Int(Key key) const { return ReadInt(Text(key)); }

 private:
  std::span<const XMLParse::CoXMLNode* const> nodes_;
};

// The output's name with another extension; nothing where that cannot be another file.
std::string SidePath(const std::string& output, std::string_view extension) {
  if (output.empty() || IsUrl(output)) return {};
  std::string path = output.substr(0, ExtensionPoint(output));
  path += '.';
  path += extension;
  return path.size() >= PATH_MAX || path == output ? std::string() : path;
}

std::string PathOr(const std::string& given, const std::string& output,
                   std::string_view extension) {
  return given.empty() ? SidePath(output, extension) : given;
}

}  // namespace

std::span<const AttributeSpec> CaptureAttributes() { return kAttributes; }

std::vector<std::string> CaptureTags(std::string_view list) {
  std::vector<std::string> tags = ReadList(list);
  const std::size_t named =
      std::erase_if(tags, [](const std::string& tag) { return EqualsNoCase(tag, kDefaultTags); });
  if (named == 0 && !tags.empty()) return tags;
  for (const std::string_view name : {kItemC608, kItemC708, kItemGA94}) tags.emplace_back(name);
  for (int line = 1; line <= kAncLines; ++line) tags.push_back(fmt::format("ANC.Line.{}", line));
  return tags;
}

CaptureOptions ReadCaptureOptions(std::span<const XMLParse::CoXMLNode* const> nodes,
                                  const std::string& outputPath) {
  const OptionReader reader(nodes);
  CaptureOptions options;
  options.scc = reader.Bool(kScc);
  options.anc = reader.Bool(kAnc);
  options.sccPath = PathOr(reader.Text(kSccPath), outputPath, "scc");
  options.ancPath = PathOr(reader.Text(kAncPath), outputPath, "anc");
  options.maxSkip = std::max(reader.Int(kMaxSkip), 0);
  options.tags = CaptureTags(reader.Text(kTags));
  return options;
}

}  // namespace xv
