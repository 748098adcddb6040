#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "xvrecord/input.h"

namespace xvrecord {

// The command line.
struct Options {
  std::vector<std::string> files;  // as they stand: INPUT and OUTPUT, OUTPUT alone behind -i
  std::string input;
  std::string output;
  bool overwrite = false;
  bool keepExisting = false;
  std::vector<std::string> attributes;
  std::string layout;
  MediaOptions media;
  std::string start;     // -ss, as it stands
  std::string duration;  // -t
  double seconds = 0;    // of the recording at most; 0: all
  bool leaveTags = false;
  bool validate = false;
  std::string logLevel = "quiet";
  bool realtime = false;
  bool quiet = false;
  bool timeInName = false;
  std::string metrics;  // HOST:PORT
  std::string stats;
  std::string progress;  // file
  std::vector<std::string> get;
  std::vector<std::string> set;
  bool list = false;
  bool formats = false;
  std::string codecsOf;
  std::vector<std::string> optionsOf;  // format, codec
  std::string format;
  std::string codec;
  std::string audioCodec;

  bool AsksForLists() const { return list || formats || !codecsOf.empty() || !optionsOf.empty(); }
  // One of the options that only media inputs know was given.
  bool ReadsMedia() const {
    const MediaOptions& m = media;
    return !m.demuxer.empty() || !m.rate.empty() || !m.size.empty() || !m.pixelFormat.empty() ||
           !m.demuxerOptions.empty() || !m.map.empty() || m.start > 0 || m.packets;
  }
  bool TakesPresets() const { return !format.empty() || !codec.empty() || !audioCodec.empty(); }
};

// Declares the options to `app`, which fills `options` when it parses.
void DescribeOptions(CLI::App& app, Options& options);

// The words behind the program's name, last one first as CLI::App::parse wants them: options of
// several letters behind one "-" (-ss) get their second one.
std::vector<std::string> WordsToParse(int argc, char** argv);

// Settles INPUT and OUTPUT and looks for options that exclude one another. Throws UsageError.
void CheckOptions(Options* options);

}  // namespace xvrecord
