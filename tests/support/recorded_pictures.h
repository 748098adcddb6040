#pragma once

#include <string>

#include "support/media_probe.h"

// What tests of encoders ask of the pictures that came back.
namespace xv::test {

// `count` pictures of MakeFrame from number `first` on, in order.
void ExpectLevelsInOrder(const ProbedStream& video, int first, int count);
// `count` pictures of MakeFrame, in order; no presentation stamp twice.
void ExpectPicturesInOrder(const ProbedStream& video, int count);

// How a recording was coded.
struct CodedAs {
  const char* codec = "h264";
  int height = 240;
  bool reorders = false;  // has B pictures
  AVFieldOrder order = AV_FIELD_PROGRESSIVE;
};

// `count` pictures of MakeFrame at 25 a second, in order, with their sound, that begin with a key
// picture.
void ExpectRecording(const ProbedFile& file, const CodedAs& coded, int count);

constexpr Feed InterlacedFeed(int height, eXvInterlace order) {
  return {.width = 720, .height = height, .interlace = order};
}
// 320x240.
constexpr Feed FeedIn(std::uint32_t layout) {
  return {.layout = layout, .width = 320, .height = 240};
}

// A sample of a picture with detail everywhere, that a wrong row, column or field would show. Two
// rows share their chroma, so that it is the same with half as many.
int DetailOf(int component, int x, int y);
// Of a component against DetailOf from line `top` on, in decibels; those of 4:2:0 behind the first.
double DetailQuality(const ProbedStream& video, int component, int top);

// The captions that a recording's pictures carry, as FFmpeg reads them.
std::string CaptionText(const std::string& path);
// Those of the test picture in its first five seconds, encoded by `codec`.
std::string RecordedCaptions(const std::string& recorder, const std::string& codec);

}  // namespace xv::test
