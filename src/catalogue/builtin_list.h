#pragma once

#include <string_view>

namespace xv {

// The list of formats and codecs that is compiled in, builtin_list.xml as it stands.
std::string_view BuiltinList();

}  // namespace xv
