#include "hw/attribute_reader.h"

#include <algorithm>

namespace xv {

void AttributeReader::Adjust(const AttributeRow& key, std::string_view value,
                             std::string_view why) {
  std::string text(key.name);
  text.append("=").append(value).append(" (").append(why).append(")");
  adjusted_.push_back(std::move(text));
}

void AttributeReader::Adjust(const AttributeRow& key, std::string_view why) {
  const std::string text = node_.TextOf(key);
  Adjust(key, text.empty() ? DefaultText(key) : text, why);
}

void AttributeReader::AddUnused(std::span<const AttributeRow> rows,
                                std::vector<std::string>* names) const {
  for (const AttributeRow& row : rows) {
    const bool known = std::ranges::find(read_, row.name) != read_.end() ||
                       std::ranges::find(*names, row.name) != names->end();
    if (!known && node_.Has(row)) names->emplace_back(row.name);
  }
}

}  // namespace xv
