#pragma once

#include <string>

#include "tree/node.h"

// The list of what can be written here, as tables that a person reads and as presets of a session.
// `format` and `codec` are ids or display names of the list, in any case. Without a format the
// entry "Auto Select" stands for it. What the list lacks throws InputError.
namespace xvrecord {

// The list out of its XML; throws InputError when there is none in it.
xv::XMLParse::XMLNodePtr ParseList(const std::string& xml);

// One line a format: id, name, what it is written as.
std::string FormatsTable(const xv::XMLParse::CoXMLNode& list);

// One line a codec: kind, id, name, presets; below it, where codecs are missing on this machine,
// the reasons.
std::string CodecsTable(const xv::XMLParse::CoXMLNode& list, const std::string& format);

// The attributes of a codec, video ahead of audio, or of the format itself when `codec` is empty:
// name, type, default, values, description.
std::string OptionsTable(const xv::XMLParse::CoXMLNode& list, const std::string& format,
                         const std::string& codec);

// The attribute text that selects these entries: the format's id and presets, then each codec's
// under "video::" and "audio::". An empty name selects nothing.
std::string PresetText(const xv::XMLParse::CoXMLNode& list, const std::string& format,
                       const std::string& videoCodec, const std::string& audioCodec);

}  // namespace xvrecord
