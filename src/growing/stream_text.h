#pragma once

#include <string>
#include <string_view>

#include "contracts/av_handles.h"

// What a muxer or a decoder needs of a stream, as lines of a name and a value: codecs, formats and
// layouts by FFmpeg's names, numbers in decimal, bytes and tags in hexadecimal.
namespace xv {

std::string StreamText(const AVStream& stream);
// Puts one line into the stream. False for a name or a value that it does not know.
bool TakeStreamLine(AVStream& stream, std::string_view name, std::string_view value);

// Metadata as one value.
std::string MetadataText(const AVDictionary* metadata);
bool TakeMetadata(AVDictionary** metadata, std::string_view value);

std::string HexText(std::string_view bytes);
// False for what is not written in pairs of hexadecimal digits.
bool TakeHex(std::string_view text, std::string* bytes);

}  // namespace xv
