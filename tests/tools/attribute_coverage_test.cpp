#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>

#include "lists/attribute_tables.h"

namespace xv::test {
namespace {

bool IsNameLetter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || std::strchr("_.-:", c) != nullptr;
}

// Numbers of tracks are no part of a name: "audio.1::b" is "audio::b", "streamid.2" "streamid.N".
std::string WithoutNumbers(const std::string& name) {
  const auto beforeNumber = [](const std::string& text) {
    return text.substr(0, text.find_last_not_of(".0123456789") + 1);
  };
  std::string out;
  std::size_t begin = 0;
  for (std::size_t end; (end = name.find("::", begin)) != std::string::npos; begin = end + 2)
    out += beforeNumber(name.substr(begin, end - begin)) + "::";
  const std::string last = name.substr(begin);
  const std::string stem = beforeNumber(last);
  return out + (stem.size() < last.size() && last[stem.size()] == '.' ? stem + ".N" : last);
}

// The names that a line sets: "node::key=value" in an attribute text, or a name in quotes.
void AddNames(const std::string& line, std::set<std::string>& names) {
  for (std::size_t end = 0; (end = line.find_first_of("=\"", end)) != std::string::npos; ++end) {
    std::size_t begin = end;
    while (begin > 0 && IsNameLetter(line[begin - 1])) --begin;
    const std::string name = WithoutNumbers(line.substr(begin, end - begin));
    names.insert(name);
    for (std::size_t at = 0; (at = name.find("::", at)) != std::string::npos; ++at)
      names.insert(name.substr(0, at));
  }
}

std::set<std::string> NamesOfAllTests() {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(TESTS_FOLDER)) {
    if (entry.path().extension() != ".cpp") continue;
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) {
      const std::size_t first = line.find_first_not_of(' ');
      const bool comment = first != std::string::npos && line.compare(first, 2, "//") == 0;
      if (!comment) AddNames(line, names);
    }
  }
  return names;
}

TEST(AttributeCoverage, SomeTestSetsEachAttributeThatTheWriterReads) {
  const std::set<std::string> names = NamesOfAllTests();
  for (const AttributeTable& table : AttributeTables()) {
    for (const AttributeSpec& row : table.rows) {
      const std::string name = (*row.node == '\0' ? "" : row.node + std::string("::")) + row.key;
      EXPECT_EQ(names.count(name), 1u) << table.title << ": " << name;
    }
  }
}

}  // namespace
}  // namespace xv::test
