#include "lists/attributes_doc.h"

#include <map>
#include <vector>

#include "lists/selection.h"

namespace xv {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

namespace {

// A cell of a Markdown table: no bar and no line end ends it early.
std::string Cell(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (c == '|') out += '\\';
    out += c == '\n' || c == '\r' ? ' ' : c;
  }
  return out;
}

std::string Code(std::string_view text) {
  return text.empty() ? std::string() : "`" + Cell(text) + "`";
}

void AppendRow(std::string* out, std::initializer_list<std::string> cells) {
  out->append("|");
  for (const std::string& cell : cells) out->append(" ").append(cell).append(" |");
  out->append("\n");
}

void AppendTable(const AttributeTable& table, std::string* out) {
  out->append("\n## ").append(table.title).append("\n\n");
  AppendRow(out, {"Attribute", "Type", "Default", "Values", "Meaning", "To FFmpeg"});
  out->append("|---|---|---|---|---|---|\n");
  for (const AttributeRow& row : table.rows) {
    AppendRow(out, {Code(PathOf(row)), std::string(KindName(row.kind)), Code(DefaultText(row)),
                    Cell(ExpectedValues(row)), Cell(row.help), row.toFFmpeg ? "yes" : ""});
  }
}

void AppendListed(const std::vector<ListedAttribute>& all, std::string* out) {
  AppendRow(out, {"Attribute", "Type", "Default", "Values", "Meaning"});
  out->append("|---|---|---|---|---|\n");
  for (const ListedAttribute& one : all) {
    AppendRow(out, {Code(one.name), one.type, Code(one.defaultValue), Cell(RangeText(one)),
                    Cell(one.description)});
  }
}

void AppendCodecs(const CoXMLNode& list, const std::string& kind, std::string* out) {
  const XMLNodePtr codecs = list.FindChild(kind + "_codecs");
  if (!codecs) return;
  out->append("\n## All ").append(kind).append(" codecs\n\n");
  AppendListed(AttributesOfFormat(*codecs), out);
  for (const XMLNodePtr& codec : codecs->Children()) {
    const auto own = AttributesOfFormat(*codec);
    const std::string id = codec->Text("id");
    if (own.empty() || id.empty()) continue;
    out->append("\n### ").append(Code(id)).append(": ").append(codec->Text("name"));
    out->append("\n\n");
    AppendListed(own, out);
  }
}

// Formats share most of what they declare, so each attribute stands once, with the formats that
// take it.
void AppendFormats(const CoXMLNode& list, std::string* out) {
  const XMLNodePtr formats = list.FindChild("formats");
  if (!formats) return;
  std::vector<ListedAttribute> all;
  std::map<std::string, std::string> takers;
  for (const XMLNodePtr& format : formats->Children()) {
    const std::string id = format->Text("id", "any");
    for (const ListedAttribute& one : AttributesOfFormat(*format)) {
      std::string& names = takers[one.name];
      if (names.empty()) all.push_back(one);
      const bool known = (", " + names + ",").find(", " + id + ",") != std::string::npos;
      if (!known) names += (names.empty() ? "" : ", ") + id;
    }
  }
  const std::string everywhere = all.empty() ? std::string() : takers[all.front().name];
  out->append("\n## Formats\n\n");
  AppendRow(out, {"Attribute", "Formats", "Type", "Default", "Values", "Meaning"});
  out->append("|---|---|---|---|---|---|\n");
  for (const ListedAttribute& one : all) {
    const std::string& names = takers[one.name];
    AppendRow(out, {Code(one.name), names == everywhere ? "all" : names, one.type,
                    Code(one.defaultValue), Cell(RangeText(one)), Cell(one.description)});
  }
}

}  // namespace

std::string RenderAttributesDoc(std::span<const AttributeTable> tables, const CoXMLNode& list) {
  std::string out =
      "# Attributes\n\n"
      "Generated from the tables beside the readers and from the built-in list of formats and\n"
      "codecs; `make_attributes_doc docs/attributes.md` writes it anew. Attributes of a node "
      "stand\n"
      "behind its path: `video::b`. Defaults of FFmpeg's own options are those of FFmpeg 5.1;\n"
      "there is none where encoders differ or decide: `xvrecord --options FORMAT CODEC` shows "
      "those\n"
      "of one encoder, with its own bounds.\n"
      "\n"
      "What a session was given in vain is told by two properties, from its first frame on, one\n"
      "entry a line: `quality::unused_options` names each attribute that neither this library nor\n"
      "FFmpeg knows or took, as `vidoe::b (did you mean video::b?)` where a known name is near;\n"
      "`quality::bad_values` each value that is not what its reader expects, or that FFmpeg\n"
      "refuses, as `video::size=banana (expected a size ...)`. Such a value reads as the default,\n"
      "or as the part of it that can be read. Behind 32 entries a line such as `(5 more)` "
      "follows.\n"
      "Names in `metadata`, `video::metadata` and `audio::metadata` are free. `audio.N` overlays\n"
      "`audio` for track N, counted from 0, of 1 and above.\n";
  for (const AttributeTable& table : tables) AppendTable(table, &out);
  AppendFormats(list, &out);
  AppendCodecs(list, "video", &out);
  AppendCodecs(list, "audio", &out);
  return out;
}

}  // namespace xv
