#pragma once

// One attribute that a room reads. Each room keeps its rows in one constexpr table beside the
// reader and takes its defaults from there; docs/attributes.md, shell completion, the list of what
// a muxer is not given and the detection of unused options come from the same rows.
namespace xv {

struct AttributeSpec {
  const char* key;           // the attribute's name; "*.N" at the end stands for a track number
  const char* node;          // the node that holds it: "" is the session node, else a path
  const char* type;          // bool, int, int64, double, rate, string, list, path, node
  const char* defaultValue;  // as text; "" for none
  const char* range;         // bounds or words, "" for any
  const char* help;          // one sentence for a person
  bool toFFmpeg = false;     // also handed on to FFmpeg's option dictionary
};

}  // namespace xv
