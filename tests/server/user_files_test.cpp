#include <gmock/gmock.h>
#include <sys/stat.h>

#include <optional>

#include "support/media_probe.h"

// Whatever a user's files are, a writer is made, lists what it can write and records; and they stay
// as they are.
namespace xv::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class UserFiles : public testing::Test {
 protected:
  void ExpectRecords(host::Writer& writer) {
    ASSERT_EQ(writer.Start(folder_ / "a.mkv", "video::codec=mpeg4"), S_OK);
    ASSERT_EQ(PushFrames(writer, Feed{.width = 176, .height = 144}, 5), S_OK);
    EXPECT_EQ(writer.Stop(), S_OK);
    EXPECT_EQ(Probe(folder_ / "a.mkv").Pictures().frames, 5);
  }

  const TemporaryFolder folder_;
  const ScopedVariable settings_{"XVWRITER_SETTINGS", folder_ / "settings.toml"};
};

TEST_F(UserFiles, ListThatIsNone) {
  const std::string list = folder_.Path("list.xml");
  for (const std::string kind :
       {"", "<html><body/></html>", "format = mp4\n",
        "<supported_list><formats><format id=mkv><video><codec id='mpeg4'/><cod",
        "<supported_list>", "a folder", "a pipe"}) {
    SCOPED_TRACE(kind);
    fs::remove(list);
    if (kind == "a folder") {
      fs::create_directory(list);
    } else if (kind == "a pipe") {
      ASSERT_EQ(mkfifo(list.c_str(), 0600), 0);
    } else {
      folder_.Write("list.xml", kind);
    }
    if (kind == "<supported_list>") fs::resize_file(list, 100 << 20);
    struct stat before {
    }, after{};
    ASSERT_EQ(stat(list.c_str(), &before), 0);
    for (const char* update : {"false", "true"}) {
      host::Writer writer;
      ASSERT_EQ(writer.Set("config.path", list), S_OK);
      ASSERT_EQ(writer.Set("config.update", update), S_OK);
      EXPECT_THAT(
          writer.Get("supported_list"),
          testing::AllOf(HasSubstr("<codec id='mpeg4'"), HasSubstr("<file path='" + list + "'>")));
      ExpectRecords(writer);
    }
    ASSERT_EQ(stat(list.c_str(), &after), 0);
    EXPECT_TRUE(before.st_ino == after.st_ino && before.st_size == after.st_size &&
                before.st_mtim.tv_nsec == after.st_mtim.tv_nsec);
  }
}

TEST_F(UserFiles, SettingsThatAreBrokenOrReadOnly) {
  const std::string readOnly = "\"diskspace.min\" = '50M'\n";
  for (const std::string& text :
       {std::string("a = "), std::string("\x01\x02"), std::string("\"diskspace.min\" = '5M'\n[["),
        std::string("x=1\nx=2"), std::string(300, '['), std::string(2 << 20, '#'), readOnly}) {
    fs::remove(folder_.Path("settings.toml"));
    chmod(folder_.Write("settings.toml", text).c_str(), text == readOnly ? 0444 : 0644);
    host::Writer writer;
    EXPECT_EQ(writer.Get("diskspace.min"), text == readOnly ? "50M" : "300M") << text;
    ExpectRecords(writer);
    EXPECT_EQ(folder_.Read("settings.toml"), text);
  }
  fs::remove(folder_.Path("settings.toml"));
  fs::create_directory(folder_.Path("settings.toml"));
  host::Writer writer;
  ExpectRecords(writer);
  EXPECT_TRUE(fs::is_empty(folder_.Path("settings.toml")));
}

TEST_F(UserFiles, SettingsOnAFullDisk) {
  const std::string text = "\"diskspace.min\" = '50M'\n";
  folder_.Write("settings.toml", text);
  std::optional<FileSizeLimit> full(text.size() + 5);
  host::Writer writer;
  const ScopedVariable none("XVWRITER_SETTINGS", folder_ / "new.toml");
  host::Writer second;
  full.reset();
  EXPECT_EQ(folder_.Read("settings.toml"), text);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.path()), {}), 1)
      << "nothing half written stays";
  EXPECT_EQ(writer.Get("diskspace.min"), "50M");
  EXPECT_EQ(second.Get("diskspace.min"), "300M");
  ExpectRecords(writer);
}

}  // namespace
}  // namespace xv::test
