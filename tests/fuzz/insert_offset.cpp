#include "captions/insert_offset.h"

#include <cstdlib>
#include <vector>

#include "captions/user_data.h"

// Any bytes as a packet and as a block.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::uint8_t> packet(data, data + size);
  for (const bool flag : {false, true}) {
    if (xv::FindInsertOffset(packet, flag) > size) std::abort();
    if (xv::FindPictureOffset(packet, flag) > size) std::abort();
  }
  xv::CaptionBlock block = packet;
  xv::PrepareH264Sei(&block);
  // Behind its own start code the unit shows no other one.
  for (std::size_t i = 4; i + 2 < block.size(); ++i) {
    if (block[i] == 0 && block[i + 1] == 0 && block[i + 2] < 3) std::abort();
  }
  return 0;
}
