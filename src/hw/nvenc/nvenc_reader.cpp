#include "hw/nvenc/nvenc_reader.h"

#include <algorithm>

#include "hw/nvenc/nvenc_attributes.h"

namespace xv {

void NvencReader::Adjust(const AttributeRow& key, std::string_view value, std::string_view why) {
  std::string text(key.name);
  text.append("=").append(value).append(" (").append(why).append(")");
  adjusted_.push_back(std::move(text));
}

void NvencReader::Adjust(const AttributeRow& key, std::string_view why) {
  const std::string text = node_.TextOf(key);
  Adjust(key, text.empty() ? DefaultText(key) : text, why);
}

std::vector<std::string> NvencReader::Unused() const {
  std::vector<std::string> names;
  for (const bool hevc : {false, true}) {
    for (const AttributeRow& row : NvencAttributes(hevc)) {
      const bool known = std::ranges::find(read_, row.name) != read_.end() ||
                         std::ranges::find(names, row.name) != names.end();
      if (!known && node_.Has(row)) names.emplace_back(row.name);
    }
  }
  return names;
}

}  // namespace xv
