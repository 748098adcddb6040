#include "props/nearest_name.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "base/text.h"
#include "tree/node_path.h"

namespace xv {
namespace {

// Nobody types a name of that length by mistake.
constexpr std::size_t kLongest = 128;

std::size_t MostEdits(std::size_t length) {
  if (length < 3) return 0;
  if (length < 12) return 1;
  return length < 24 ? 2 : 3;
}

}  // namespace

std::size_t EditDistance(std::string_view a, std::string_view b) {
  const std::string from = ToLower(a);
  const std::string to = ToLower(b);
  // Rows of the table: distances of the first i, i - 1 and i - 2 characters of `from`.
  std::vector<std::size_t> row(to.size() + 1);
  std::vector<std::size_t> above(to.size() + 1);
  std::vector<std::size_t> twoAbove(to.size() + 1);
  for (std::size_t j = 0; j <= to.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= from.size(); ++i) {
    std::swap(twoAbove, above);
    std::swap(above, row);
    row[0] = i;
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const std::size_t replaced = above[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
      row[j] = std::min({above[j] + 1, row[j - 1] + 1, replaced});
      const bool swapped = i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1];
      if (swapped) row[j] = std::min(row[j], twoAbove[j - 2] + 1);
    }
  }
  return row[to.size()];
}

std::string NearestName(std::string_view text, std::span<const std::string> names) {
  if (text.size() > kLongest) return {};
  std::pair<bool, std::size_t> best{true, kLongest};  // by its last segment alone; edits
  const std::string* nearest = nullptr;
  for (const std::string& name : names) {
    const std::size_t edits = EditDistance(text, name);
    const bool close = edits <= MostEdits(text.size());
    if (!close && !EqualsNoCase(XMLParse::SplitLast(text).last, XMLParse::SplitLast(name).last))
      continue;
    const std::pair<bool, std::size_t> rank{!close, edits};
    if (rank >= best) continue;
    best = rank;
    nearest = &name;
  }
  return nearest == nullptr ? std::string() : *nearest;
}

std::string DidYouMean(std::string_view text, std::span<const std::string> names) {
  const std::string nearest = NearestName(text, names);
  return nearest.empty() ? std::string() : "; did you mean " + nearest + "?";
}

}  // namespace xv
