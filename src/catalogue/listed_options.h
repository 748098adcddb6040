#pragma once

#include <set>
#include <string>
#include <string_view>

namespace xv {

// The names of all attributes that the built-in list declares for codecs of `kind`, "video" or
// "audio". Reads the list anew: some milliseconds.
std::set<std::string, std::less<>> ListedCodecOptions(std::string_view kind);

}  // namespace xv
