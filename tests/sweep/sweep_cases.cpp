#include "sweep/sweep_cases.h"

#include <algorithm>

#include "base/text.h"
#include "values/value_syntax.h"

namespace xv::test {
namespace {

constexpr const char* kWrong[] = {"",   "banana", "-1",  "0",     "99999999999999999999",
                                  "-7", "1e30",   "nan", "%n%s+", "0x7fffffffffffffff"};
constexpr const char* kNumbers[] = {"-2147483648", "2147483647", "1", "3", "100"};

// Words may hold blanks: "Sony PSP".
std::vector<std::string> WordsOf(const std::string& values) {
  std::vector<std::string> words;
  for (std::size_t begin = 0; begin < values.size();) {
    const std::size_t end = std::min(values.find(',', begin), values.size());
    words.emplace_back(Trim(values.substr(begin, end - begin)));
    begin = end + 1;
  }
  return words;
}

// An "int" row shows its bounds as "16.0".
std::string Bound(const ListedAttribute& row, const std::string& text) {
  const bool whole = row.type != "double" && text.size() > 2 && text.ends_with(".0");
  return whole ? text.substr(0, text.size() - 2) : text;
}

void AddRow(std::size_t entry, const ListedAttribute& row, std::vector<SweepCase>& cases) {
  // Such a row tells by itself that nobody takes it here.
  const bool former = row.description.find("older FFmpeg") != std::string::npos;
  const auto add = [&](const std::string& value, bool offered) {
    cases.push_back({entry, row.name, value, offered && !former});
  };
  for (const std::string& word : WordsOf(row.values)) add(word, true);
  for (const std::string& text : {row.minimum, row.maximum, row.defaultValue}) {
    if (!text.empty()) add(Bound(row, text), true);
  }
  for (const char* value : kNumbers) add(value, false);
  for (const char* value : kWrong) add(value, false);
}

}  // namespace

std::vector<SweepCase> SweepCases(const std::vector<ListedEntry>& entries) {
  std::vector<SweepCase> cases;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    for (const ListedAttribute& row : entries[i].rows) {
      if (row.type != "read-only") AddRow(i, row, cases);
    }
  }
  return cases;
}

std::string Describe(const std::vector<ListedEntry>& entries, const SweepCase& one) {
  const ListedEntry& entry = entries[one.entry];
  return entry.name + " (" + entry.preset + "):" + Setting(entry, one.name, one.value);
}

}  // namespace xv::test
