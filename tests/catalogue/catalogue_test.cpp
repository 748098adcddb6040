#include "catalogue/catalogue.h"

#include <gmock/gmock.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "base/text.h"
#include "catalogue/list_file.h"
#include "platform/module.h"
#include "support/temporary_folder.h"

namespace xv {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;
namespace fs = std::filesystem;

constexpr std::string_view kDeclaration = "<?xml version='1.0'?>";

class CatalogueTest : public ::testing::Test {
 protected:
  CatalogueTest() { Configure("config.path", folder_.Path("user.xml")); }
  void Configure(const char* name, const std::string& value) { own_->SetAttribute(name, value); }
  // What stands behind the XML declaration.
  std::string Read(Catalogue& catalogue) {
    std::string xml;
    EXPECT_TRUE(catalogue.Read(&xml).Ok());
    EXPECT_THAT(xml, StartsWith(kDeclaration));
    return xml.substr(kDeclaration.size());
  }
  std::string ReadNew() {
    own_->ClearChildren();
    Catalogue catalogue(own_);
    return Read(catalogue);
  }

  test::TemporaryFolder folder_;
  const XMLNodePtr own_ = CoXMLNode::Create("xv-props");
};

TEST_F(CatalogueTest, ServesTheBuiltInListWithoutAFile) {
  const std::string xml = ReadNew();
  EXPECT_THAT(xml, StartsWith("<supported_list><formats><format name='Auto Select'>"));
  EXPECT_THAT(xml, HasSubstr("<codec id='libx264' "));
  EXPECT_FALSE(fs::exists(folder_.Path("user.xml"))) << "nothing was built, nothing is saved";
  Configure("config.path", "");
  EXPECT_EQ(ReadNew(), xml);
  EXPECT_TRUE(own_->FindChild("supported_list::formats")) << "the list is a child of the node";
}

TEST_F(CatalogueTest, UsersFileReplacesTheList) {
  const std::string text =
      "<?xml version='1.0'?><supported_list><formats><format id='mp4' name='mine'><video>"
      "<codec id='mpeg4'/><codec id='vc1'/></video></format></formats></supported_list>";
  folder_.Write("user.xml", text);
  EXPECT_EQ(ReadNew(),
            "<supported_list><formats><format id='mp4' name='mine'><video><codec id='mpeg4'/>"
            "</video></format></formats><unavailable><codec id='vc1'>this build of FFmpeg has no "
            "such encoder</codec></unavailable></supported_list>");
  EXPECT_EQ(folder_.Read("user.xml"), text);
  const std::string empty = "<supported_list></supported_list>";
  folder_.Write("user.xml", empty);
  EXPECT_THAT(ReadNew(), HasSubstr("<format id='matroska'")) << "is built anew";
  EXPECT_EQ(folder_.Read("user.xml"), empty) << "and stays";
}

TEST_F(CatalogueTest, UsersFileMayBeWide) {
  const std::string text =
      "<supported_list><formats><format name='\u00FC'/></formats></supported_list>";
  const std::u16string wide = Utf16FromUtf8(text);
  const std::string bytes(reinterpret_cast<const char*>(wide.data()), wide.size() * 2);
  Configure("config.unicode", "true");
  folder_.Write("user.xml", bytes);
  EXPECT_THAT(ReadNew(), HasSubstr("name='\u00FC'"));
  Configure("config.unicode", "false");
  folder_.Write("user.xml", "\xFF\xFE" + bytes);
  EXPECT_THAT(ReadNew(), HasSubstr("name='\u00FC'"));
}

TEST_F(CatalogueTest, UpdateBuildsFromTheFixedListsAndSaves) {
  Configure("config.update", "true");
  const std::string xml = ReadNew();
  EXPECT_THAT(xml, HasSubstr("<format id='matroska'"));
  EXPECT_THAT(xml, HasSubstr("<codec id='libx264'")) << "the list calls it x264";
  EXPECT_THAT(xml, Not(HasSubstr("<format id='mp3'"))) << "no usable picture";
  EXPECT_THAT(xml, Not(HasSubstr("<codec id='libx265'")));
  EXPECT_THAT(xml, Not(HasSubstr("<packetsize")));
  const std::string saved = folder_.Read("user.xml");
  EXPECT_THAT(saved.substr(0, 70),
              StartsWith(std::string(kDeclaration) + "\r\n<supported_list>\r\n\t<formats>\r\n"));
  EXPECT_THAT(saved, Not(HasSubstr("<unavailable")));
  const XMLNodePtr list = CoXMLNode::Create("supported_list");
  list->AppendChild("unavailable");
  EXPECT_EQ(SaveListFile(folder_.Path("other.xml"), false, *list), S_OK);
  EXPECT_THAT(folder_.Read("other.xml"), Not(HasSubstr("unavailable")));
  Configure("config.update", "false");
  EXPECT_EQ(ReadNew(), xml) << "what was saved is what comes back";
  Configure("config.unicode", "true");
  Configure("config.update", "true");
  ReadNew();
  EXPECT_THAT(folder_.Read("user.xml"), StartsWith("\xFF\xFE<"));
  Configure("config.path", "/proc/none/list.xml");
  const std::string unsaved = ReadNew();
  EXPECT_THAT(unsaved, HasSubstr("<file path='/proc/none/list.xml'>is not saved: "))
      << "a folder that cannot be written is named and no failure";
  Configure("config.full", "true");
  EXPECT_THAT(ReadNew(), AllOf(HasSubstr("<codec id='libx265'"), HasSubstr("<packetsize"),
                               HasSubstr("<format id='nut'")))
      << "everything that FFmpeg has";
}

TEST_F(CatalogueTest, SettingsMayStandInTheConfigNode) {
  own_->RemoveAttribute("config.path").Ok();
  EXPECT_TRUE(own_->SetText("m_config::config.path", folder_.Path("other.xml")).Ok());
  folder_.Write("other.xml", "<supported_list><formats/></supported_list>");
  Catalogue catalogue(own_);
  EXPECT_EQ(Read(catalogue), "<supported_list><formats/></supported_list>");
}

TEST_F(CatalogueTest, RelativePathsStandBesideTheSettings) {
  const test::ScopedVariable settings("XVWRITER_SETTINGS", folder_.Path("s.toml"));
  EXPECT_EQ(ListPath("x/list.xml"), folder_.Path("x/list.xml"));
  EXPECT_EQ(ListPath("/a/b.xml"), "/a/b.xml");
  EXPECT_EQ(ListPath(""), "");
  EXPECT_EQ(ListPathToRead("x/list.xml"), folder_.Path("x/list.xml"));
  const std::string module = ModulePath();
  const std::string shared(fs::path(module).filename());
  EXPECT_EQ(ListPathToRead(shared), module) << "one that was installed is read";
  EXPECT_EQ(ListPath(shared), folder_.Path(shared)) << "and never written";
}

TEST_F(CatalogueTest, ReadsTogetherBuildOnce) {
  std::atomic<int> probes{0};
  Catalogue catalogue(own_, [&] {
    ++probes;
    return HardwareReport();
  });
  std::vector<std::thread> threads;
  std::vector<std::string> texts(8);
  for (std::string& text : texts) threads.emplace_back([&] { text = Read(catalogue); });
  for (std::thread& thread : threads) thread.join();
  for (const std::string& text : texts) EXPECT_EQ(text, texts[0]);
  EXPECT_EQ(probes, 1);
}

}  // namespace
}  // namespace xv
