#include "settings/settings_store.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "props/props_hw.h"
#include "support/temporary_folder.h"

namespace xv {
namespace {

using ::testing::Pair;
using ::testing::UnorderedElementsAre;
namespace fs = std::filesystem;

class SettingsStoreTest : public ::testing::Test {
 protected:
  void Write(const std::string& text) { folder_.Write("settings.toml", text); }
  std::string FileText() { return folder_.Read("settings.toml"); }
  // Reads the file, sets the code's defaults and writes back, as an owner does at construction.
  XMLParse::XMLNodePtr Construct() {
    XMLParse::XMLNodePtr node = XMLParse::CoXMLNode::Create("xv-props");
    XvPropsHW hw{SettingsStore(path_)};
    hw.ReadInto(*node);
    node->SetTextIfAbsent("config.path", "list.xml");
    node->SetTextIfAbsent("ignore_pts", "false");
    hw.WriteBack(*node);
    return node;
  }

  test::TemporaryFolder folder_;
  std::string path_ = folder_.Path() + "/settings.toml";
};

TEST_F(SettingsStoreTest, ValuesKeepTheirNamesAndTablesBecomeNodes) {
  Write(
      "\"\" = \"own\"\n\"diskspace.min\" = '5M'\ncount = 5\nbig = 0x7FFFFFFFFFFFFFFF\nminus = -3\n"
      "flag = true\nrate = 2.5\nlist = [1, 'b']\nwhen = 2020-01-02\n[video]\nb = '1M'\n[video.hw]\n"
      "gpu = 1\n");
  const XMLParse::XMLNodePtr node = Construct();
  EXPECT_EQ(node->Value(), "own");
  for (const auto& [name, text] : {std::pair{"diskspace.min", "5M"},
                                   {"count", "5"},
                                   {"big", "9223372036854775807"},
                                   {"minus", "-3"},
                                   {"flag", "true"},
                                   {"rate", "2.5"},
                                   {"list", "1, b"},
                                   {"when", "2020-01-02"},
                                   {"video::b", "1M"},
                                   {"video::hw::gpu", "1"},
                                   {"ignore_pts", "false"}}) {  // where the file is silent
    EXPECT_EQ(node->Text(name), text) << name;
  }
}

TEST_F(SettingsStoreTest, MakesTheFileWithTheDefaults) {
  path_ = folder_.Path("a/b/settings.toml");
  Construct();
  EXPECT_EQ(folder_.Read("a/b/settings.toml"),
            "\"config.path\" = \"list.xml\"\n\"ignore_pts\" = \"false\"\n");
  const auto time = fs::last_write_time(path_);
  Construct();
  EXPECT_EQ(fs::last_write_time(path_), time) << "nothing to add, nothing written";
  for (const char* place : {"/proc/no/such/place.toml", "/dev/full"}) {  // nothing is made there
    path_ = place;
    EXPECT_EQ(Construct()->Text("ignore_pts"), "false");
  }
}

TEST_F(SettingsStoreTest, AddsKeysAndKeepsTheRestByteForByte) {
  const std::string text = "# mine\r\n\"CONFIG.Path\"='x'   # kept\nlast = 1";
  Write(text);
  Construct();
  EXPECT_EQ(FileText(), text + "\n\"ignore_pts\" = \"false\"\n");
  const std::string tables = "a = [\n[1],\n]\n[video]\nb = '1M'\n[[x]]\ny = 1\n";
  Write(tables);
  EXPECT_EQ(Construct()->Text("video::b"), "1M");
  EXPECT_EQ(FileText(), "\"config.path\" = \"list.xml\"\n\"ignore_pts\" = \"false\"\n" + tables);
  EXPECT_FALSE(Construct()->Has("video::config.path"));
  Write("\xEF\xBB\xBF[video]\n\"config.path\" = 'x'\n");
  Construct();
  EXPECT_EQ(FileText().rfind("\xEF\xBB\xBF\"config.path\" = ", 0), 0u) << "behind the mark";
}

TEST_F(SettingsStoreTest, WritesIntegersAndQuotesText) {
  SettingsStore store(path_);
  SettingsTable table;
  EXPECT_EQ(store.Read(&table).code(), S_FALSE);
  const std::vector<std::pair<std::string, std::string>> values = {{"i", "5"},
                                                                   {"zero", "007"},
                                                                   {"minus", "-5"},
                                                                   {"big", "5000000000"},
                                                                   {"hex", "0x00000000000000FF"},
                                                                   {"q\"\n", "a\\b\"\t\x7F\u00FC"}};
  EXPECT_EQ(store.AddMissing(values).code(), S_OK);
  EXPECT_EQ(
      FileText(),
      "\"i\" = 5\n\"zero\" = \"007\"\n\"minus\" = \"-5\"\n\"big\" = \"5000000000\"\n"
      "\"hex\" = 0x00000000000000FF\n\"q\\\"\\u000A\" = \"a\\\\b\\\"\\u0009\\u007F\u00FC\"\n");
  SettingsStore again(path_);
  EXPECT_EQ(again.Read(&table).code(), S_OK);
  EXPECT_THAT(table.values,
              UnorderedElementsAre(Pair("i", "5"), Pair("zero", "007"), Pair("minus", "-5"),
                                   Pair("big", "5000000000"), Pair("hex", "255"), values[5]));
}

TEST(SettingsPath, ComesFromTheEnvironment) {
  const auto with = [](const char* given, const char* config, const char* home) {
    const test::ScopedVariable variables[] = {
        {"XVWRITER_SETTINGS", given}, {"XDG_CONFIG_HOME", config}, {"HOME", home}};
    return SettingsPath();
  };
  constexpr const char* kFile = "/velarion/tessaline/xvwriter/xvwriterffm.toml";
  EXPECT_EQ(with("/x/y.toml", "/c", "/h"), "/x/y.toml");
  EXPECT_EQ(with("", "/c", "/h"), std::string("/c") + kFile);
  EXPECT_EQ(with("", "relative", "/h"), std::string("/h/.config") + kFile);
  EXPECT_EQ(with("", "", ""), "");
}

}  // namespace
}  // namespace xv
