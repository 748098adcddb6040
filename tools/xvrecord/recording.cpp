#include "xvrecord/recording.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <thread>

#include "xvrecord/catalogue_view.h"
#include "xvrecord/input.h"
#include "xvrecord/messages.h"
#include "xvrecord/metrics_server.h"
#include "xvrecord/progress.h"
#include "xvrecord/report.h"
#include "xvrecord/targets.h"
#include "xvrecord/trial_targets.h"
#include "xvwriter/captions.hpp"

namespace xvrecord {
namespace {

std::unique_ptr<Input> OpenInput(const Options& options, const std::string& attributes,
                                 const StopSignals& signals) {
  MediaOptions media = options.media;
  media.oneTrack = TakesOneTrack(options.output, attributes);
  constexpr std::string_view kTest = "test:";
  if (options.input.compare(0, kTest.size(), kTest) == 0) {
    if (options.ReadsMedia()) throw UsageError("test: takes -t, but no other option of inputs.");
    return OpenTest(options.input.substr(kTest.size()), media.layout);
  }
  media.stopAsked = [&signals] { return signals.Asked(); };
  return OpenMedia(options.input, media);
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
                  frame.audio.bytes, frame.audio.keep, aud.nTrackMask);
  }
  builder.Time(xv::host::Ticks(frame.time.rtStart), xv::host::Ticks(frame.time.rtStop));
  const xv::XV_TIMECODE& code = frame.time.tcFrame;
  builder.Timecode(code.nHour, code.nMinute, code.nSecond, code.nFrame,
                   (code.eTcFlags & xv::eXvTC_DropFrame) != 0);
  xv::HRESULT built = xv::S_OK;
  const auto made = std::move(builder).Build(&built);
  if (xv::Succeeded(built) && !frame.captions.empty()) {
    built = xv::host::AddCaptions(made, frame.captions, frame.props.vid.dblRate,
                                  static_cast<std::uint16_t>(number));
  }
  if (xv::Succeeded(built) && frame.packet) built = AddPacket(made, frame.packet);
  return xv::Failed(built) ? built : writer.Put(made);
}

void Count(const InputFrame& frame, Totals* totals) {
  ++totals->frames;
  if (frame.video.data != nullptr || frame.packet) ++totals->pictures;
  const auto end = static_cast<double>(frame.time.rtStop) / xv::kTimeUnitsPerSecond;
  totals->mediaSeconds = std::max(totals->mediaSeconds, end);
}

double ExpectedSeconds(const Input& input, const Options& options) {
  const double all = input.Duration();
  if (options.seconds <= 0) return all;
  return all > 0 ? std::min(all, options.seconds) : options.seconds;
}

// Cuts sound without a picture where the recording ends.
void Trim(std::int64_t limit, InputFrame* frame) {
  const std::int64_t all = frame->time.rtStop - frame->time.rtStart;
  const bool picture = frame->video.data != nullptr || frame->packet;
  if (picture || frame->time.rtStop <= limit || all <= 0) return;
  const xv::XV_AUD_PROPS& aud = frame->props.aud;
  const std::int64_t bytes = std::int64_t{aud.nChannels} * std::abs(aud.nBitsPerSample) / 8;
  const std::int64_t samples = (limit - frame->time.rtStart) * aud.nSamplesPerSec;
  frame->audio.bytes = static_cast<std::size_t>(samples / xv::kTimeUnitsPerSecond * bytes);
  frame->time.rtStop = limit;
}

// Frames until the end, a failure or a request to stop.
xv::HRESULT PushAll(Input& input, const StopSignals& signals, xv::host::Writer& writer,
                    const Options& options, Totals& totals) {
  const auto limit = static_cast<std::int64_t>(options.seconds * xv::kTimeUnitsPerSecond);
  Progress progress(ExpectedSeconds(input, options), options.quiet);
  FrameCount count(options.validate ? std::string() : options.progress);
  bool told = true;
  const auto begin = std::chrono::steady_clock::now();
  InputFrame frame;
  while (!signals.Asked() && input.Next(&frame)) {
    if (limit > 0 && frame.time.rtStart >= limit) break;
    if (limit > 0) Trim(limit, &frame);
    if (options.realtime) {
      std::this_thread::sleep_until(begin + std::chrono::nanoseconds(frame.time.rtStart * 100));
    }
    const xv::HRESULT result = Push(writer, frame, totals.frames);
    if (xv::Failed(result)) return result;
    Count(frame, &totals);
    if (told && !count.Tell(totals.frames)) {
      told = false;
      Warn("the progress cannot be written to " + options.progress);
    }
    const std::string drops = writer.Get("quality::drops");
    progress.Show(totals.mediaSeconds, totals.pictures, std::atoll(drops.c_str()));
  }
  return xv::S_OK;
}

bool WriteStats(const std::string& path, const std::string& json) {
  if (path == "-") {
    std::cout << json << std::flush;
    return std::cout.good();
  }
  std::ofstream file(path);
  file << json << std::flush;
  return file.good();
}

// What the user asks for.
std::string AttributesFor(const Options& options, const xv::host::Writer& writer) {
  std::string attributes;
  if (options.TakesPresets()) {
    attributes += PresetText(*ParseList(writer.Get("supported_list")), options.format,
                             options.codec, options.audioCodec);
  }
  for (const std::string& text : options.attributes) attributes += " " + text;
  if (options.media.packets) attributes += " video::codec=packets";
  return attributes;
}

// Captions and tags of the input stay with it unless the user says otherwise. The input waits for
// the encoder, unlike a capture card: a short queue holds less memory.
std::string DefaultsFor(const Options& options, const Input& input, const std::string& attributes) {
  std::string defaults = options.realtime ? "embed_cc=true" : "embed_cc=true video.buffers=1";
  if (options.leaveTags) return defaults;
  defaults += input.Tags();
  if (options.media.packets) return defaults;
  defaults += input.MatrixTag();
  if (TakesYuv(options.output, attributes)) defaults += input.ColourTags();
  return defaults;
}

std::string RefuseTargets(const Options& options, const std::string& attributes) {
  std::vector<std::string> targets = TargetsOf(options.output, attributes);
  const bool keepsStats = !options.stats.empty() && options.stats != "-";
  if (keepsStats) targets.push_back(options.stats);
  if (!options.progress.empty()) targets.push_back(options.progress);
  return RefuseTargets(options.input, targets,
                       options.overwrite      ? Existing::kOverwrite
                       : options.keepExisting ? Existing::kKeep
                                              : Existing::kAsk);
}

// Standard output may be what the recording or the statistics go to, alone.
void PrintClosingLine(const Options& options, const xv::host::Writer& writer,
                      const Totals& totals) {
  const bool taken = options.stats == "-" || IsStandardOutput(options.output);
  std::fprintf(taken ? stderr : stdout, "%s\n",
               ClosingLine(options.output, writer, totals).c_str());
}

void WarnOfOptions(const xv::host::Writer& writer) {
  WarnOfEach("nobody took the option", writer.Get("quality::unused_options"));
  WarnOfEach("not a good value:", writer.Get("quality::bad_values"));
}

void Conclude(const Options& options, const Input& input, const xv::host::Writer& writer,
              const Totals& totals) {
  PrintClosingLine(options, writer, totals);
  if (const std::string noted = writer.LastError(); !noted.empty()) Warn(noted);
  const std::string lost = writer.Get("quality::captions.lost");
  if (lost != "0") Warn("captions lost: " + lost);
  if (!input.Trouble().empty()) Warn(input.Trouble());
}

// Where a second signal has stopped it already, the status of that.
xv::HRESULT StopWriter(xv::host::Writer& writer) {
  const xv::HRESULT stopped = writer.Stop();
  return stopped == xv::S_FALSE ? writer.Stats().lastStatus : stopped;
}

// A second signal closes the recording even where this thread waits for its input, and in time even
// where the encoder has much left to do.
class RescueGuard {
 public:
  RescueGuard(StopSignals& signals, xv::host::Writer& writer) : signals_(signals) {
    signals.OnSecond([&writer] { (void)writer.Stop(); },
                     [&writer] { (void)writer.Set("stop.at_once", "true"); });
  }
  ~RescueGuard() { signals_.OnSecond({}, {}); }
  RescueGuard(const RescueGuard&) = delete;
  RescueGuard& operator=(const RescueGuard&) = delete;

 private:
  StopSignals& signals_;
};

// Null where nobody asks for metrics.
std::unique_ptr<MetricsServer> ServeMetrics(const Options& options,
                                            const xv::host::Writer& writer) {
  if (options.metrics.empty()) return nullptr;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const MetricsSubject subject{options.output, std::chrono::duration<double>(now).count()};
  auto server = std::make_unique<MetricsServer>(
      options.metrics,
      [&writer, subject](MetricsForm form) { return MetricsText(writer.Stats(), subject, form); });
  if (!options.quiet) {
    std::fprintf(stderr, "Metrics at http://%s/metrics\n", server->address().c_str());
  }
  return server;
}

// A moment of the recording, into a folder that goes away.
int Validate(Options options, const std::string& attributes, const StopSignals& signals,
             xv::host::Writer& writer) {
  constexpr double kMoment = 0.2;  // seconds: encoders and headers are open by then
  options.overwrite = true;        // nothing will be: only the input is looked for
  const std::string refused = RefuseTargets(options, attributes);
  if (!refused.empty()) return Fail(refused);
  const TrialTargets trial(options.output, attributes);
  options.seconds = kMoment;
  options.quiet = true;
  const std::unique_ptr<Input> input = OpenInput(options, attributes, signals);
  xv::HRESULT result = writer.Start(trial.Output(), DefaultsFor(options, *input, attributes) + " " +
                                                        attributes + trial.Attributes());
  Totals totals;
  if (xv::Succeeded(result)) result = PushAll(*input, signals, writer, options, totals);
  const xv::HRESULT stopped = writer.Stop();
  WarnOfOptions(writer);
  if (xv::Failed(result) || xv::Failed(stopped)) {
    return FailWith("Not valid", xv::Failed(result) ? result : stopped, writer);
  }
  if (totals.frames == 0) return Fail("The input has no frames.");
  const xv::host::Statistics found = writer.Stats();
  return found.unusedOptions.empty() && found.badValues.empty() ? 0 : kUsage;
}

}  // namespace

int Record(const Options& options, StopSignals& signals, xv::host::Writer& writer) {
  const std::string attributes = AttributesFor(options, writer);
  if (options.validate) return Validate(options, attributes, signals, writer);
  const std::string refused = RefuseTargets(options, attributes);
  if (!refused.empty()) return Fail(refused);
  const std::unique_ptr<MetricsServer> metrics = ServeMetrics(options, writer);
  const std::unique_ptr<Input> input = OpenInput(options, attributes, signals);
  xv::HRESULT result =
      writer.Start(options.output, DefaultsFor(options, *input, attributes) + " " + attributes);
  if (xv::Failed(result)) return FailWith("Cannot start", result, writer);
  const RescueGuard rescue(signals, writer);

  Totals totals;
  const auto begin = std::chrono::steady_clock::now();
  result = PushAll(*input, signals, writer, options, totals);
  const xv::HRESULT stopped = StopWriter(writer);
  const bool late = xv::Succeeded(result) && xv::Failed(stopped);  // LastError tells
  totals.wallSeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  totals.cpuSeconds = CpuSeconds();
  totals.stopped = signals.Asked();
  if (!options.quiet) WarnOfOptions(writer);
  if (!options.stats.empty() && !WriteStats(options.stats, StatsJson(options.output, writer, totals,
                                                                     late ? stopped : result))) {
    return Fail("Cannot write the statistics to " + options.stats + ".");
  }
  if (xv::Failed(result)) return FailWith("Recording failed", result, writer);
  if (totals.frames == 0) return Fail("The input has no frames.");
  if (late) return Fail("The recording is not complete: " + writer.LastError());
  if (!options.quiet) Conclude(options, *input, writer, totals);
  return 0;
}

}  // namespace xvrecord
