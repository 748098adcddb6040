#include "matrix/cell_recording.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdio>
#include <future>

#include "support/host_frames.h"
#include "support/loopback.h"
#include "support/media_probe.h"
#include "xvrecord/catalogue_view.h"

namespace xv::test {
namespace {

constexpr int kFrames = 8;
constexpr double kSeconds = kFrames / 25.0;
constexpr int kChannels = 2;
// Encoders round sound up to whole frames of theirs and put a delay in front: of MP3 and AC-3 two
// frames.
constexpr double kSoundBeyond = 0.13;
constexpr char kPushedTimecode[] = "10:00:00:00";

// Its own size where the codec's preset names one, else PAL pictures, the wide ones.
Feed FeedFor(const Cell& cell) {
  Feed feed;
  feed.interlace = eXvI_TopFirst;
  feed.aspectX = 16;
  feed.aspectY = 9;
  feed.channels = kChannels;
  std::string size = cell.video ? cell.video->Text("size") : std::string();
  if (size.empty() && IdOf(cell.video) == "dnxhd") size = "1920x1080T";
  if (std::sscanf(size.c_str(), "%dx%d", &feed.width, &feed.height) == 2 && size.back() == 'P') {
    feed.interlace = eXvI_Progressive;
  }
  return feed;
}

struct Target {
  std::string url;
  std::string readFrom;  // what a reader opens
  std::vector<std::pair<std::string, std::string>> readOptions;
  int port = 0;  // 0: a file
};

// Datagrams have no end that a reader could wait for, so that "udp" goes by "tcp" here.
Target StreamTarget(const std::string& protocol) {
  const int port = FreePort(Transport::kTcp);
  const std::string scheme = protocol == "udp://" ? "tcp://" : protocol;
  const std::string url = fmt::format("{}127.0.0.1:{}/live/a", scheme, port);
  if (scheme == "rtsp://") return {url, url, {{"rtsp_flags", "listen"}}, port};
  return {url, url, {{"listen", "1"}}, port};
}

Target TargetOf(const Cell& cell, const TemporaryFolder& folder) {
  if (const std::string protocol = cell.format->Text("protocol"); !protocol.empty())
    return StreamTarget(protocol);
  const std::string name = FileNameOf(cell.format, cell.video);
  const bool inFolder = IdOf(cell.format) == "image2";
  return {folder / name, folder / (inFolder ? "out/" + name : name), {}, 0};
}

// What went wrong; an option that nobody takes has no business in a preset.
std::string Pushed(const Cell& cell, const Target& target) {
  std::string text = xvrecord::PresetText(ServedList(), cell.format->Text("name"),
                                          NameOf(cell.video), NameOf(cell.audio));
  // At its default bit rate it repeats pictures.
  if (IdOf(cell.video) == "libvpx") text += " video::b=2M";
  host::Writer writer;
  HRESULT result = writer.Start(target.url, text);
  if (result == S_OK) result = PushFrames(writer, FeedFor(cell), kFrames);
  const HRESULT stopped = writer.Stop();
  if (result == S_OK) result = stopped;
  const std::string noted = writer.LastError(), unused = writer.Get("quality::unused_options");
  if (Failed(result) || !noted.empty()) return host::Describe(result) + " " + noted;
  return unused.empty() ? unused : "nobody takes " + unused;
}

// The reader of a stream is at work while it is pushed.
std::string RecordAndRead(const Cell& cell, const Target& target, ProbedFile* file) {
  if (target.port == 0) {
    const std::string trouble = Pushed(cell, target);
    *file = Probe(target.readFrom, target.readOptions);
    return trouble;
  }
  auto reading =
      std::async(std::launch::async, [&] { return Probe(target.readFrom, target.readOptions); });
  std::string trouble = "nobody listens";
  if (WaitUntilBound(Transport::kTcp, target.port, 5)) trouble = Pushed(cell, target);
  *file = reading.get();
  return trouble;
}

// Black lines above the picture, which D-10 codes in fields.
int IntervalLines(const Cell& cell) {
  const bool d10 = cell.format->Text("id") == "mxf_d10" || cell.video->Bool("d10");
  return d10 && Writes(cell.video) ? 32 : 0;
}

std::string VideoTrouble(const ProbedFile& file, const Feed& feed, int black) {
  if (file.Count(AVMEDIA_TYPE_VIDEO) != 1)
    return fmt::format("{} pictures' tracks", file.Count(AVMEDIA_TYPE_VIDEO));
  const ProbedStream& video = file.Pictures();
  if (video.errors > 0) return "the pictures do not decode";
  if (video.frames != kFrames) return fmt::format("{} pictures", video.frames);
  const bool progressive = feed.interlace == eXvI_Progressive;
  if (progressive && video.interlaced && black == 0) return "pictures became fields";
  const int lines = feed.height + black;
  if (video.width != feed.width || video.height != lines)
    return fmt::format("{}x{}", video.width, video.height);
  for (int i = 0; i < kFrames; ++i) {
    const double pushed = 40 + 5 * i;  // what MakeFrame draws
    const double level =
        video.fullRange ? (pushed - 16) * 255 / 219 : (pushed * feed.height + 16 * black) / lines;
    const int found = video.lumaMeans[static_cast<std::size_t>(i)];
    if (std::fabs(found - level) > 3) return fmt::format("picture {} has level {}", i, found);
  }
  return {};
}

// How far from what was pushed the length of the sound may be, in seconds.
struct Slack {
  double below = 0.03;
  double above = kSoundBeyond;
};

Slack SlackOf(const Cell& cell) {
  const std::string format = cell.format->Text("id");
  // GXF holds PCM in blocks of 32768 samples.
  if (format == "gxf") return {0.03, 32768 / 48000.0};
  // A packet of RTP that three frames of MP3 have not filled is never sent.
  if (format == "rtsp" && IdOf(cell.audio) == "libmp3lame") return {0.08, kSoundBeyond};
  return {};
}

std::string SoundTrouble(const Cell& cell, const ProbedFile& file) {
  const int tracks = cell.format->Int("split_channels", 0) == 1 ? kChannels : 1;
  if (file.Count(AVMEDIA_TYPE_AUDIO) != tracks)
    return fmt::format("{} sound tracks", file.Count(AVMEDIA_TYPE_AUDIO));
  for (int track = 0; track < tracks; ++track) {
    const ProbedStream& audio = file.Sound(track);
    if (audio.errors > 0) return "the sound does not decode";
    if (audio.layout != (tracks == 1 ? "stereo" : "mono") &&
        audio.layout != fmt::format("{} channels", kChannels / tracks))
      return "the sound is " + audio.layout;
    const Slack slack = SlackOf(cell);
    if (audio.seconds < kSeconds - slack.below || audio.seconds > kSeconds + slack.above)
      return fmt::format("{:.3f} s of sound", audio.seconds);
  }
  return {};
}

bool HasAspect(const ProbedStream& video, const Feed& feed) {
  const double pushed = 16.0 / 9 * std::abs(feed.height) / feed.width;
  const double pixel = video.sampleAspect.num > 0 ? av_q2d(video.sampleAspect) : 1.0;
  return std::fabs(pixel / pushed - 1) < 0.04;  // DV has its own idea of a pixel
}

unsigned LossesOf(const ProbedFile& file, const ProbedStream* video, const Feed& feed) {
  unsigned lost = kNothing;
  if (file.timecode != kPushedTimecode &&
      (video == nullptr || video->gopTimecode != kPushedTimecode))
    lost |= kTimecode;
  if (video == nullptr) return lost;
  const bool told = video->fieldOrder == AV_FIELD_TT || video->fieldOrder == AV_FIELD_TB;
  const bool found = told || (video->interlaced && video->topFirst);
  if (feed.interlace == eXvI_TopFirst && !found) lost |= kFieldOrder;
  if (!HasAspect(*video, feed)) lost |= kAspect;
  return lost;
}

// Smooth streaming shows sound with a small picture.
bool HasPlaceholder(const Cell& cell) { return cell.format->Text("id") == "ismv"; }

// Program streams have no length; a reader guesses it from the last stamp that it finds.
bool TellsLength(const Cell& cell, const ProbedFile& file) {
  const std::string format = cell.format->Text("id");
  return file.seconds > 0 && format != "mpeg" && format != "vob";
}

std::string TroubleOf(const Cell& cell, const ProbedFile& file) {
  if (!file.opened) return "it does not open";
  std::string trouble;
  if (Writes(cell.video)) {
    trouble = VideoTrouble(file, FeedFor(cell), IntervalLines(cell));
  } else if (!HasPlaceholder(cell) && file.Count(AVMEDIA_TYPE_VIDEO) != 0) {
    trouble = "pictures that nobody wanted";
  }
  if (!trouble.empty()) return trouble;
  if (Writes(cell.audio)) trouble = SoundTrouble(cell, file);
  if (!Writes(cell.audio) && file.Count(AVMEDIA_TYPE_AUDIO) != 0) trouble = "unwanted sound";
  const bool wrong = file.seconds < kSeconds - 0.05 || file.seconds > kSeconds + kSoundBeyond;
  if (trouble.empty() && wrong && TellsLength(cell, file))
    trouble = fmt::format("the container tells {:.3f} s", file.seconds);
  return trouble;
}

}  // namespace

Outcome RecordCell(const Cell& cell) {
  TemporaryFolder folder;
  const Target target = TargetOf(cell, folder);
  ProbedFile file;
  Outcome outcome;
  outcome.trouble = RecordAndRead(cell, target, &file);
  if (outcome.trouble.empty()) outcome.trouble = TroubleOf(cell, file);
  if (outcome.trouble.empty() && IdOf(cell.audio) == "wav_file" &&
      Probe(folder / "out/out.wav").Count(AVMEDIA_TYPE_AUDIO) == 0)
    outcome.trouble = "there is no side file";
  const ProbedStream* video =
      Writes(cell.video) && file.Count(AVMEDIA_TYPE_VIDEO) > 0 ? &file.Pictures() : nullptr;
  if (video != nullptr) outcome.videoCodec = video->codec;
  Feed coded = FeedFor(cell);
  coded.height += IntervalLines(cell);
  outcome.lost = LossesOf(file, video, coded);
  return outcome;
}

std::string LossText(unsigned lost) {
  std::string text;
  for (const auto& [loss, letter] : {std::pair{kTimecode, 't'}, {kFieldOrder, 'f'}, {kAspect, 'a'}})
    if ((lost & loss) != 0) text += letter;
  return text.empty() ? "ok" : text;
}

}  // namespace xv::test
