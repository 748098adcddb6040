#pragma once

#include <cstdint>
#include <span>
#include <vector>

// Builds the caption attachments that a host puts on a frame.
namespace xv {

struct CaptionItems {
  std::vector<std::uint8_t> ga94;  // ATSC A/53 user data, from the letters on
  std::vector<std::uint8_t> c708;  // 61 01 <size> 00, then a distribution packet of that size
  std::uint32_t c608 = 0;          // the field 1 pair, or 0x8080: what makes the writer look
};

// The items of one frame. `given` are cc data, three bytes each (as FFmpeg's A53 side data); of
// more than 31 padding goes first. `rate` in frames a second; `sequence` counts the frames of the
// stream.
CaptionItems MakeCaptionItems(std::span<const std::uint8_t> given, double rate,
                              std::uint16_t sequence);

// cc data with this pair in field 1, filled up to the count of constructs that the rate asks for
// (CEA-708-E, 4.3.6: 9600 bits a second).
std::vector<std::uint8_t> ConstructsForPair(std::uint16_t pair, double rate);

}  // namespace xv
