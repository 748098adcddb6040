#include "xvfollow/recording.h"

#include <cstring>
#include <map>

#include "growing/growing_files.h"
#include "growing/index.h"
#include "platform/whole_file.h"

namespace xvfollow {
namespace {

// These formats store packets in pieces or hold them back, so that no position in the file is that
// of a packet; their streams need no tables to be read.
bool ReadsItself(const AVInputFormat& format) {
  return std::strstr(format.name, "matroska") != nullptr ||
         std::strstr(format.name, "mpegts") != nullptr;
}

// What the index knows while the streams have no names.
std::string PacketsSoFar(const std::string& recording) {
  xv::IndexReader index;
  xv::IndexRecord record;
  std::map<int, int> packets;
  if (!index.Open(xv::IndexPath(recording)).Failed()) {
    while (index.Next(&record) == xv::Status(xv::S_OK)) ++packets[record.stream];
  }
  if (packets.empty()) return " No stream has a packet yet.";
  std::string text = " So far there are";
  for (const auto& [stream, count] : packets) {
    text += (text.back() == 'e' ? " " : ", ") + std::to_string(count) + " of stream " +
            std::to_string(stream);
  }
  return text + "; any other stream has none yet.";
}

}  // namespace

Input OpenInput(const std::string& path) {
  AVFormatContext* context = nullptr;
  if (avformat_open_input(&context, path.c_str(), nullptr, nullptr) < 0) return nullptr;
  Input input(context);
  if (avformat_find_stream_info(context, nullptr) < 0) return nullptr;
  return input;
}

bool IsGrowing(const std::string& recording) { return xv::FileExists(xv::IndexPath(recording)); }

bool IsMedia(const AVStream& stream) {
  const AVMediaType type = stream.codecpar->codec_type;
  return type == AVMEDIA_TYPE_VIDEO || type == AVMEDIA_TYPE_AUDIO;
}

std::string StreamName(const AVFormatContext& streams, std::size_t stream) {
  const AVCodecParameters& codec = *streams.streams[stream]->codecpar;
  const char* kind = av_get_media_type_string(codec.codec_type);
  return "stream " + std::to_string(stream) + ": " + (kind == nullptr ? "data" : kind) + " " +
         avcodec_get_name(codec.codec_id);
}

std::unique_ptr<PacketSource> OpenRecording(const std::string& recording, Growth& growth) {
  if (!xv::FileExists(recording)) throw FollowError("There is no file " + recording + ".");
  const std::string header = xv::HeaderPath(recording);
  do {
    if (!IsGrowing(recording) || !xv::FileExists(header)) return OpenDemuxed(recording, growth);
    if (Input streams = OpenInput(header)) {
      if (ReadsItself(*streams->iformat)) return OpenDemuxed(recording, growth);
      return OpenIndexed(recording, std::move(streams));
    }
  } while (growth.LookAgain());
  // Some containers tell their streams ahead of the packets.
  if (OpenInput(recording)) return OpenDemuxed(recording, growth);
  throw FollowError("The header file " + header +
                    " is not complete yet: that takes more than 25 frames and a packet of each "
                    "stream." +
                    PacketsSoFar(recording));
}

}  // namespace xvfollow
