#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/temporary_folder.h"
#include "xvwriter/host.hpp"

// A small host for the tests: frames whose content tells their number.
namespace xv::test {

// What a host pushes.
struct Feed {
  std::uint32_t layout = kFccUYVY;
  int width = 720;
  int height = 576;  // signed for RGB layouts
  double rate = 25;
  eXvInterlace interlace = eXvI_Progressive;
  int aspectX = 0;
  int aspectY = 0;
  int channels = 2;
  int sampleRate = 48000;
  int bits = 16;
  bool timecode = true;
  unsigned timecodeHour = 10;
  bool dropFrame = false;
};

// The bytes of a flat picture in `layout` with luma `luma` and neutral chroma.
std::vector<std::uint8_t> FlatPicture(const Feed& feed, std::uint8_t luma);

// A picture in `layout` of `sample(component, x, y)`: Y, Cb, Cr or R, G, B, A; x and y count the
// component's own samples, codes are the layout's (10 bits for v210).
using SampleOf = std::function<int(int component, int x, int y)>;
std::vector<std::uint8_t> DrawPicture(const Feed& feed, const SampleOf& sample);

// Frame `number`: luma 40 + 5 * (number % 32) unless there is a picture, and the sound of its time
// (a 997 Hz sine, each channel a quarter period further).
host::Ptr<IXvFrame> MakeFrame(const Feed& feed, int number,
                              std::shared_ptr<std::vector<std::uint8_t>> picture = nullptr);

// Pushes frames [first, first + count); gives the first status that is not S_OK, else S_OK.
HRESULT PushFrames(host::Writer& writer, const Feed& feed, int count, int first = 0);

// Starts, pushes, stops: the first failure. The other one makes the writer, and what it noted as
// its last error is in `noted`, if given.
HRESULT Record(host::Writer& writer, const std::string& target, const std::string& attributes,
               const Feed& feed, int count);
HRESULT Record(const std::string& target, const std::string& attributes, const Feed& feed,
               int count, std::string* noted = nullptr);

}  // namespace xv::test
