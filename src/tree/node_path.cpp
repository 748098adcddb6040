#include "tree/node_path.h"

#include <algorithm>
#include <limits>

#include "values/value_syntax.h"

namespace xv::XMLParse {

NodePath::NodePath(std::string_view path) {
  if (path.empty()) return;
  std::size_t at = 0;
  while (true) {
    const std::size_t end = std::min(path.find("::", at), path.size());
    segments_.push_back(path.substr(at, end - at));
    bad_ = bad_ || end == at;
    if (end == path.size()) return;
    at = end + 2;
  }
}

SplitPath SplitLast(std::string_view path) {
  const std::size_t split = path.rfind("::");
  if (split == std::string_view::npos) return {std::nullopt, path};
  return {path.substr(0, split), path.substr(split + 2)};
}

PathSegment ParseSegment(std::string_view segment) {
  const std::size_t bracket = segment.find('[', 1);
  if (bracket == std::string_view::npos) return {segment, 0};
  const std::int64_t number = ParseInteger(segment.substr(bracket + 1)).value;
  // No node has that many children, so that a number below zero finds none.
  const std::size_t index =
      number < 0 ? std::numeric_limits<std::size_t>::max() : static_cast<std::size_t>(number);
  return {segment.substr(0, bracket), index};
}

}  // namespace xv::XMLParse
