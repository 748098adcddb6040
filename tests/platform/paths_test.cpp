#include "platform/paths.h"
#include "platform/folders.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <utility>
#include <vector>

#include "platform/file_template.h"
#include "support/temporary_folder.h"

namespace xv {
namespace {

TEST(Paths, UrlsByTheFirstColon) {
  EXPECT_TRUE(IsUrl("rtp://host:5004"));
  EXPECT_TRUE(IsUrl("RTP://host", "rtp"));
  EXPECT_FALSE(IsUrl("rtsp://host", "rtp"));
  EXPECT_FALSE(IsUrl("/a/b.mov"));
  EXPECT_FALSE(IsUrl("10:30:00.mov"));
  EXPECT_FALSE(IsUrl("10:30://x"));
  EXPECT_FALSE(IsUrl("file:"));
  EXPECT_FALSE(IsUrl("file:/a"));
  EXPECT_TRUE(IsUrl("://"));
  EXPECT_FALSE(IsUrl(""));
}

TEST(Paths, PartsOfAName) {
  EXPECT_EQ(FileNamePart("/a/b.c/10:30:00.mov"), "10:30:00.mov");
  EXPECT_EQ(FileNamePart("a\\b.mov"), "a\\b.mov");
  EXPECT_EQ(FileNamePart("/a/"), "");
  EXPECT_EQ(FolderOf("/a/b.mov"), "/a");
  EXPECT_EQ(FolderOf("/b.mov"), "/");
  EXPECT_EQ(FolderOf("b.mov"), "");
  EXPECT_EQ(ExtensionPoint("/a.b/c"), 6u);
  EXPECT_EQ(ExtensionPoint("/a.b/c.d.e"), 8u);
  EXPECT_EQ(AppendBeforeExtension("a.mov", ".hdr"), "a.hdr.mov");
  EXPECT_EQ(AppendBeforeExtension("/x.y/a", ".hdr"), "/x.y/a.hdr");
  EXPECT_EQ(AbsolutePath("/a"), "/a");
  EXPECT_EQ(AbsolutePath("a/b"), std::filesystem::current_path().string() + "/a/b");
}

TEST(Paths, CreateFoldersMakesEveryLevel) {
  const test::TemporaryFolder folder;
  const std::string deep = folder.Path("a//b/c/");
  EXPECT_EQ(CreateFolders(deep), S_OK);
  EXPECT_TRUE(std::filesystem::is_directory(folder.Path("a/b/c")));
  EXPECT_EQ(CreateFolders(deep), S_OK);
  folder.Write("file", "x");
  EXPECT_EQ(CreateFolders(folder.Path("file")), XV_E_PATH_NOT_FOUND);
  EXPECT_EQ(CreateFolders(folder.Path("file/x")), XV_E_PATH_NOT_FOUND);
  EXPECT_EQ(CreateFolders("relative/x"), E_INVALIDARG);
  for (const char* bad : {"", "/", "//", "a"}) EXPECT_EQ(CreateFolders(bad), E_INVALIDARG) << bad;
  EXPECT_EQ(CreateFolders("/" + std::string(PATH_MAX, 'a')), E_INVALIDARG);
  EXPECT_EQ(CreateFolders(folder.Path(std::string(300, 'a'))), StatusFromErrno(ENAMETOOLONG));
  EXPECT_EQ(CreateFolders("/proc/no/way").Failed(), true);
}

TEST(FileTemplate, KnowsThreeFormsAndNothingElse) {
  EXPECT_EQ(ExpandFileTemplate("a%03d.jpg", 7), "a007.jpg");
  EXPECT_EQ(ExpandFileTemplate("a%d.jpg", 12345), "a12345.jpg");
  EXPECT_EQ(ExpandFileTemplate("%02d%%%02d", 1), "01%01");
  EXPECT_EQ(ExpandFileTemplate("%07d", 123456789), "123456789");
  EXPECT_EQ(ExpandFileTemplate("%03d", -5), "-05");
  for (const char* plain : {"%s", "%n", "%", "a%", "%0", "%0d", "%3d", "%00d", "%ld", "%*d",
                            "%0999999999d", "%065d", "% d", "%02", ""}) {
    EXPECT_EQ(ExpandFileTemplate(plain, 3), plain);
  }
  EXPECT_EQ(ExpandFileTemplate("%064d", 3), std::string(63, '0') + "3");
  EXPECT_EQ(ExpandFileTemplate("100%%d%%%d", 3), "100%d%3");
}

}  // namespace
}  // namespace xv
