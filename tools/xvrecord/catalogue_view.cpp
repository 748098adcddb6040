#include "xvrecord/catalogue_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "base/text.h"
#include "lists/selection.h"
#include "xvrecord/input.h"
#include "xvwriter/list.hpp"

namespace xvrecord {

using xv::XMLParse::CoXMLNode;
using xv::XMLParse::XMLNodePtr;

namespace {

constexpr const char* kKinds[] = {"video", "audio"};
// A longer cell does not widen its column; it pushes the rest of its own line to the right.
constexpr std::size_t kWidestColumn = 40;

using Row = std::vector<std::string>;

// Columns under a heading, as wide as their cells; the last one runs on.
std::string RenderTable(const std::vector<Row>& rows) {
  std::vector<std::size_t> widths(rows.front().size(), 0);
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], std::min(row[i].size(), kWidestColumn));
    }
  }
  std::string out;
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) line += fmt::format("{:<{}}  ", row[i], widths[i]);
    line.erase(line.find_last_not_of(' ') + 1);
    out += line + "\n";
  }
  return out;
}

XMLNodePtr RequireFormat(const CoXMLNode& list, const std::string& format) {
  const XMLNodePtr found =
      format.empty() ? list.FindChild("formats::format") : xv::FindListedFormat(list, format);
  if (!found) throw UsageError("No format \"" + format + "\" here; --formats lists them.");
  return found;
}

XMLNodePtr RequireCodec(const CoXMLNode& format, const char* kind, const std::string& codec) {
  const XMLNodePtr found = xv::FindListedCodec(format, kind, codec);
  if (found) return found;
  throw UsageError(fmt::format("\"{}\" takes no {} codec \"{}\" here; --codecs \"{}\" lists them.",
                               format.Text("name"), kind, codec, format.Text("name")));
}

// The entries of a list that has been read, by their paths.
struct EntriesOf {
  const CoXMLNode& list;
  std::optional<xv::host::EntryAttributes> At(const std::string& path) const {
    const XMLNodePtr node = list.FindChild(path);
    return node ? std::optional(node->Attributes()) : std::nullopt;
  }
};

std::string PresetColumn(const CoXMLNode& codec) {
  const XMLNodePtr node = CoXMLNode::Create("presets");
  for (const auto& [name, value] : xv::PresetsOf(codec)) node->SetAttribute(name, value);
  const std::string text = node->AttributeText();
  return text.substr(text.empty() ? 0 : 1);
}

constexpr const char* kMissing = "\nNot on this machine:\n";

// The codecs that this machine cannot write, everywhere or in that format, and why.
std::string MissingCodecs(const CoXMLNode& list, const std::string& format) {
  std::string out;
  const XMLNodePtr missing = list.FindChild("unavailable");
  if (!missing) return out;
  for (const XMLNodePtr& codec : missing->Children()) {
    if (codec->Name() != "codec") continue;
    const std::string only = codec->Text("format");
    if (!only.empty() && !xv::EqualsNoCase(only, format)) continue;
    out += "  " + codec->Text("id") + ": " + codec->Value() + "\n";
  }
  return out.empty() ? out : kMissing + out;
}

std::string MissingFormats(const CoXMLNode& list) {
  std::string out;
  const XMLNodePtr missing = list.FindChild("unavailable");
  if (!missing) return out;
  for (const XMLNodePtr& one : missing->Children()) {
    if (one->Name() == "codec") continue;
    const std::string name = one->Text("path", one->Text("name", one->Text("id")));
    out += "  " + name + ": " + one->Value() + "\n";
  }
  return out.empty() ? out : kMissing + out;
}

std::string RenderAttributes(const std::vector<xv::ListedAttribute>& attributes) {
  std::vector<Row> rows = {{"NAME", "TYPE", "DEFAULT", "VALUES", "DESCRIPTION"}};
  for (const auto& one : attributes) {
    rows.push_back({one.name, one.type, one.defaultValue, xv::RangeText(one), one.description});
  }
  return RenderTable(rows);
}

}  // namespace

XMLNodePtr ParseList(const std::string& xml) {
  const XMLNodePtr list = CoXMLNode::Create({});
  if (list->ReadXml(xml).Failed() || !list->FindChild("formats::format")) {
    throw InputError("The writer has no list of formats.");
  }
  return list;
}

std::string FormatsTable(const CoXMLNode& list) {
  std::vector<Row> rows = {{"FORMAT", "NAME", "WRITTEN AS"}};
  for (const XMLNodePtr& format : list.FindChild("formats")->Children()) {
    const std::string protocol = format->Text("protocol");
    rows.push_back({format->Text("id", "-"), format->Text("name"),
                    protocol.empty() ? format->Text("extensions") : protocol});
  }
  return RenderTable(rows) + MissingFormats(list);
}

std::string CodecsTable(const CoXMLNode& list, const std::string& format) {
  const XMLNodePtr found = RequireFormat(list, format);
  std::vector<Row> rows = {{"KIND", "CODEC", "NAME", "PRESETS"}};
  for (const char* kind : kKinds) {
    const XMLNodePtr codecs = found->FindChild(kind);
    if (!codecs) continue;
    for (const XMLNodePtr& codec : codecs->Children()) {
      if (codec->Name() != "codec") continue;
      rows.push_back({kind, codec->Text("id", "-"), codec->Text("name"), PresetColumn(*codec)});
    }
  }
  return RenderTable(rows) + MissingCodecs(list, found->Text("id"));
}

std::string OptionsTable(const CoXMLNode& list, const std::string& format,
                         const std::string& codec) {
  const XMLNodePtr found = RequireFormat(list, format);
  if (codec.empty()) return RenderAttributes(xv::AttributesOfFormat(*found));
  const XMLNodePtr video = xv::FindListedCodec(*found, "video", codec);
  if (video) return RenderAttributes(xv::AttributesOfCodec(list, *video, "video"));
  const XMLNodePtr audio = RequireCodec(*found, "audio", codec);
  return RenderAttributes(xv::AttributesOfCodec(list, *audio, "audio"));
}

std::string PresetText(const CoXMLNode& list, const std::string& format,
                       const std::string& videoCodec, const std::string& audioCodec) {
  const XMLNodePtr found = RequireFormat(list, format);
  if (!videoCodec.empty()) RequireCodec(*found, "video", videoCodec);
  if (!audioCodec.empty()) RequireCodec(*found, "audio", audioCodec);
  const EntriesOf entries{list};
  return xv::host::PresetReader(entries).Read(format, videoCodec, audioCodec).value_or("");
}

}  // namespace xvrecord
