#include "xvrecord/options.h"

#include <algorithm>

#include "xvrecord/targets.h"

namespace xvrecord {
namespace {

void DescribeRecording(CLI::App& app, Options& options) {
  app.add_option("INPUT OUTPUT", options.files,
                 "INPUT: media file or URL, - for standard input, or test:size=1920x1080,rate=25,"
                 "format=UYVY,interlace=top,channels=2,seconds=10,captions=on. OUTPUT: file or "
                 "stream URL, - for standard output");
  app.add_flag("-y,--overwrite", options.overwrite, "Write over files that exist");
  app.add_flag("-n,--no-overwrite", options.keepExisting, "Never write over a file");
  app.add_option(
         "-a,--attributes", options.attributes,
         "Attributes of the session, such as \"format=mp4 video::codec=libx264 video::b=5M\"")
      ->allow_extra_args(false);
  app.add_option("--format", options.format, "Take a format of the list with its presets");
  app.add_option("--codec", options.codec, "Take a video codec of that format with its presets");
  app.add_option("--audio-codec", options.audioCodec, "The same for the audio codec");
  app.add_option("--input-format", options.layout,
                 "Layout that frames are pushed in: UYVY, HDYC, "
                 "YUY2, YVYU, NV12, I420, YV12, RGB24, RGB32, ARGB32, v210");
  app.add_flag("--realtime", options.realtime, "Push frames at their own pace");
  app.add_option("--stats", options.stats, "Write statistics as JSON to a file, or - for output");
  app.add_flag("--quiet", options.quiet, "Print failures only");
}

void DescribeQuestions(CLI::App& app, Options& options) {
  app.add_option("--get", options.get, "Print a property")->allow_extra_args(false);
  app.add_option("--set", options.set, "Set a property, NAME=VALUE")->allow_extra_args(false);
  app.add_flag("--list", options.list, "Print the list of formats and codecs as XML");
  app.add_flag("--formats", options.formats, "Print the formats that can be written here");
  app.add_option("--codecs", options.codecsOf, "Print the codecs of a format");
  app.add_option("--options", options.optionsOf, "Print the options of a format, or of its codec")
      ->type_name("FORMAT [CODEC]")
      ->expected(1, 2);
}

void CheckStandardOutput(const Options& options) {
  if (!IsStandardOutput(options.output)) return;
  if (options.stats == "-") {
    throw UsageError("Recording and statistics cannot both go to standard output.");
  }
  if (IsTerminal(options.output)) throw UsageError("Standard output is a terminal.");
}

}  // namespace

void DescribeOptions(CLI::App& app, Options& options) {
  app.set_version_flag("--version", "xvrecord " XV_VERSION);
  DescribeRecording(app, options);
  DescribeQuestions(app, options);
}

std::vector<std::string> WordsToParse(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  for (std::string& word : words) {
    if (word == "--") break;
    if (word == "-ss") word = "--ss";
  }
  std::reverse(words.begin(), words.end());
  return words;
}

void CheckOptions(Options* options) {
  const bool asks = options->AsksForLists() || !options->get.empty();
  if (options->files.size() == 2) {
    options->input = options->files[0];
    options->output = options->files[1];
  } else if (!options->files.empty() || !asks) {
    throw UsageError("INPUT and OUTPUT are required; --help tells more.");
  }
  if (options->overwrite && options->keepExisting) {
    throw UsageError("-y and -n exclude one another.");
  }
  CheckStandardOutput(*options);
}

}  // namespace xvrecord
