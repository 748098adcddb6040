#pragma once

#include <string>
#include <string_view>

namespace xv {

// Some ids of the list are written by a component of another module: the formats "mpeg_nablet" and
// "mpeg_nablet_udp", and the codec "packets" of every format. Why such an id cannot be written here
// (its class is not registered); empty for one that can, and for every other id.
std::string MissingComponent(std::string_view id);

}  // namespace xv
