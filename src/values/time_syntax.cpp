#include "values/time_syntax.h"

#include <algorithm>

namespace xv {

bool IsTimeCode(std::string_view text) {
  constexpr int kMost[] = {23, 59, 59, 59};
  for (int i = 0; i < 4; ++i) {
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    if (digits < 1 || digits > 2) return false;
    int number = 0;
    for (std::size_t at = 0; at < digits; ++at) number = number * 10 + (text[at] - '0');
    if (number > kMost[i]) return false;
    text.remove_prefix(digits);
    if (i == 3) return text.empty();
    if (text.empty() || (text[0] != ':' && (i < 2 || (text[0] != ';' && text[0] != '.')))) break;
    text.remove_prefix(1);
  }
  return false;
}

}  // namespace xv
