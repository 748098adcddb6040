#include "captions/caption_pairs.h"

#include <cstdlib>
#include <vector>

// Any bytes as a caption distribution packet: the section lies inside, its parts are read within
// it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // A copy of exactly this size, so that a read behind the end is seen.
  const std::vector<std::uint8_t> packet(data, data + size);
  const std::span<const std::uint8_t> section = xv::detail::CcSection(packet);
  if (!section.empty()) {
    if (section.data() < packet.data() ||
        section.data() + section.size() > packet.data() + packet.size()) {
      std::abort();
    }
    (void)xv::CarriesCaptions(section.subspan(2));
  }
  (void)xv::ExtractPairs(section);
  (void)xv::ExtractPairs(packet);
  (void)xv::CarriesCaptions(packet);
  return 0;
}
