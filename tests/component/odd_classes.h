#pragma once

#include "xvwriter/object.h"

namespace xv::test {

// Encoders of the odd module: what each does wrong is its class's last byte.
enum class Odd : std::uint8_t {
  kNoObject = 1,  // the factory gives success and no object
  kInitFails,
  kInitThrows,
  kInitBlocks,  // for three seconds
  kConfigureThrows,
  kNoBytes,        // packets say that they have some
  kNoCodec,        // packets name a codec that nobody knows
  kEndless,        // never stops giving packets
  kStandsStill,    // all packets have one stamp
  kProcessBlocks,  // for eight seconds
  kNeverReady,     // says at the end that more will come
};

constexpr Guid OddClass(Odd odd) {
  Guid id{0xf36f1d52, 0x88c0, 0x47d1, {0xa9, 0x3b, 0x50, 0xe7, 0x1c, 0x64, 0x90, 0}};
  id.data4[7] = static_cast<std::uint8_t>(odd);
  return id;
}

}  // namespace xv::test
