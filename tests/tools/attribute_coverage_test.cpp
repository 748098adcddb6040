#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "catalogue/attribute_tables.h"

namespace xv::test {
namespace {

// All test programs as one text, without comments.
std::string AllTests() {
  std::string text;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(TESTS_FOLDER)) {
    if (entry.path().extension() != ".cpp") continue;
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) {
      const std::size_t first = line.find_first_not_of(' ');
      const bool comment = first != std::string::npos && line.compare(first, 2, "//") == 0;
      if (!comment) text += line + "\n";
    }
  }
  return text;
}

bool IsNameLetter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '.' || c == '-';
}

// Whether `ahead` ends with the node's name (a track's number may follow it) and "::"; without a
// node, whether a name can start there.
bool EndsWithNode(std::string_view ahead, std::string_view node) {
  if (node.empty()) return !ahead.empty() && !IsNameLetter(ahead.back()) && ahead.back() != ':';
  if (ahead.size() < 2 || ahead.substr(ahead.size() - 2) != "::") return false;
  ahead.remove_suffix(2);
  while (!ahead.empty() &&
         (std::isdigit(static_cast<unsigned char>(ahead.back())) != 0 || ahead.back() == '.')) {
    ahead.remove_suffix(1);
  }
  return ahead.size() >= node.size() && ahead.substr(ahead.size() - node.size()) == node;
}

// Set by "node::key=value" in an attribute text, or by its name in quotes. Of a key "name.N" the
// tests set "name." with a number.
bool IsSetIn(const std::string& text, const AttributeSpec& row) {
  std::string key = row.key;
  const bool numbered = key.size() > 2 && key.compare(key.size() - 2, 2, ".N") == 0;
  if (numbered) key.pop_back();
  for (std::size_t at = 0; (at = text.find(key, at)) != std::string::npos; at += key.size()) {
    std::size_t end = at + key.size();
    if (numbered && std::isdigit(static_cast<unsigned char>(text[end])) == 0) continue;
    end += numbered ? 1 : 0;
    const bool ends = text[end] == '=' || text[end] == '"' || text.compare(end, 2, "::") == 0;
    if (ends && EndsWithNode(std::string_view(text).substr(0, at), row.node)) return true;
  }
  return false;
}

TEST(AttributeCoverage, SomeTestSetsEachAttributeThatTheWriterReads) {
  const std::string text = AllTests();
  ASSERT_GT(text.size(), 100'000u);
  for (const AttributeTable& table : AttributeTables()) {
    for (const AttributeSpec& row : table.rows) {
      EXPECT_TRUE(IsSetIn(text, row)) << table.title << ": " << row.node << " " << row.key;
    }
  }
  EXPECT_FALSE(IsSetIn(text, {"no_such_"
                              "key",
                              "", "", "", "", ""}))
      << "the search can fail";
}

}  // namespace
}  // namespace xv::test
