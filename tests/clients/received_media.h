#pragma once

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "support/loopback.h"
#include "support/recorded_pictures.h"

// What the tests of the clients push, and what must come out at the other end.
namespace xv::test {

inline constexpr int kFrames = 50;
inline constexpr char kLiveCodecs[] =
    "video::codec=libx264 video::preset=ultrafast video::tune=zerolatency video::g=10 "
    "audio::codec=aac ";

// Each picture has another level and the sound goes on, so that what is missing shows.
inline Feed LiveFeed() { return {.width = 320, .height = 240}; }

// As fast as who reads datagrams at the port takes them; with 0, a few times faster than the clock.
inline HRESULT PushPaced(host::Writer& writer, const Feed& feed, int count, int first = 0,
                         int port = 0) {
  constexpr std::size_t kMostUnread = 64 << 10;  // bytes; a socket holds three times as much
  HRESULT result = S_OK;
  for (int i = first; i < first + count && result == S_OK; ++i) {
    result = writer.Put(MakeFrame(feed, i));
    if (port == 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(8));
    } else if (!Eventually(15, [&] { return UnreadBytes(port) < kMostUnread; })) {
      return E_FAIL;
    }
  }
  return result;
}

// The pictures that arrived are those from number `first` to the last that was pushed.
inline void ExpectPictures(const ProbedStream& video, const std::string& codec, int first) {
  EXPECT_EQ(video.codec, codec);
  EXPECT_TRUE(video.width == 320 && video.height == 240) << video.width << "x" << video.height;
  ExpectLevelsInOrder(video, first, kFrames - first);
}

inline void ExpectSound(const ProbedStream& audio, const std::string& codec) {
  EXPECT_EQ(audio.codec, codec);
  EXPECT_EQ(audio.errors, 0);
  EXPECT_TRUE(audio.channels == 2 && audio.sampleRate == 48000);
  EXPECT_NEAR(audio.seconds, kFrames / 25.0, 0.1);
}

inline void ExpectAll(const ProbedFile& file, const std::string& video, const std::string& audio) {
  ExpectPictures(file.Pictures(), video, 0);
  ExpectSound(file.Sound(), audio);
  EXPECT_NEAR(file.seconds, kFrames / 25.0, 0.15);
}

}  // namespace xv::test
