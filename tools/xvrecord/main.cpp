#include <malloc.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

#include "xvrecord/catalogue_view.h"
#include "xvrecord/completion.h"
#include "xvrecord/host_items.h"
#include "xvrecord/input.h"
#include "xvrecord/progress.h"
#include "xvrecord/report.h"
#include "xvwriter/host.hpp"

extern "C" {
#include <libavutil/log.h>
}

namespace xvrecord {
namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

volatile std::sig_atomic_t stopAsked = 0;

void AskToStop(int) { stopAsked = 1; }

// Packets and pictures are megabytes each, and go and come with every frame: memory that is given
// back to the system each time is faulted in anew page by page.
void KeepFreedMemory() {
  constexpr int kMost = 256 << 20;
  mallopt(M_MMAP_THRESHOLD, kMost);
  mallopt(M_TRIM_THRESHOLD, kMost);
}

struct Options {
  std::string input;
  std::string output;
  std::vector<std::string> attributes;
  std::string layout;
  bool realtime = false;
  bool quiet = false;
  std::string stats;
  std::vector<std::string> get;
  std::vector<std::string> set;
  bool list = false;
  bool formats = false;
  std::string codecsOf;
  std::vector<std::string> optionsOf;  // format, codec
  std::string format;
  std::string codec;
  std::string audioCodec;
};

bool AsksForLists(const Options& options) {
  return options.list || options.formats || !options.codecsOf.empty() || !options.optionsOf.empty();
}

bool TakesPresets(const Options& options) {
  return !options.format.empty() || !options.codec.empty() || !options.audioCodec.empty();
}

int Fail(const std::string& sentence) {
  std::fprintf(stderr, "xvrecord: %s\n", sentence.c_str());
  return kFailed;
}

// The status in words and hex, and what the writer noted about it.
int FailWith(const std::string& what, xv::HRESULT result, const xv::host::Writer& writer) {
  const std::string noted = writer.LastError();
  return Fail(what + ": " + xv::host::Describe(result) + (noted.empty() ? "" : " " + noted));
}

std::unique_ptr<Input> OpenInput(const Options& options) {
  const std::uint32_t layout = options.layout.empty() ? 0 : LayoutFromName(options.layout);
  if (layout == 0 && !options.layout.empty()) {
    throw InputError("--input-format does not know " + options.layout + ".");
  }
  constexpr std::string_view kTest = "test:";
  if (options.input.compare(0, kTest.size(), kTest) == 0) {
    return OpenTest(options.input.substr(kTest.size()), layout);
  }
  return OpenMedia(options.input, layout);
}

// Puts the frame's captions onto it under the keys that the writer looks for.
xv::HRESULT AttachCaptions(const xv::host::Ptr<xv::IXvFrame>& frame, const InputFrame& input,
                           std::int64_t number) {
  if (input.captions.empty()) return xv::S_OK;
  const auto items = std::make_shared<xv::CaptionItems>(xv::MakeCaptionItems(
      input.captions, input.props.vid.dblRate, static_cast<std::uint16_t>(number)));
  const auto add = [&](const char(&key)[5], const void* data, std::size_t bytes) {
    return xv::host::AddExtra(frame, xv::FourCC(key), data, bytes, items);
  };
  xv::HRESULT added = add("GA94", items->ga94.data(), items->ga94.size());
  if (xv::Succeeded(added)) added = add("C708", items->c708.data(), items->c708.size());
  if (xv::Succeeded(added)) added = add("C608", &items->c608, sizeof(items->c608));
  return added;
}

xv::HRESULT Push(xv::host::Writer& writer, const InputFrame& frame, std::int64_t number) {
  xv::host::FrameBuilder builder;
  builder.Props(frame.props);
  if (frame.video.data != nullptr) {
    const xv::XV_VID_PROPS& vid = frame.props.vid;
    builder.Video(vid.fccColor, vid.nWidth, vid.nHeight, vid.dblRate, frame.video.data,
                  frame.video.bytes, frame.video.keep);
  }
  if (frame.audio.data != nullptr) {
    const xv::XV_AUD_PROPS& aud = frame.props.aud;
    builder.Audio(aud.nChannels, aud.nSamplesPerSec, aud.nBitsPerSample, frame.audio.data,
                  frame.audio.bytes, frame.audio.keep);
  }
  builder.Time(xv::host::Ticks(frame.time.rtStart), xv::host::Ticks(frame.time.rtStop));
  const xv::XV_TIMECODE& code = frame.time.tcFrame;
  builder.Timecode(code.nHour, code.nMinute, code.nSecond, code.nFrame,
                   (code.eTcFlags & xv::eXvTC_DropFrame) != 0);
  xv::HRESULT built = xv::S_OK;
  const auto made = std::move(builder).Build(&built);
  if (xv::Succeeded(built)) built = AttachCaptions(made, frame, number);
  return xv::Failed(built) ? built : writer.Put(made);
}

// Frames until the end, a failure or a request to stop.
xv::HRESULT PushAll(Input& input, xv::host::Writer& writer, const Options& options,
                    Totals& totals) {
  Progress progress(input.Duration(), options.quiet);
  const auto begin = std::chrono::steady_clock::now();
  InputFrame frame;
  while (stopAsked == 0 && input.Next(&frame)) {
    if (options.realtime) {
      std::this_thread::sleep_until(begin + std::chrono::nanoseconds(frame.time.rtStart * 100));
    }
    const xv::HRESULT result = Push(writer, frame, totals.frames);
    if (xv::Failed(result)) return result;
    ++totals.frames;
    totals.mediaSeconds = static_cast<double>(frame.time.rtStop) / xv::kTimeUnitsPerSecond;
    const std::string drops = writer.Get("quality::drops");
    progress.Show(totals.mediaSeconds, totals.frames, std::atoll(drops.c_str()));
  }
  return xv::S_OK;
}

bool WriteStats(const std::string& path, const std::string& json) {
  if (path == "-") {
    std::cout << json;
    return std::cout.good();
  }
  std::ofstream file(path);
  file << json;
  return file.good();
}

int PrintLists(const Options& options, const xv::host::Writer& writer) {
  const std::string xml = writer.Get("supported_list");
  if (options.list) std::printf("%s\n", xml.c_str());
  const auto list = ParseList(xml);
  if (options.formats) std::printf("%s", FormatsTable(*list).c_str());
  if (!options.codecsOf.empty()) std::printf("%s", CodecsTable(*list, options.codecsOf).c_str());
  if (!options.optionsOf.empty()) {
    const std::string codec = options.optionsOf.size() > 1 ? options.optionsOf[1] : std::string();
    std::printf("%s", OptionsTable(*list, options.optionsOf[0], codec).c_str());
  }
  return 0;
}

// One warning for each line.
void WarnOfEach(const char* what, const std::string& lines) {
  std::istringstream stream(lines);
  for (std::string line; std::getline(stream, line);) {
    std::fprintf(stderr, "xvrecord: %s %s\n", what, line.c_str());
  }
}

int Record(const Options& options, xv::host::Writer& writer) {
  const std::unique_ptr<Input> input = OpenInput(options);
  // Captions of the input stay with it unless the user says otherwise.
  // The input waits for the encoder, unlike a capture card: a short queue holds less memory.
  std::string attributes = "embed_cc=true video.buffers=8";
  if (TakesPresets(options)) {
    attributes += PresetText(*ParseList(writer.Get("supported_list")), options.format,
                             options.codec, options.audioCodec);
  }
  for (const std::string& text : options.attributes) attributes += " " + text;
  xv::HRESULT result = writer.Start(options.output, attributes);
  if (xv::Failed(result)) return FailWith("Cannot start", result, writer);

  Totals totals;
  const auto begin = std::chrono::steady_clock::now();
  result = PushAll(*input, writer, options, totals);
  const xv::HRESULT stopped = writer.Stop();
  const bool late = xv::Succeeded(result) && xv::Failed(stopped);  // LastError tells
  totals.wallSeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  totals.cpuSeconds = CpuSeconds();
  if (!options.quiet) {
    WarnOfEach("nobody took the option", writer.Get("quality::unused_options"));
    WarnOfEach("not a good value:", writer.Get("quality::bad_values"));
  }
  if (!options.stats.empty() && !WriteStats(options.stats, StatsJson(options.output, writer, totals,
                                                                     late ? stopped : result))) {
    return Fail("Cannot write the statistics to " + options.stats + ".");
  }
  if (xv::Failed(result)) return FailWith("Recording failed", result, writer);
  if (totals.frames == 0) return Fail("The input has no frames.");
  if (xv::Failed(stopped)) return Fail("The recording is not complete: " + writer.LastError());
  if (!options.quiet) {
    std::printf("%s\n", ClosingLine(options.output, writer, totals).c_str());
    if (const std::string noted = writer.LastError(); !noted.empty()) {
      std::fprintf(stderr, "xvrecord: %s\n", noted.c_str());
    }
    const std::string lost = writer.Get("quality::captions.lost");
    if (lost != "0") std::fprintf(stderr, "xvrecord: captions lost: %s\n", lost.c_str());
    if (!input->Trouble().empty()) std::fprintf(stderr, "xvrecord: %s\n", input->Trouble().c_str());
  }
  return 0;
}

int ApplyProperties(const Options& options, xv::host::Writer& writer) {
  for (const std::string& pair : options.set) {
    const std::size_t equals = pair.find('=');
    if (equals == std::string::npos) return Fail("--set wants NAME=VALUE, not " + pair + ".");
    const xv::HRESULT result = writer.Merge(pair.substr(0, equals), pair.substr(equals + 1));
    if (xv::Failed(result)) return FailWith("Cannot set " + pair, result, writer);
  }
  for (const std::string& name : options.get) std::printf("%s\n", writer.Get(name).c_str());
  return 0;
}

int Run(const Options& options) {
  xv::host::Writer writer;
  if (const int failed = ApplyProperties(options, writer); failed != 0) return failed;
  if (AsksForLists(options)) return PrintLists(options, writer);
  if (options.input.empty() && !options.get.empty()) return 0;
  return Record(options, writer);
}

void Describe(CLI::App& app, Options& options) {
  app.set_version_flag("--version", "xvrecord " XV_VERSION);
  app.add_option("INPUT", options.input,
                 "Media file or URL, or test:size=1920x1080,rate=25,format=UYVY,interlace=top,"
                 "channels=2,seconds=10,captions=on");
  app.add_option("OUTPUT", options.output, "File or stream URL");
  app.add_option(
         "-a,--attributes", options.attributes,
         "Attributes of the session, such as \"format=mp4 video::codec=libx264 video::b=5M\"")
      ->allow_extra_args(false);
  app.add_option("--input-format", options.layout,
                 "Layout that frames are pushed in: UYVY, HDYC, "
                 "YUY2, YVYU, NV12, I420, YV12, RGB24, RGB32, ARGB32, v210");
  app.add_flag("--realtime", options.realtime, "Push frames at their own pace");
  app.add_option("--get", options.get, "Print a property")->allow_extra_args(false);
  app.add_option("--set", options.set, "Set a property, NAME=VALUE")->allow_extra_args(false);
  app.add_option("--stats", options.stats, "Write statistics as JSON to a file, or - for output");
  app.add_flag("--list", options.list, "Print the list of formats and codecs as XML");
  app.add_flag("--formats", options.formats, "Print the formats that can be written here");
  app.add_option("--codecs", options.codecsOf, "Print the codecs of a format");
  app.add_option("--options", options.optionsOf, "Print the options of a format, or of its codec")
      ->type_name("FORMAT [CODEC]")
      ->expected(1, 2);
  app.add_option("--format", options.format, "Take a format of the list with its presets");
  app.add_option("--codec", options.codec, "Take a video codec of that format with its presets");
  app.add_option("--audio-codec", options.audioCodec, "The same for the audio codec");
  app.add_flag("--quiet", options.quiet, "Print failures only");
}

// The shell's question: the words behind "--complete" are the command line up to the cursor.
int PrintCandidates(const CLI::App& app, const std::vector<std::string>& words) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  const auto list = ParseList(xv::host::Writer().Get("supported_list"));
  for (const std::string& word : Complete(*list, names, words)) std::printf("%s\n", word.c_str());
  return 0;
}

int Main(int argc, char** argv) {
  Options options;
  CLI::App app{"Records media files, URLs and test pictures through the writer."};
  Describe(app, options);
  av_log_set_level(AV_LOG_PANIC);
  if (argc > 1 && std::string_view(argv[1]) == "--complete") {
    return PrintCandidates(app, {argv + 2, argv + argc});
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const int code = app.exit(error);
    return code == 0 ? 0 : kUsage;
  }
  const bool recording = !options.input.empty() && !options.output.empty();
  if (!recording && !AsksForLists(options) && (options.get.empty() || !options.input.empty())) {
    std::fprintf(stderr, "xvrecord: INPUT and OUTPUT are required; --help tells more.\n");
    return kUsage;
  }
  std::signal(SIGINT, AskToStop);
  std::signal(SIGTERM, AskToStop);
  std::signal(SIGPIPE, SIG_IGN);
  try {
    return Run(options);
  } catch (const std::exception& error) {
    return Fail(error.what());
  }
}

}  // namespace
}  // namespace xvrecord

int main(int argc, char** argv) {
  xvrecord::KeepFreedMemory();
  return xvrecord::Main(argc, argv);
}
