#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The coded pictures of a recording, and the first one decoded.
namespace xv::test {

struct VideoPackets {
  std::vector<std::string> packets;  // the bytes of each
  std::string keys;                  // a "K" or a "-" for each
  int profile = 0;
  std::string pixelFormat;
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> luma;  // of the first picture, 8 bits, rows without padding

  std::vector<std::size_t> Sizes() const;
  // The bytes behind the first start code of that kind in the first packet; "" without one.
  std::string BehindStartCode(char code) const;
};

VideoPackets ReadVideoPackets(const std::string& path);

}  // namespace xv::test
