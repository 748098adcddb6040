#include "xvrecord/report.h"

#include <fmt/format.h>
#include <sys/resource.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "base/secrets.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace xvrecord {
namespace {

constexpr int kMostStreams = 64;

constexpr const char* kQuality[] = {
    "drops",         "video.deque",      "pts_errors",        "frames_in",      "encode_ms.p50",
    "encode_ms.p99", "write_ms.p50",     "write_ms.p99",      "unused_options", "bad_values",
    "captions.seen", "captions.written", "captions.embedded", "captions.lost",  "rebases",
    "repeats",       "audio.silence",    "audio.cut",         "audio.left_out", "video.left_out",
    "last_error"};

struct ReadBack {
  std::string streams;
  double seconds = 0;
};

std::string DescribeStream(const AVStream& stream) {
  const AVCodecParameters& par = *stream.codecpar;
  const std::string name = avcodec_get_name(par.codec_id);
  if (par.codec_type == AVMEDIA_TYPE_VIDEO) {
    const AVRational rate = stream.avg_frame_rate;
    return fmt::format("{} {}x{}@{:.4g}", name, par.width, par.height,
                       rate.den != 0 ? av_q2d(rate) : 0.0);
  }
  if (par.codec_type == AVMEDIA_TYPE_AUDIO) {
    return fmt::format("{} {} Hz {} ch", name, par.sample_rate, par.ch_layout.nb_channels);
  }
  return {};
}

// What went to a receiver, a FIFO or a device cannot be read again.
bool KeepsBytes(const std::string& target) {
  std::error_code error;
  return target.find('%') != std::string::npos || std::filesystem::is_regular_file(target, error);
}

ReadBack Read(const std::string& target) {
  ReadBack result;
  AVFormatContext* file = nullptr;
  if (!KeepsBytes(target) || avformat_open_input(&file, target.c_str(), nullptr, nullptr) < 0) {
    return result;
  }
  avformat_find_stream_info(file, nullptr);
  for (unsigned i = 0; i < file->nb_streams; ++i) {
    const std::string text = DescribeStream(*file->streams[i]);
    if (text.empty()) continue;
    result.streams += (result.streams.empty() ? "" : " + ") + text;
  }
  if (file->duration > 0) result.seconds = static_cast<double>(file->duration) / AV_TIME_BASE;
  avformat_close_input(&file);
  return result;
}

std::string SizeText(const std::string& target) {
  std::error_code error;
  const auto bytes = std::filesystem::file_size(target, error);
  if (error) return "size unknown";
  if (bytes >= 1'000'000) return fmt::format("{:.1f} MB", static_cast<double>(bytes) / 1e6);
  return fmt::format("{:.1f} kB", static_cast<double>(bytes) / 1e3);
}

nlohmann::json Value(const std::string& text) {
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != 0) return text;
  if (text.find('.') == std::string::npos) return std::strtoll(text.c_str(), nullptr, 10);
  return number;
}

}  // namespace

double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

std::string ClosingLine(const std::string& target, const xv::host::Writer& writer,
                        const Totals& totals) {
  const ReadBack back = Read(target);
  const double seconds = back.seconds > 0 ? back.seconds : totals.mediaSeconds;
  const std::string drops = writer.Get("quality::drops");
  return fmt::format("{}: {}, {:.2f} s, {} pictures, {} dropped, {}, {:.2f}x",
                     xv::MaskSecrets(target), back.streams.empty() ? "sent" : back.streams, seconds,
                     totals.pictures, drops.empty() ? "0" : drops, SizeText(target),
                     totals.wallSeconds > 0 ? totals.mediaSeconds / totals.wallSeconds : 0.0);
}

std::string StatsJson(const std::string& target, const xv::host::Writer& writer,
                      const Totals& totals, xv::HRESULT result) {
  nlohmann::json json;
  json["target"] = xv::MaskSecrets(target);
  json["result"] = fmt::format("0x{:08X}", static_cast<std::uint32_t>(result));
  json["stopped"] = totals.stopped;
  json["frames_in"] = totals.frames;
  json["pictures"] = totals.pictures;
  json["media_seconds"] = totals.mediaSeconds;
  json["wall_seconds"] = totals.wallSeconds;
  json["cpu_seconds"] = totals.cpuSeconds;
  for (const char* name : kQuality) {
    const std::string text = writer.Get(std::string("quality::") + name);
    if (!text.empty()) json["quality"][name] = Value(text);
  }
  for (int i = 0; i < kMostStreams; ++i) {
    const std::string packets = writer.Get(fmt::format("quality::packets.{}", i));
    if (packets.empty() || packets == "0") break;
    json["streams"].push_back({{"packets", Value(packets)},
                               {"bytes", Value(writer.Get(fmt::format("quality::bytes.{}", i)))}});
  }
  return json.dump(2) + "\n";
}

}  // namespace xvrecord
