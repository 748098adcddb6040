#include <algorithm>

#include "base/text.h"
#include "tree/attribute_scan.h"
#include "tree/node.h"
#include "tree/node_impl.h"
#include "tree/xml_text.h"

namespace xv::XMLParse {
namespace {

bool IsNamed(std::string_view name, std::span<const char* const> names) {
  return std::any_of(names.begin(), names.end(),
                     [&](const char* one) { return one != nullptr && EqualsNoCase(name, one); });
}

}  // namespace

std::string CoXMLNode::AttributeText(std::span<const char* const> leaveOut,
                                     std::string_view prefix) const {
  std::string out;
  const auto write = [&](std::string_view name, std::string_view value) {
    out.append(" ").append(prefix).append(name).push_back('=');
    AppendQuoted(value, &out);
  };
  const ReadLock guard(impl_->lock);
  const std::string& value = impl_->value.Text();
  // A node with a value and nothing below it is like an attribute.
  if (prefix.empty() && !value.empty() && impl_->children.Empty()) write(impl_->name, value);
  impl_->attributes.ForEach([&](const XMLAttribute& one) {
    if (!IsNamed(one.name, leaveOut)) write(one.name, one.value.Text());
  });
  return out;
}

void CoXMLNode::MergeText(std::string_view text, MergeMode mode, bool paths, TextFaults* faults) {
  (void)TryMergeText(text, mode, paths, faults);  // what is past the limit is garbage by then
}

Status CoXMLNode::TryMergeText(std::string_view text, MergeMode mode, bool paths,
                               TextFaults* faults) {
  if (mode == MergeMode::kClearFirst) ClearAttributes();
  const bool absentOnly = static_cast<std::int32_t>(mode) < 1;
  std::size_t left = kMaxItems;
  const bool whole = ScanAttributes(text, [&](const ScannedAttribute& one) {
    if (left-- == 0) return false;
    if (faults != nullptr && one.openQuote) faults->openQuote = one.name;
    if (!paths || one.name.find("::") == std::string_view::npos) {
      const WriteLock guard(impl_->lock);
      impl_->attributes.Set(one.name, XMLValue(one.value), absentOnly);
    } else if (absentOnly) {
      SetTextIfAbsent(one.name, one.value);
    } else if (SetText(one.name, one.value).Failed() && faults != nullptr) {
      if (faults->badPaths.size() < TextFaults::kMostPaths) faults->badPaths.emplace_back(one.name);
    }
    return true;
  });
  return whole ? S_OK : E_OUTOFMEMORY;
}

ValueClass ClassifyValue(std::string_view value) {
  if (value.empty()) return ValueClass::kClear;
  bool equals = false;
  bool bracket = false;
  char quote = 0;
  for (const char c : value) {
    if (quote != 0) {
      if (c == quote) quote = 0;
    } else if (c == '\'' || c == '"') {
      quote = c;
    } else {
      equals = equals || c == '=';
      bracket = bracket || c == '<';
    }
  }
  if (!equals) return ValueClass::kPlain;
  return bracket ? ValueClass::kXml : ValueClass::kAttributes;
}

}  // namespace xv::XMLParse
