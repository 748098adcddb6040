#include "lists/selection.h"

#include <algorithm>

#include "base/text.h"
#include "xvwriter/list.hpp"

namespace xv {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

namespace {

bool Answers(const CoXMLNode& node, std::string_view text) {
  return !text.empty() &&
         (EqualsNoCase(node.Text("id"), text) || EqualsNoCase(node.Text("name"), text));
}

XMLNodePtr FindAnswering(const XMLNodePtr& parent, std::string_view tag, std::string_view text) {
  if (!parent) return nullptr;
  for (const XMLNodePtr& child : parent->Children()) {
    if (EqualsNoCase(child->Name(), tag) && Answers(*child, text)) return child;
  }
  return nullptr;
}

// Adds what a schema declares and gives whether the lookup goes on above it.
bool AddDeclared(const CoXMLNode& holder, std::vector<ListedAttribute>* out) {
  const XMLNodePtr schema = holder.FindChild("attributes_info");
  if (!schema) return true;
  for (const XMLNodePtr& entry : schema->Children()) {
    const std::string name = entry->Name();
    const bool known = std::any_of(out->begin(), out->end(), [&](const ListedAttribute& one) {
      return EqualsNoCase(one.name, name);
    });
    if (known) continue;
    out->push_back({name, entry->Text("type"), entry->Text("default"),
                    holder.InfoValues(name).value_or(std::string()), entry->Text("min"),
                    entry->Text("max"), entry->Value()});
  }
  return schema->Bool("inherit", true);
}

}  // namespace

std::string RangeText(const ListedAttribute& one) {
  if (!one.values.empty()) return one.values;
  if (one.minimum.empty()) return one.maximum.empty() ? std::string() : "at most " + one.maximum;
  return one.minimum + (one.maximum.empty() ? " and more" : " to " + one.maximum);
}

XMLNodePtr FindListedFormat(const CoXMLNode& list, std::string_view text) {
  return FindAnswering(list.FindChild("formats"), "format", text);
}

XMLNodePtr FindListedCodec(const CoXMLNode& format, std::string_view kind, std::string_view text) {
  return FindAnswering(format.FindChild(kind), "codec", text);
}

std::vector<ListedAttribute> AttributesOfFormat(const CoXMLNode& format) {
  std::vector<ListedAttribute> out;
  AddDeclared(format, &out);
  return out;
}

std::vector<ListedAttribute> AttributesOfCodec(const CoXMLNode& list, const CoXMLNode& codec,
                                               std::string_view kind) {
  std::vector<ListedAttribute> out;
  if (!AddDeclared(codec, &out)) return out;
  const XMLNodePtr codecs = list.FindChild(std::string(kind) + "_codecs");
  if (!codecs) return out;
  const std::string id = codec.Text("inherit", codec.Text("id"));
  const XMLNodePtr entry = FindAnswering(codecs, "codec", id);
  if (entry && !AddDeclared(*entry, &out)) return out;
  AddDeclared(*codecs, &out);
  return out;
}

std::vector<std::pair<std::string, std::string>> PresetsOf(const CoXMLNode& entry) {
  auto out = entry.Attributes();
  std::erase_if(out, [](const auto& attribute) { return !host::IsPreset(attribute.first); });
  return out;
}

}  // namespace xv
