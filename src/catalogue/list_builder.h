#pragma once

#include <span>
#include <string>
#include <vector>

#include "tree/node.h"

// Builds a list of formats and codecs from what FFmpeg itself reports.
namespace xv {

using NameList = std::span<const char* const>;

// Which options are described: those that `names` leaves out are skipped, or those that it lacks.
// An empty list describes all.
struct OptionFilter {
  NameList names;
  bool namesAreKept = false;  // else they are left out
};

enum class CodecKind { kVideo = 0, kAudio = 1, kSubtitle = 3 };

// Describes the options of `object` (it begins with an AVClass) that have all of `flags` in the
// schema child of `target`, one entry each: type, default, bounds, and the words of its unit in a
// child named after the unit.
void BuildOptions(void* object, XMLParse::CoXMLNode& target, int flags, const OptionFilter& filter);

// Adds "Default format codec" and one codec for each of FFmpeg's encoders of that kind that
// `names` has; null means all. The options that all share go into the schema of `node`.
void BuildCodecs(XMLParse::CoXMLNode& node, CodecKind kind, const NameList* names,
                 const OptionFilter& filter);

struct FormatBuild {
  const NameList* names = nullptr;        // in this order; null: all of FFmpeg's muxers
  const NameList* videoCodecs = nullptr;  // null: all encoders
  const NameList* audioCodecs = nullptr;
  OptionFilter formatOptions;
  OptionFilter videoOptions;
  OptionFilter audioOptions;
};

// Adds "Auto Select" and one format for each muxer. A format without a usable video codec is left
// out.
void BuildFormats(XMLParse::CoXMLNode& node, const FormatBuild& build);

}  // namespace xv
