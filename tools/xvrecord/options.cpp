#include "xvrecord/options.h"

#include <algorithm>
#include <ctime>

#include "xvrecord/targets.h"

extern "C" {
#include <libavutil/parseutils.h>
}

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
  app.add_option("--progress", options.progress,
                 "Write the number of frames that have been taken to a file, a line each");
  app.add_option(
      "--metrics", options.metrics,
      "Serve OpenMetrics at HOST:PORT while the recording runs; PORT alone is on loopback");
  app.add_flag("--time-in-name", options.timeInName,
               "Fill %Y %m %d %H %M %S in OUTPUT with the time of the start, UTC");
  app.add_flag("--quiet", options.quiet, "Print failures only");
  app.add_flag("--validate", options.validate,
               "Open the input and check every attribute; write nothing");
  app.add_option("--log-level", options.logLevel, "What FFmpeg itself prints")
      ->check(CLI::IsMember({"quiet", "error", "warning", "info", "verbose", "debug"}));
}

void DescribeInput(CLI::App& app, Options& options) {
  MediaOptions& media = options.media;
  app.add_option("-i,--input", options.input, "INPUT, in place of the first word");
  app.add_option("-f,--demuxer", media.demuxer,
                 "FFmpeg's name of the input's format or device: rawvideo, v4l2, lavfi, ...");
  app.add_option("-r,--rate", media.rate, "Pictures a second of the input: 25, 30000/1001, ntsc");
  app.add_option("-s,--size", media.size, "Size of raw pictures or of a device's, as 1280x720");
  app.add_option("--pixel-format", media.pixelFormat, "FFmpeg's name of their pixel format");
  app.add_option("--demuxer-option", media.demuxerOptions, "NAME=VALUE for the demuxer or device")
      ->allow_extra_args(false);
  app.add_option("--ss,--start", options.start,
                 "Leave out so much of the input: seconds or 00:01:02.5; -ss is the same");
  app.add_option("-t,--duration", options.duration, "Record so much and no more");
  app.add_option("--map", media.map,
                 "Streams to record: v, a, a:1, or a stream's number; all sound without it")
      ->allow_extra_args(false);
  app.add_flag("--packets", media.packets,
               "Pass pictures on as they are encoded; sound is decoded and encoded");
  app.add_flag("--no-tags", options.leaveTags,
               "Leave metadata, languages and colour tags of the input behind");
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

double SecondsOf(const std::string& option, const std::string& text) {
  if (text.empty()) return 0;
  std::int64_t microseconds = 0;
  if (av_parse_time(&microseconds, text.c_str(), 1) < 0 || microseconds < 0) {
    throw UsageError(option + " wants seconds or a time such as 00:01:02.5, not " + text + ".");
  }
  return static_cast<double>(microseconds) / 1e6;
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
  DescribeInput(app, options);
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
  const std::size_t wanted = options->input.empty() ? 2 : 1;
  if (options->files.size() == wanted) {
    if (wanted == 2) options->input = options->files[0];
    options->output = options->files.back();
  } else if (!options->files.empty() || !asks) {
    throw UsageError("INPUT and OUTPUT are required; --help tells more.");
  }
  if (options->timeInName) options->output = FillTime(options->output, std::time(nullptr));
  if (options->overwrite && options->keepExisting) {
    throw UsageError("-y and -n exclude one another.");
  }
  options->media.start = SecondsOf("-ss", options->start);
  options->seconds = SecondsOf("-t", options->duration);
  options->media.layout = options->layout.empty() ? 0 : LayoutFromName(options->layout);
  if (options->media.layout == 0 && !options->layout.empty()) {
    throw UsageError("--input-format does not know " + options->layout + ".");
  }
  const bool encodes = !options->codec.empty() || !options->layout.empty();
  if (options->media.packets && encodes) {
    throw UsageError("--packets leaves pictures as they are: no --codec, no --input-format.");
  }
  if (!options->metrics.empty() && (options->validate || options->output.empty())) {
    throw UsageError("--metrics belongs to a recording.");
  }
  CheckStandardOutput(*options);
}

}  // namespace xvrecord
