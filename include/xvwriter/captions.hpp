#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "xvwriter/host.hpp"

// Captions for hosts: cc data, as decoders and capture cards give it, in the forms that the writer
// looks for on a frame (docs/captions.md). cc data is a row of constructs of three bytes each
// (CEA-708-E, 4.4): a marker with valid bit and type, then a pair of CEA-608 or of CEA-708.
namespace xv::host {

// The attachments of one frame.
struct CaptionItems {
  std::vector<std::uint8_t> ga94;  // ATSC A/53 user data, from the letters on
  std::vector<std::uint8_t> c708;  // 61 01 <size> 00, then a distribution packet of that size
  std::uint32_t c608 = 0;          // the field 1 pair, or 0x8080: what makes the writer look
};

// The items of one frame. `given` is cc data; of more than 31 constructs those that are not valid
// go first, then the last ones. `rate` in frames a second, told in the packet as the nearest
// standard one; `sequence` counts the frames of the stream.
[[nodiscard]] CaptionItems MakeCaptionItems(std::span<const std::uint8_t> given, double rate,
                                            std::uint16_t sequence);

// The cc data of a caption distribution packet (SMPTE ST 334-2), inside it. Empty where the packet
// has none or is cut.
[[nodiscard]] std::span<const std::uint8_t> CcDataOf(std::span<const std::uint8_t> packet);

// Puts the items of MakeCaptionItems onto a built frame, before it is put; the frame holds them.
// With "embed_cc=true" every frame of such a recording wants them, those without captions too: an
// empty `constructs` says so. Results as AddExtra's.
[[nodiscard]] HRESULT AddCaptions(const Ptr<IXvFrame>& frame,
                                  std::span<const std::uint8_t> constructs, double rate,
                                  std::uint16_t sequence);

}  // namespace xv::host

#include "xvwriter/detail/captions_impl.hpp"
