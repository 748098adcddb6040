#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace xv::XMLParse {

// A path split at "::". An empty path has no segment; an empty segment makes the path a bad one.
class NodePath {
 public:
  explicit NodePath(std::string_view path);

  bool Bad() const { return bad_; }
  std::span<const std::string_view> Segments() const { return segments_; }
  std::string_view Last() const {
    return segments_.empty() ? std::string_view() : segments_.back();
  }

 private:
  std::vector<std::string_view> segments_;
  bool bad_ = false;
};

// A path cut at its last "::": the nodes ahead of it, if there are any, and the last segment.
struct SplitPath {
  std::optional<std::string_view> nodes;
  std::string_view last;
};
SplitPath SplitLast(std::string_view path);

// "name[n]": the name, and the number among the children of that name. A "[" at the start belongs
// to the name.
struct PathSegment {
  std::string_view name;
  std::size_t index = 0;
};
PathSegment ParseSegment(std::string_view segment);

}  // namespace xv::XMLParse
