#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>

#include "growing/index.h"
#include "xvfollow/recording.h"

extern "C" {
#include <libavutil/common.h>
#include <libavutil/log.h>
}

namespace xvfollow {
namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

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
    one.end = std::max(one.end, static_cast<double>(av_sat_add64(pts, duration)) * unit);
  }

  void Print() const {
    for (std::size_t i = 0; i < streams_.nb_streams; ++i) {
      if (i >= totals_.size() || totals_[i].packets == 0) {
        if (IsMedia(*streams_.streams[i]))
          fmt::print("{}, no packets yet\n", StreamName(streams_, i));
        continue;
      }
      const StreamTotals& one = totals_[i];
      fmt::print("{}, {} packets, {} key, {} bytes, {:.2f} s\n", StreamName(streams_, i),
                 one.packets, one.keys, one.bytes, one.end);
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

void ShowPackets(PacketSource& source) {
  const xv::AvPtr<AVPacket> packet(av_packet_alloc());
  if (!packet) throw std::bad_alloc();
  Totals totals(source.Streams());
  while (source.Next(*packet)) {
    totals.Add(static_cast<std::size_t>(packet->stream_index),
               static_cast<std::uint32_t>(packet->size), (packet->flags & AV_PKT_FLAG_KEY) != 0,
               packet->pts, packet->duration);
  }
  totals.Print();
}

void ShowRecords(xv::IndexReader& index, const PacketSource& source, Growth& growth) {
  Totals totals(source.Streams());
  bool printed = false;
  do {
    const bool any = TakeRecords(index, totals);
    if (any) growth.Progress();
    if (any || !printed) totals.Print();
    printed = true;
  } while (growth.LookAgain());
}

int Show(const Options& options, Growth& growth) {
  // Opened first: an index that is open can be read on when the recording is closed.
  xv::IndexReader index;
  const bool indexed = !index.Open(xv::IndexPath(options.recording)).Failed();
  const auto source = OpenRecording(options.recording, growth);
  if (indexed) {
    ShowRecords(index, *source, growth);
  } else {
    ShowPackets(*source);
  }
  fmt::print("{}\n", growth.Ending());
  return 0;
}

int Copy(const Options& options, Growth& growth) {
  std::error_code ignored;
  if (std::filesystem::equivalent(options.recording, options.copy, ignored)) {
    throw FollowError("The copy would replace the recording itself.");
  }
  const auto source = OpenRecording(options.recording, growth);
  const CopyTotals totals = CopyPackets(*source, growth, options.copy);
  fmt::print("{}: {} packets, {} bytes\n", options.copy, totals.packets, totals.bytes);
  for (std::size_t i = 0; i < totals.packetsOfStream.size(); ++i) {
    if (totals.packetsOfStream[i] > 0 || !IsMedia(*source->Streams().streams[i])) continue;
    fmt::print("{}, no packets yet: its track is empty\n", StreamName(source->Streams(), i));
  }
  if (options.follow) fmt::print("{}\n", growth.Ending());
  return 0;
}

int Main(int argc, char** argv) {
  Options options;
  CLI::App app{"Reads a recording that grows, or whose writer died."};
  app.set_version_flag("--version", "xvfollow " XV_VERSION);
  app.add_option("RECORDING", options.recording, "The file that is being recorded")->required();
  app.add_flag("--follow", options.follow,
               "Go on until the recording is closed or nothing new comes for ten seconds");
  app.add_option(
      "--copy", options.copy,
      "Write all complete packets into this playable file; with --follow it grows along");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kUsage;
  }
  av_log_set_level(AV_LOG_PANIC);
  std::signal(SIGINT, [](int) { StopFollowing(); });
  try {
    Growth growth(options.recording, options.follow);
    return options.copy.empty() ? Show(options, growth) : Copy(options, growth);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "xvfollow: %s\n", error.what());
    return kFailed;
  }
}

}  // namespace
}  // namespace xvfollow

int main(int argc, char** argv) { return xvfollow::Main(argc, argv); }
