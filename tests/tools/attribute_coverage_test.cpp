#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>

#include "catalogue/builtin_list.h"
#include "lists/attribute_tables.h"
#include "lists/selection.h"
#include "support/needed.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
}

namespace xv::test {
namespace {

constexpr char kNameLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";

std::string TextOf(const std::filesystem::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

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
void AddNames(const std::string& line, std::set<std::string>& names, const std::string& node = {}) {
  for (std::size_t end = 0; (end = line.find_first_of("=\"", end)) != std::string::npos; ++end) {
    std::size_t begin = end;
    while (begin > 0 && IsNameLetter(line[begin - 1])) --begin;
    const std::string name = WithoutNumbers(node + line.substr(begin, end - begin));
    names.insert(name);
    for (std::size_t at = 0; (at = name.find("::", at)) != std::string::npos; ++at)
      names.insert(name.substr(0, at));
  }
}

std::set<std::string> NamesOfAllTests() {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(TESTS_FOLDER)) {
    if (entry.path().extension() != ".cpp") continue;
    // The encoders there are given the node itself.
    const bool ofVideo = entry.path().parent_path().filename() == "hw";
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) {
      const std::size_t first = line.find_first_not_of(' ');
      const bool comment = first != std::string::npos && line.compare(first, 2, "//") == 0;
      if (comment) continue;
      AddNames(line, names);
      if (ofVideo) AddNames(line, names, "video::");
    }
  }
  return names;
}

TEST(AttributeCoverage, SomeTestSetsEachAttributeThatTheWriterReads) {
  const std::set<std::string> names = NamesOfAllTests();
  for (const AttributeTable& table : AttributeTables()) {
    for (const AttributeRow& row : table.rows) {
      EXPECT_EQ(names.count(PathOf(row)), 1u) << table.title << ": " << PathOf(row);
    }
  }
}

// The name ahead of the bracket in a declaration with that mark.
std::string Declared(const std::string& line, const char* mark) {
  const std::size_t at = line.find(mark), end = line.find('(', at);
  if (at == std::string::npos || end == std::string::npos) return {};
  const std::size_t begin = line.find_last_not_of(kNameLetters, end - 1) + 1;
  return line.substr(begin, end - begin);
}

// Calls by "->" or ".", of functions by their name alone, and what tests implement as a host.
void AddCalls(const std::string& text, std::set<std::string>& names) {
  for (std::size_t end = 0; (end = text.find('(', end + 1)) != std::string::npos;) {
    const std::size_t begin = text.find_last_not_of(kNameLetters, end - 1) + 1;
    const std::string name = text.substr(begin, end - begin);
    const bool member = begin > 0 && (text[begin - 1] == '.' || text[begin - 1] == '>');
    const std::size_t stop = text.find_first_of("{;", end);
    const bool implements = text.substr(end, stop - end).ends_with("override ");
    if (member || implements || name.starts_with("Xv") || name.starts_with("Dll")) {
      names.insert(name);
    }
  }
}

TEST(InterfaceCoverage, SomeTestCallsEachOperationOfThePublicHeaders) {
  std::set<std::string> called;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(TESTS_FOLDER)) {
    if (entry.path().string().find("/vendor/") != std::string::npos) continue;
    const std::string kind = entry.path().extension();
    if (kind == ".cpp" || kind == ".h") AddCalls(TextOf(entry.path()), called);
  }
  std::size_t operations = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(HEADERS_FOLDER)) {
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) {
      for (const char* mark : {"  virtual ", "XV_EXPORT "}) {
        const std::string name = Declared(line, mark);
        if (name.empty() || line.find('~') != line.npos || line[0] == '#') continue;
        ++operations;
        EXPECT_EQ(called.count(name), 1u) << entry.path() << ": " << name;
      }
    }
  }
  EXPECT_GT(operations, 100u);
}

// A key of all tracks has several rows.
TEST(AttributeCoverage, EachKeyHasItsRow) {
  std::set<std::pair<std::string_view, std::string_view>> listed;
  for (const AttributeTable& table : AttributeTables()) {
    for (const AttributeRow& row : table.rows) listed.insert({row.name, row.help});
  }
  std::size_t declared = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(SOURCES_FOLDER)) {
    if (entry.path().extension() != ".h") continue;
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) {
      if (line.starts_with("inline constexpr Attribute<")) ++declared;
    }
  }
  EXPECT_EQ(listed.size(), declared);
}

TEST(AttributeCoverage, DefaultsAreValuesOfTheirKeys) {
  for (const AttributeTable& table : AttributeTables()) {
    for (const AttributeRow& row : table.rows) {
      const std::string text = DefaultText(row);
      EXPECT_TRUE(text.empty() || IsValidValue(row, text)) << PathOf(row) << "=" << text;
    }
  }
}

// What the list of formats and codecs offers for a key of ours.
void ExpectOffersValid(const XMLParse::CoXMLNode& holder, std::span<const AttributeRow> rows) {
  for (const ListedAttribute& one : AttributesOfFormat(holder)) {
    const AttributeRow* row = FindRow(rows, one.name);
    if (row == nullptr || row->toFFmpeg) continue;
    for (const std::string& value : ReadList(one.values + "," + one.defaultValue)) {
      EXPECT_TRUE(IsValidValue(*row, value)) << holder.Text("id") << " " << PathOf(*row) << value;
    }
  }
}

TEST(AttributeCoverage, ListedValuesAreValuesOfTheirKeys) {
  const XMLParse::XMLNodePtr list = XMLParse::CoXMLNode::Create({});
  ASSERT_TRUE(list->ReadXml(BuiltinList()).Ok());
  for (const auto& format : Needed(list->FindChild("formats")).Children()) {
    ExpectOffersValid(*format, SessionAttributes());
    for (const std::string_view kind : {kVideoNode, kAudioNode}) {
      const auto rows = kind == kVideoNode ? VideoAttributes() : AudioAttributes();
      const XMLParse::XMLNodePtr codecs = format->FindChild(kind);
      if (!codecs) continue;
      for (const auto& codec : codecs->Children()) ExpectOffersValid(*codec, rows);
    }
  }
  for (const auto& codec : Needed(list->FindChild("video_codecs")).Children()) {
    ExpectOffersValid(*codec, VideoAttributes());
  }
  ExpectOffersValid(*list->FindChild("video_codecs"), VideoAttributes());
  ExpectOffersValid(*list->FindChild("audio_codecs"), AudioAttributes());
}

// What is kept from FFmpeg takes no option away from it: no muxer or protocol has one of the name.
TEST(AttributeCoverage, MuxersHaveNoOptionOfOurNames) {
  for (const auto rows : {SessionAttributes(), SecondOutputAttributes()}) {
    for (const AttributeRow& row : rows) {
      if (row.name == kStrict.name) continue;  // shared: its words are told apart
      const AVClass* kind = avformat_get_class();
      EXPECT_EQ(
          av_opt_find(&kind, std::string(row.name).c_str(), nullptr, AV_OPT_FLAG_ENCODING_PARAM,
                      AV_OPT_SEARCH_CHILDREN | AV_OPT_SEARCH_FAKE_OBJ),
          nullptr)
          << row.name;
    }
  }
}

}  // namespace
}  // namespace xv::test
