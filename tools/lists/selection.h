#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tree/node.h"

// How a choice of the list is read.
namespace xv {

// One attribute that a choice takes.
struct ListedAttribute {
  std::string name;
  std::string type;
  std::string defaultValue;
  std::string values;  // ", "-separated; those of "select_from" where it says so
  std::string minimum;
  std::string maximum;
  std::string description;
};

// What it may be, for a person: the values, else the bounds; "" for anything.
std::string RangeText(const ListedAttribute& one);

// The format whose id or display name is `text`, in any case; the first of several. Null for none.
XMLParse::XMLNodePtr FindListedFormat(const XMLParse::CoXMLNode& list, std::string_view text);

// The codec of `kind` ("video" or "audio") in a format, by id or display name. Null for none.
XMLParse::XMLNodePtr FindListedCodec(const XMLParse::CoXMLNode& format, std::string_view kind,
                                     std::string_view text);

// The attributes of a format itself.
std::vector<ListedAttribute> AttributesOfFormat(const XMLParse::CoXMLNode& format);

// The attributes of a codec: its own, those of the entry of its id (or of the id that its "inherit"
// names) in "video_codecs" or "audio_codecs", and those that all codecs there have, until one of
// them sets "inherit" to false. The first declaration of a name counts.
std::vector<ListedAttribute> AttributesOfCodec(const XMLParse::CoXMLNode& list,
                                               const XMLParse::CoXMLNode& codec,
                                               std::string_view kind);

// What an entry presets: its attributes but those that describe the entry itself.
std::vector<std::pair<std::string, std::string>> PresetsOf(const XMLParse::CoXMLNode& entry);

}  // namespace xv
