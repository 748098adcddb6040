#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "sweep/listed_entries.h"

namespace xv::test {

// One attribute of an entry with one value.
struct SweepCase {
  std::size_t entry = 0;
  std::string name;
  std::string value;
  bool offered = false;  // a word, a bound or the default that the list shows
};

// Each row of each entry with its bounds and words, numbers between and at the ends of its type,
// and ten values that most rows have no use for. Always in the same order.
std::vector<SweepCase> SweepCases(const std::vector<ListedEntry>& entries);

std::string Describe(const std::vector<ListedEntry>& entries, const SweepCase& one);

}  // namespace xv::test
