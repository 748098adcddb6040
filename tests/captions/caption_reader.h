#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// What FFmpeg's decoders find of captions in a recording.
namespace xv::test {

struct ShownCaption {
  double start = 0;  // seconds behind the first picture
  std::string text;  // rows joined by "\n"
};

struct ReadCaptions {
  std::vector<ShownCaption> shown;  // in order of display
  int pictures = 0;
  int bPictures = 0;
  int errors = 0;  // of the video decoder
};

// Decodes the pictures and gives their captions to FFmpeg's CEA-608 decoder.
ReadCaptions ReadCaptionsOf(const std::string& path);

// The A/53 blocks of user data in the packets, for codecs whose decoder does not give them out: the
// first pair of each (first byte in the low one) by the number of its picture in display order.
std::map<int, std::uint16_t> UserDataPairsOf(const std::string& path);

}  // namespace xv::test
