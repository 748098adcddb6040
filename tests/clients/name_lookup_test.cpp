#include <gmock/gmock.h>
#include <sys/socket.h>

#include <chrono>

#include "support/loopback.h"
#include "support/peer_process.h"
#include "support/temporary_folder.h"

namespace xv::test {
namespace {

// A resolver that takes every question and answers none. By itself the C library would ask for a
// minute and a half.
TEST(NameLookup, EndsWithThePatienceOfTheWriter) {
  const BoundSocket resolver(SOCK_DGRAM, 53);
  if (resolver.port == 0) GTEST_SKIP() << "needs the right to the resolver's port";
  if (RunProgram({"unshare", "-m", "true"}).status != 0) GTEST_SKIP() << "needs the right to mount";
  TemporaryFolder folder;
  const std::string settings =
      folder.Write("resolv.conf", "nameserver 127.0.0.1\noptions timeout:30 attempts:3\n");
  const auto begin = std::chrono::steady_clock::now();
  const ProgramResult result = RunProgram(
      {"unshare", "-m", "sh", "-c", "mount --bind \"$0\" /etc/resolv.conf && exec \"$@\"", settings,
       XVRECORD, "-a", "format=mpegts video::codec=mpeg2video io_timeout=1",
       "test:size=64x48,seconds=1", "tcp://nobody.invalid:9"});
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
  EXPECT_GT(result.status, 0);
  EXPECT_LT(result.status, 128);
  EXPECT_THAT(result.err, testing::HasSubstr("tcp://nobody.invalid:9: the name of its host"));
  EXPECT_LT(took.count(), 25);
}

}  // namespace
}  // namespace xv::test
