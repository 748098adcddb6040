#include "captions/user_data.h"

namespace xv {
namespace {

// From `from` on: behind two zeros a byte below 4 gets a 3 in front of it. The block must not end
// with a zero.
void PreventEmulation(CaptionBlock* block, std::size_t from) {
  CaptionBlock out(block->begin(), block->begin() + static_cast<std::ptrdiff_t>(from));
  out.reserve(block->size() + block->size() / 2);
  int zeros = 0;
  for (std::size_t i = from; i < block->size(); ++i) {
    const std::uint8_t byte = (*block)[i];
    if (zeros == 2) {
      if (byte < 4) out.push_back(3);
      zeros = byte < 4 ? 0 : zeros;
    }
    out.push_back(byte);
    zeros = byte == 0 ? zeros + 1 : 0;
  }
  *block = std::move(out);
}

}  // namespace

void PrepareMpegUserData(CaptionBlock* block) {
  constexpr std::uint8_t kStart[] = {0, 0, 1, 0xB2};
  block->insert(block->begin(), std::begin(kStart), std::end(kStart));
}

void PrepareH264Sei(CaptionBlock* block) {
  constexpr std::size_t kCodes = 3;  // country and provider codes, counted with the payload
  constexpr std::size_t kStartCode = 3;
  constexpr std::uint8_t kTrailingBits = 0x80;
  const auto payload = static_cast<std::uint8_t>(block->size() + kCodes);
  const std::uint8_t head[] = {0, 0, 0, 1, 0x06, 0x04, payload, 0xB5, 0x00, 0x31};
  block->insert(block->begin(), std::begin(head), std::end(head));
  block->push_back(kTrailingBits);
  PreventEmulation(block, kStartCode);
}

}  // namespace xv
