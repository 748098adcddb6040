#include <gmock/gmock.h>

#include <fstream>

#include "support/media_probe.h"

// How many threads an encoder of pictures has: what it is told, else what session and process may
// have. libx264 writes it into its stream.
namespace xv::test {
namespace {

struct Case {
  const char* environment;
  const char* attributes;
  const char* threads;
};

void PrintTo(const Case& one, std::ostream* out) {
  *out << "XVWRITER_THREADS=" << one.environment << ' ' << one.attributes;
}

class Threads : public testing::TestWithParam<Case> {};

TEST_P(Threads, OfTheEncoder) {
  const Case& one = GetParam();
  const ScopedVariable environment("XVWRITER_THREADS", one.environment);
  TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.ts", "video::codec=libx264 " + std::string(one.attributes)),
            S_OK);
  ASSERT_EQ(writer.Put(MakeFrame({.width = 320, .height = 480}, 0)), S_OK);
  ASSERT_EQ(writer.Stop(), S_OK);
  EXPECT_EQ(writer.Get("quality::bad_values") + writer.Get("quality::unused_options"), "");
  std::ifstream file(folder / "a.ts", std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(file), {});
  EXPECT_THAT(bytes, testing::HasSubstr(std::string(" threads=") + one.threads + ' '));
}

INSTANTIATE_TEST_SUITE_P(
    Told, Threads,
    testing::Values(Case{"", "threads=1", "1"}, Case{"", "threads=5", "5"},
                    Case{"", "video::threads=4", "4"}, Case{"", "threads=1 video::threads=4", "4"},
                    Case{"2", "", "2"}, Case{"2", "threads=5", "2"}, Case{"5", "threads=2", "2"},
                    Case{"2", "video::threads=0", "2"}, Case{"2x", "threads=6", "6"}));

}  // namespace
}  // namespace xv::test
