#pragma once

#include <span>
#include <string>
#include <string_view>

namespace xv {

// Insertions, deletions, replacements and swaps of neighbours that make `b` of `a`, in any case
// (the optimal string alignment form of the Damerau-Levenshtein distance).
std::size_t EditDistance(std::string_view a, std::string_view b);

// The one of `names` that was most likely meant by `text`: a few edits away, the more of them the
// longer the text, or else a path "node::name" of another node with the same name. The nearest, the
// first of several; "" when none is close.
std::string NearestName(std::string_view text, std::span<const std::string> names);

// "; did you mean NAME?" for a sentence; "" where none is near.
std::string DidYouMean(std::string_view text, std::span<const std::string> names);

}  // namespace xv
