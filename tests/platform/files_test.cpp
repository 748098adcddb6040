#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <thread>
#include <utility>
#include <vector>

#include "platform/file.h"
#include "platform/file_template.h"
#include "platform/folders.h"
#include "platform/paths.h"
#include "platform/whole_file.h"
#include "support/temporary_folder.h"

namespace xv {
namespace {

using test::TemporaryFolder;

TEST(File, WritesInPlaceAndAtTheEnd) {
  const TemporaryFolder folder;
  const int before = dup(0);
  close(before);
  File file;  // takes the number that dup gave
  ASSERT_EQ(file.Create(folder.Path("a")), S_OK);
  EXPECT_EQ(fcntl(before, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC) << "no child has it";
  ASSERT_EQ(file.Write("0123456789", 10), S_OK);
  ASSERT_EQ(file.WriteAt(2, "ab", 2), S_OK);
  std::int64_t value = 0;
  ASSERT_EQ(file.Position(&value), S_OK);
  EXPECT_EQ(value, 10);
  ASSERT_EQ(file.Write("x", 1), S_OK);
  ASSERT_EQ(file.Flush(), S_OK);
  ASSERT_EQ(file.Size(&value), S_OK);
  EXPECT_EQ(value, 11);
  char bytes[20] = {};
  std::size_t read = 0;
  ASSERT_EQ(file.ReadAt(8, bytes, sizeof(bytes), &read), S_OK);
  EXPECT_EQ(std::string(bytes, read), "89x");
  ASSERT_EQ(file.Truncate(4), S_OK);
  ASSERT_EQ(file.Seek(4), S_OK);
  ASSERT_EQ(file.Write("!", 1), S_OK);
  File moved = std::move(file);
  EXPECT_FALSE(file.IsOpen());  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(moved.Close(), S_OK);
  EXPECT_EQ(folder.Read("a"), "01ab!");
}

TEST(File, EachErrorOfTheSystemHasWords) {
  for (int error = 1; error < 134; ++error) {
    EXPECT_NE(StatusSentence(StatusFromErrno(error).code()), nullptr) << error;
  }
  EXPECT_EQ(StatusFromErrno(EPIPE), XV_E_BROKEN_PIPE);
  EXPECT_EQ(StatusFromErrno(ECONNREFUSED), XV_E_CONNECTION_REFUSED);
}

TEST(File, FailuresAreTheSystemsErrors) {
  const TemporaryFolder folder;
  File file;
  EXPECT_EQ(file.OpenRead(folder.Path("none")), XV_E_FILE_NOT_FOUND);
  EXPECT_EQ(file.Create(folder.Path("none/a")), XV_E_FILE_NOT_FOUND);
  EXPECT_TRUE(file.Create(folder.Path()).Failed());
  EXPECT_EQ(file.Create(std::string("a\0b", 3)), E_INVALIDARG);
  EXPECT_EQ(file.Write("a", 1), XV_E_INVALID_HANDLE);
  EXPECT_EQ(file.Flush(), XV_E_INVALID_HANDLE);
  EXPECT_EQ(file.Close(), S_OK);
  ASSERT_EQ(file.OpenRead(folder.Write("a", "a")), S_OK);
  EXPECT_EQ(file.Write("a", 1), XV_E_INVALID_HANDLE);
  EXPECT_EQ(file.WriteAt(-1, "a", 1), E_INVALIDARG);
  ASSERT_EQ(file.Create("/dev/full"), S_OK);
  EXPECT_EQ(file.Write("a", 1), XV_E_DISK_FULL);
}

// A pipe whose reader is slow takes a part at a time, and signals interrupt the rest.
TEST(File, GoesOnOverShortAndInterruptedWrites) {
  const TemporaryFolder folder;
  const std::string pipe = folder.Path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  struct sigaction action {};
  action.sa_handler = [](int) {};
  struct sigaction old {};
  sigaction(SIGUSR1, &action, &old);
  const pthread_t writer = pthread_self();
  std::size_t received = 0;
  std::thread reader([&] {
    const int in = open(pipe.c_str(), O_RDONLY);
    char bytes[7001];
    ssize_t read = 0;
    while ((read = ::read(in, bytes, sizeof(bytes))) > 0) {
      received += static_cast<std::size_t>(read);
      if (received < 1'000'000) pthread_kill(writer, SIGUSR1);
    }
    close(in);
  });
  const std::string data(2'000'000, 'x');
  File file;
  ASSERT_EQ(file.Create(pipe), S_OK);
  EXPECT_EQ(file.Write(data.data(), data.size()), S_OK);
  EXPECT_EQ(file.Flush(), S_OK);
  file = {};
  reader.join();
  sigaction(SIGUSR1, &old, nullptr);
  EXPECT_EQ(received, data.size());
}

TEST(WholeFile, ReplaceNeverShowsAGap) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("a", std::string(100'000, 'A'));
  chmod(path.c_str(), 0640);
  std::filesystem::create_symlink("a", folder.Path("link"));
  std::atomic<bool> done{false};
  std::thread reader([&] {
    while (!done) {
      std::vector<std::uint8_t> bytes;
      EXPECT_EQ(ReadWholeFile(path, &bytes), S_OK);
      EXPECT_TRUE(!bytes.empty() && bytes.size() % 100'000 == 0 && bytes[0] == bytes.back());
    }
  });
  for (char letter = 'B'; letter <= 'Z'; ++letter) {
    const std::string text(letter % 2 == 0 ? 100'000 : 200'000, letter);
    ASSERT_EQ(ReplaceWholeFile(folder.Path("link"), text.data(), text.size(), LinkPolicy::kFollow),
              S_OK);
  }
  done = true;
  reader.join();
  EXPECT_EQ(folder.Read("a"), std::string(100'000, 'Z'));
  EXPECT_TRUE(std::filesystem::is_symlink(folder.Path("link")));
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms{0640});
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 2);
}

// A link that somebody has laid gives way; the file behind it is neither read nor written. The
// process's mask holds for new files, and nobody else's files are made under another one meanwhile.
TEST(WholeFile, ReplacesTheLinkItselfUnderTheMask) {
  const TemporaryFolder folder;
  const std::string victim = folder.Write("victim", "theirs");
  chmod(victim.c_str(), 0666);
  std::filesystem::create_symlink("victim", folder.Path("link"));
  const mode_t before = umask(007);
  EXPECT_EQ(ReplaceWholeFile(folder.Path("link"), "ours", 4, LinkPolicy::kReplace), S_OK);
  umask(before);
  EXPECT_EQ(folder.Read("victim"), "theirs");
  EXPECT_EQ(folder.Read("link"), "ours");
  const auto made = std::filesystem::symlink_status(folder.Path("link"));
  EXPECT_EQ(made.type(), std::filesystem::file_type::regular);
  EXPECT_EQ(made.permissions(), std::filesystem::perms{0660});
}

// A side output of that name takes nothing away that is no file.
TEST(WholeFile, DevicesStayAndLinksToThemAreRefused) {
  const TemporaryFolder folder;
  const std::string pipe = folder / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::filesystem::create_symlink("/dev/null", folder / "link");
  const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
  for (const LinkPolicy links : {LinkPolicy::kFollow, LinkPolicy::kReplace}) {
    EXPECT_EQ(ReplaceWholeFile(pipe, "ours", 4, links), S_OK);
    char text[5] = {};
    EXPECT_EQ(read(reader, text, 4), 4);
    EXPECT_STREQ(text, "ours");
  }
  close(reader);
  EXPECT_EQ(ReplaceWholeFile(folder / "link", "ours", 4, LinkPolicy::kFollow), S_OK);
  EXPECT_EQ(ReplaceWholeFile(folder / "link", "ours", 4, LinkPolicy::kReplace), XV_E_LINK_LOOP);
  EXPECT_TRUE(std::filesystem::is_fifo(pipe) && std::filesystem::is_symlink(folder / "link"));
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

// What lies within the process's limit is written; no signal is raised.
TEST(File, TheLimitOnFileSizesIsAStatus) {
  const TemporaryFolder folder;
  const test::FileSizeLimit limit(1000);
  const auto before = std::signal(SIGXFSZ, SIG_DFL);
  const std::string data(600, 'x');
  File file;
  ASSERT_EQ(file.Create(folder / "a"), S_OK);
  EXPECT_EQ(file.Write(data.data(), data.size()), S_OK);
  EXPECT_EQ(file.Write(data.data(), data.size()), XV_E_FILE_TOO_LARGE);
  EXPECT_EQ(file.WriteAt(990, data.data(), 10), S_OK);
  EXPECT_EQ(file.WriteAt(5000, data.data(), 10), XV_E_FILE_TOO_LARGE);
  EXPECT_EQ(file.Allocate(0, 1001), XV_E_FILE_TOO_LARGE);
  EXPECT_EQ(std::filesystem::file_size(folder / "a"), 1000u);
  (void)std::signal(SIGXFSZ, before);
}

TEST(WholeFile, ReadsOnlyPlainFilesWithinTheLimit) {
  const TemporaryFolder folder;
  std::vector<std::uint8_t> bytes;
  ASSERT_EQ(WriteWholeFile(folder.Path("a"), "abc", 3), S_OK);
  EXPECT_EQ(ReadWholeFile(folder.Path("a"), &bytes, 3), S_OK);
  EXPECT_EQ(bytes.size(), 3u);
  EXPECT_EQ(ReadWholeFile(folder.Path("a"), &bytes, 2), E_OUTOFMEMORY);
  EXPECT_EQ(ReadWholeFile(folder.Path(), &bytes), E_INVALIDARG);
  EXPECT_EQ(ReadWholeFile("/dev/zero", &bytes), E_INVALIDARG);
  EXPECT_EQ(ReadWholeFile(std::string(PATH_MAX, 'x'), &bytes), StatusFromErrno(ENAMETOOLONG));
  EXPECT_EQ(ReadWholeFile(folder.Path("none"), &bytes), XV_E_FILE_NOT_FOUND);
  EXPECT_EQ(ReplaceWholeFile(folder.Path("none/a"), "x", 1, LinkPolicy::kFollow),
            XV_E_FILE_NOT_FOUND);
  EXPECT_EQ(RemoveFile(folder.Path("a")), S_OK);
  EXPECT_EQ(RemoveFile(folder.Path("a")), XV_E_FILE_NOT_FOUND);
  EXPECT_FALSE(FileExists(folder.Path("a")));
  EXPECT_GT(FreeDiskSpace(folder.Path()).value_or(0), 0u);
  EXPECT_FALSE(FreeDiskSpace(folder.Path("none")));
}

TEST(Paths, UrlsByTheFirstColon) {
  EXPECT_TRUE(IsUrl("rtp://host:5004") && IsUrl("RTP://host", "rtp") && IsUrl("://"));
  EXPECT_FALSE(IsUrl("rtsp://host", "rtp"));
  for (const char* path : {"/a/b.mov", "10:30:00.mov", "10:30://x", "file:", "file:/a", ""}) {
    EXPECT_FALSE(IsUrl(path)) << path;
  }
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
  const std::string tooLong = "/" + std::string(PATH_MAX, 'a');
  for (const std::string& bad : {std::string(), std::string("/"), std::string("//"),
                                 std::string("a"), std::string("relative/x"), tooLong}) {
    EXPECT_EQ(CreateFolders(bad), E_INVALIDARG) << bad;
  }
  EXPECT_EQ(CreateFolders(folder.Path(std::string(300, 'a'))), StatusFromErrno(ENAMETOOLONG));
  EXPECT_TRUE(CreateFolders("/proc/no/way").Failed());
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
