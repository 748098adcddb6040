#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "support/media_probe.h"

// GCC sees the deletes inlined and not the news that go with them.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

// Memory that runs out within the library, on the host's thread and on its own.
namespace {

thread_local bool hostThread = false;  // and outside of the library
std::atomic<long> untilFailure{-1};    // allocations of other threads; below 0: none fails

bool Fails() { return !hostThread && untilFailure >= 0 && untilFailure.fetch_sub(1) == 0; }

void* Allocate(std::size_t bytes) {
  void* block = Fails() ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

void* operator new(std::size_t bytes) { return Allocate(bytes); }
void* operator new[](std::size_t bytes) { return Allocate(bytes); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

namespace xv::test {
namespace {

TEST(Memory, AFailureIsToldAndEndsNoProcess) {
  hostThread = true;
  int told = 0, whole = 0;
  for (long number = 0; number < 1500; number += 3) {
    TemporaryFolder folder;
    host::Writer writer;
    const auto object = host::QueryAs<IXvObject_I>(writer.object());
    ASSERT_EQ(writer.Start(folder / "a.mp4",
                           "video::codec=mpeg2video audio::codec=mp2 play_while_rec=true "
                           "anc_capture=true video.buffers=4"),
              S_OK);
    untilFailure = number;
    HRESULT put = S_OK;
    for (int i = 0; i < 30 && Succeeded(put); ++i) {
      const auto frame = MakeFrame({.width = 128, .height = 96, .interlace = eXvI_TopFirst}, i);
      (void)host::AddExtra(frame, "ANC.Line.9", "bytes", 5);
      hostThread = false;
      put = writer.Put(frame);
      hostThread = true;
    }
    hostThread = false;
    (void)object->ObjectStop();
    hostThread = true;
    const HRESULT stopped = writer.Stop();
    const bool failed = untilFailure.exchange(-1) < 0;
    if (Failed(put) || Failed(stopped)) {
      ++told;
      EXPECT_TRUE(failed) << number << ": " << writer.LastError();
    } else {
      ++whole;
      EXPECT_EQ(Probe(folder / "a.mp4").Pictures().frames, 30) << number;
    }
  }
  EXPECT_GT(told, 50);
  EXPECT_GT(whole, 0);
}

}  // namespace
}  // namespace xv::test
