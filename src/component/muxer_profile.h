#pragma once

#include <optional>
#include <span>
#include <string>

#include "tree/node.h"

namespace xv {

inline constexpr const char* kMuxerProfiles[] = {
    "TS",     "DVB",       "ATSC",          "ATSC_C",        "ATSCHI", "1SEG",
    "ATT",    "CABLELABS", "CABLELABS_HD1", "CABLELABS_HD2", "PS",     "DVD",
    "HD_DVD", "BD",        "BD_HDMV"};

inline constexpr Attribute<std::string> kMuxerProfile{
    "muxer_profile", kSessionNode, std::string_view("TS"), OneOf(kMuxerProfiles),
    "Kind of program or transport stream that the formats mpeg_nablet and mpeg_nablet_udp write."};
inline constexpr Attribute<bool> kVbrMultiplex{
    "vbr_multiplex", kSessionNode, false, {}, "With those formats: no padding up to muxrate."};
inline constexpr Attribute<bool> kLowDelay{
    "low_delay", kSessionNode, false, {}, "With those formats: each picture has its own packets."};
inline constexpr Attribute<std::int32_t> kInitialDelay{
    "initial_delay_msec", kSessionNode, 0, AtLeast(0),
    "With those formats: delay of the first picture behind the first clock, in milliseconds."};

// What the muxer component reads itself.
std::span<const AttributeRow> MuxerAttributes();

// The format is "mpeg_nablet" or "mpeg_nablet_udp".
bool IsProfiledFormat(const std::string& format);

// FFmpeg's muxer for the profile of such a format; its options go into `options`. Nothing for a
// profile that is unknown.
std::optional<std::string> ProfiledMuxer(XMLParse::CoXMLNode& options);

}  // namespace xv
