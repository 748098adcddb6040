#include "captions/capture_options.h"

#include <fmt/format.h>

#include <algorithm>
#include <climits>

#include "base/text.h"
#include "captions/frame_items.h"
#include "platform/paths.h"
#include "values/value_syntax.h"

namespace xv {
namespace {

constexpr AttributeRow kAttributes[] = {kSccCapture, kSccPath, kCcMaxSkip,
                                        kAncCapture, kAncPath, kAncTags};

constexpr std::string_view kDefaultTags = "default";
constexpr int kAncLines = 30;

// The first node's that has it.
template <class T>
auto Read(std::span<const XMLParse::CoXMLNode* const> nodes, const Attribute<T>& key) {
  for (const XMLParse::CoXMLNode* node : nodes) {
    if (node == nullptr) continue;
    if (auto value = node->Find(key)) return *value;
  }
  return key.Default();
}

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

std::span<const AttributeRow> CaptureAttributes() { return kAttributes; }

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
  CaptureOptions options;
  options.scc = Read(nodes, kSccCapture);
  options.anc = Read(nodes, kAncCapture);
  options.sccPath = PathOr(Read(nodes, kSccPath), outputPath, "scc");
  options.ancPath = PathOr(Read(nodes, kAncPath), outputPath, "anc");
  options.maxSkip = std::max(Read(nodes, kCcMaxSkip), 0);
  options.tags = CaptureTags(Read(nodes, kAncTags));
  return options;
}

}  // namespace xv
