#include "xvfollow/recording.h"

#include <map>

#include "growing/growing_files.h"
#include "growing/recovery_note.h"
#include "platform/whole_file.h"
#include "xvfollow/recording_file.h"

namespace xvfollow {
namespace {

// These formats, by the name of muxer or demuxer, store packets in pieces or hold them back, so
// that no position in the file is that of a packet; their streams need no tables to be read.
bool ReadsItself(const std::string& format) {
  return format.find("matroska") != std::string::npos || format == "mpegts" ||
         !xv::WantsHeaderFile(format);
}

// How the packets of a recording without a proper end can be told apart.
struct Rescue {
  Input streams;       // null: not yet
  std::string format;  // of muxer or demuxer
  bool muxed = false;  // from the note: before the muxer wrote them
};

Rescue FindStreams(const std::string& recording, const xv::RecoveryReader* note) {
  if (Input header = OpenInput(xv::HeaderPath(recording))) {
    const std::string format = header->iformat->name;
    return {std::move(header), format, false};
  }
  if (note == nullptr) return {};
  return {Input(note->MakeStreams().release()), note->format(), true};
}

// With an index. Null while nothing tells the streams.
std::unique_ptr<PacketSource> OpenGrowing(const std::string& recording, Growth& growth,
                                          const xv::RecoveryReader* note) {
  Rescue found = FindStreams(recording, note);
  if (found.streams && !ReadsItself(found.format)) {
    return OpenIndexed(recording, std::move(found.streams), {xv::IndexPath(recording)},
                       found.muxed);
  }
  const bool readable = found.streams || !xv::FileExists(xv::HeaderPath(recording));
  return readable ? OpenDemuxed(recording, growth) : nullptr;
}

// Null while that may still change.
std::unique_ptr<PacketSource> TryOpen(const std::string& recording, Growth& growth) {
  xv::RecoveryReader reader;
  const std::string path = xv::RecoveryPath(recording);
  const xv::RecoveryReader* note = reader.Open(path).Failed() ? nullptr : &reader;
  if (IsGrowing(recording)) return OpenGrowing(recording, growth, note);
  if (note != nullptr && note->HasRecords() && !HasWholeTables(recording)) {
    Input streams(note->MakeStreams().release());
    if (!streams) throw FollowError("The note " + path + " cannot be read.");
    return OpenIndexed(recording, std::move(streams), {path, note->recordsAt()}, true);
  }
  return OpenDemuxed(recording, growth);
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
  do {
    if (auto source = TryOpen(recording, growth)) return source;
  } while (growth.LookAgain());
  // Some containers tell their streams ahead of the packets.
  if (OpenInput(recording)) return OpenDemuxed(recording, growth);
  throw FollowError("The header file " + xv::HeaderPath(recording) +
                    " is not complete yet: that takes more than 25 frames and a packet of each "
                    "stream." +
                    PacketsSoFar(recording));
}

}  // namespace xvfollow
