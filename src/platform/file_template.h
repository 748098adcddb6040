#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace xv {

// File name templates of a user. "%d" and "%0Nd" (N from 1 to 64) become the number, "%%" a percent
// sign; everything else, a lone "%" included, stays as it is. User text is never a format string.
std::string ExpandFileTemplate(std::string_view text, std::int64_t number);

}  // namespace xv
