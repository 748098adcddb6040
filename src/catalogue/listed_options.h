#pragma once

#include <set>
#include <string>
#include <string_view>

namespace xv {

// The names of all attributes that the built-in list declares for codecs of `kind`, "video" or
// "audio". Reads the list anew: some milliseconds.
std::set<std::string, std::less<>> ListedCodecOptions(std::string_view kind);

// The muxer that the built-in list has for the scheme of `url`, else FFmpeg's of the scheme's name;
// "mpegts" where neither has one and FFmpeg can send there. "" for what is no URL.
std::string FormatOfScheme(const std::string& url);

}  // namespace xv
