#pragma once

#include <string>

namespace xv {

// The muxer of an id of the list, as "format" has it; "null" names none, as an empty id does.
std::string MuxerName(const std::string& id);
// The same for a target: without an id, that of the URL's scheme where the name tells no format.
// "" leaves the choice to the name.
std::string MuxerNameFor(const std::string& target, const std::string& id);

}  // namespace xv
