#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "xvwriter/frames.h"

// What a host has attached to a frame.
namespace xv {

inline constexpr std::string_view kItemC608 = "C608";  // a 32-bit word: a CEA-608 pair of field 1
inline constexpr std::string_view kItemC708 = "C708";  // 4 bytes, then a distribution packet
inline constexpr std::string_view kItemGA94 = "GA94";  // ATSC A/53 user data
inline constexpr std::string_view kItemATSC = "ATSC";  // the same under its older name

// The bytes of an attachment, borrowed from the frame. Empty when absent.
std::span<const std::uint8_t> FrameItem(IXvFrame& frame, std::string_view name);

// An attachment of any kind: nothing, bytes (borrowed), a number or a text in UTF-8.
using FrameValue =
    std::variant<std::monostate, std::span<const std::uint8_t>, std::int64_t, std::string>;
FrameValue FrameValueOf(IXvFrame& frame, std::string_view name);

// The CEA-608 pairs of field 1 that the frame brings, from "C708" or else the one of "C608"; null
// pairs are left out.
std::vector<std::uint16_t> FramePairs(IXvFrame& frame);

// Whether any caption attachment of the frame holds something for a viewer.
bool FrameCarriesCaptions(IXvFrame& frame);

// The cc data constructs of an A/53 user data block ("GA94", type 3); empty when it is not one.
std::span<const std::uint8_t> ConstructsOfA53(std::span<const std::uint8_t> block);

}  // namespace xv
