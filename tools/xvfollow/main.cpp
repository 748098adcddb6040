#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "ffm/growing_index.h"
#include "xvfollow/recording.h"

extern "C" {
#include <libavutil/log.h>
}

namespace xvfollow {
namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;
constexpr auto kPoll = std::chrono::milliseconds(200);
constexpr auto kPatience = std::chrono::seconds(10);

struct Options {
  std::string recording;
  std::string copy;
  bool follow = false;
};

// What has been seen of one stream.
struct StreamTotals {
  std::int64_t packets = 0;
  std::int64_t bytes = 0;
  std::int64_t keys = 0;
  double end = 0;  // seconds
};

class Totals {
 public:
  explicit Totals(const AVFormatContext& streams) : streams_(streams) {}

  void Add(std::size_t stream, std::uint32_t size, bool key, std::int64_t pts,
           std::int64_t duration) {
    if (stream >= streams_.nb_streams) return;
    if (stream >= totals_.size()) totals_.resize(stream + 1);
    StreamTotals& one = totals_[stream];
    ++one.packets;
    one.bytes += size;
    if (key) ++one.keys;
    if (pts == AV_NOPTS_VALUE) return;
    const double unit = av_q2d(streams_.streams[stream]->time_base);
    one.end = std::max(one.end, static_cast<double>(pts + duration) * unit);
  }

  void Print() const {
    for (std::size_t i = 0; i < totals_.size(); ++i) {
      const StreamTotals& one = totals_[i];
      const AVCodecParameters& codec = *streams_.streams[i]->codecpar;
      fmt::print("stream {}: {} {}, {} packets, {} key, {} bytes, {:.2f} s\n", i,
                 codec.codec_type == AVMEDIA_TYPE_VIDEO   ? "video"
                 : codec.codec_type == AVMEDIA_TYPE_AUDIO ? "audio"
                                                          : "data",
                 avcodec_get_name(codec.codec_id), one.packets, one.keys, one.bytes, one.end);
    }
    std::fflush(stdout);
  }

 private:
  const AVFormatContext& streams_;
  std::vector<StreamTotals> totals_;
};

// The records of an index that have come since the last call; true when there were some.
bool TakeRecords(xv::IndexReader& index, Totals& totals) {
  bool any = false;
  xv::IndexRecord record;
  while (index.Next(&record) == xv::Status(xv::S_OK)) {
    any = true;
    totals.Add(record.stream, record.size, record.key, record.pts, record.duration);
  }
  return any;
}

int ShowClosed(const Options& options) {
  const auto source = OpenRecording(options.recording);
  const xv::AvPtr<AVPacket> packet(av_packet_alloc());
  if (!packet) throw std::bad_alloc();
  Totals totals(source->Streams());
  while (source->Next(*packet)) {
    totals.Add(static_cast<std::size_t>(packet->stream_index),
               static_cast<std::uint32_t>(packet->size), (packet->flags & AV_PKT_FLAG_KEY) != 0,
               packet->pts, packet->duration);
  }
  totals.Print();
  fmt::print("The recording is closed.\n");
  return 0;
}

int ShowGrowing(const Options& options) {
  const auto source = OpenRecording(options.recording);
  xv::IndexReader index;
  if (index.Open(xv::IndexPath(options.recording)).Failed()) {
    throw FollowError("The index of " + options.recording + " cannot be read.");
  }
  Totals totals(source->Streams());
  TakeRecords(index, totals);
  totals.Print();
  auto last = std::chrono::steady_clock::now();
  while (options.follow && IsGrowing(options.recording)) {
    std::this_thread::sleep_for(kPoll);
    const auto now = std::chrono::steady_clock::now();
    if (TakeRecords(index, totals)) {
      last = now;
      totals.Print();
    } else if (now - last > kPatience) {
      fmt::print("Nothing new came for {} seconds.\n", kPatience.count());
      return 0;
    }
  }
  fmt::print("{}\n", IsGrowing(options.recording) ? "The recording has no proper end yet."
                                                  : "The recording is closed.");
  return 0;
}

int Show(const Options& options) {
  return IsGrowing(options.recording) ? ShowGrowing(options) : ShowClosed(options);
}

int Copy(const Options& options) {
  std::error_code ignored;
  if (std::filesystem::equivalent(options.recording, options.copy, ignored)) {
    throw FollowError("The copy would replace the recording itself.");
  }
  const auto source = OpenRecording(options.recording);
  const CopyTotals totals = CopyPackets(*source, options.copy);
  fmt::print("{}: {} packets, {} bytes\n", options.copy, totals.packets, totals.bytes);
  return 0;
}

int Main(int argc, char** argv) {
  Options options;
  CLI::App app{"Reads a recording that grows, or whose writer died."};
  app.set_version_flag("--version", "xvfollow " XV_VERSION);
  app.add_option("RECORDING", options.recording, "The file that is being recorded")->required();
  auto* follow = app.add_flag("--follow", options.follow,
                              "Go on until the recording is closed or nothing new comes");
  app.add_option("--copy", options.copy, "Write all complete packets into this playable file")
      ->excludes(follow);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kUsage;
  }
  av_log_set_level(AV_LOG_PANIC);
  try {
    return options.copy.empty() ? Show(options) : Copy(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "xvfollow: %s\n", error.what());
    return kFailed;
  }
}

}  // namespace
}  // namespace xvfollow

int main(int argc, char** argv) { return xvfollow::Main(argc, argv); }
