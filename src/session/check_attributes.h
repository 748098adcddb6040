#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "contracts/av_handles.h"
#include "session/session_stats.h"
#include "tree/node.h"

namespace xv {

using NameSet = std::set<std::string, std::less<>>;

// Which of FFmpeg's muxers and encoders a session has opened, and which attributes each of them
// left. `left` is nothing where it never came to that.
struct AttributeUse {
  struct Muxer {
    const AVOutputFormat* format = nullptr;
    std::optional<NameSet> left;
    std::map<std::string, std::string> refusals{};  // why, of some of them
  };
  struct Track {
    AVMediaType type = AVMEDIA_TYPE_UNKNOWN;
    int number = 0;
    const AVCodec* codec = nullptr;  // null: none could be opened
    NameSet left;
    std::map<std::string, std::string> refusals{};  // why, of some of them
    std::span<const AttributeRow> vendorRows{};     // of a vendor's encoder, ahead of the track's
  };
  Muxer main;
  Muxer second;
  bool secondFollows = false;  // it is checked by itself, when it is open
  std::vector<Track> tracks;
  // What a multiplexer component reads beside the session's own attributes.
  std::span<const AttributeRow> componentRows{};
};

// One walk over the attributes of a session: names that nobody knows or took, of attributes and
// nodes, go to the counters' unused options, each with the nearest known name; values that were not
// meant for their reader, or that FFmpeg refuses, to the bad values.
void CheckAttributes(const XMLParse::CoXMLNode& attributes, const AttributeUse& use,
                     SessionStats& stats);

// The same walk over the second output's node alone.
void CheckSecondOutput(const XMLParse::CoXMLNode& attributes, const AttributeUse& use,
                       SessionStats& stats);

// What is wrong with the text that `attributes` were read from.
void ReportFaults(const XMLParse::TextFaults& faults, const XMLParse::CoXMLNode& attributes,
                  SessionStats& stats);

}  // namespace xv
