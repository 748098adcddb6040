#pragma once

#include <string_view>

#include "tree/node.h"

namespace xv {

// The schema entry of an attribute of a codec as an entry of a format has it: `path` is behind
// "supported_list", "formats::format[3]::video::codec[2]::preset". What the entry declares itself
// comes first, then what the codec of its `inherit` or `id` does in `video_codecs` or
// `audio_codecs`, then what stands there for all codecs, until one of them says inherit="false".
// Null where none has it, and for any other path.
XMLParse::XMLNodePtr FindCodecInfo(const XMLParse::CoXMLNode& list, std::string_view path);

}  // namespace xv
