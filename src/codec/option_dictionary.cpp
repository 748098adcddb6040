#include "codec/option_dictionary.h"

#include <algorithm>

#include "base/text.h"

namespace xv {

int DictFromNode(const XMLParse::CoXMLNode& node, AvDictionary& target,
                 std::span<const char* const> include, std::span<const char* const> exclude,
                 int flags) {
  int count = 0;
  for (const char* name : include) {
    if (const auto text = node.FindText(name)) {
      target.Set(name, text->c_str(), flags);
      ++count;
    }
  }
  if (!include.empty()) return count;
  for (const auto& [name, value] : node.Attributes()) {
    const bool left = std::any_of(exclude.begin(), exclude.end(),
                                  [&name = name](const char* e) { return EqualsNoCase(name, e); });
    if (left || name.empty()) continue;
    target.Set(name.c_str(), value.c_str(), flags);
    ++count;
  }
  return count;
}

}  // namespace xv
