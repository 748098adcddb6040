#include "xvfollow/recording.h"

#include <cstring>

#include "ffm/growing_index.h"
#include "ffm/header_file.h"
#include "platform/file.h"

namespace xvfollow {
namespace {

// These formats store packets in pieces or hold them back, so that no position in the file is that
// of a packet; their streams need no tables to be read.
bool ReadsItself(const AVInputFormat& format) {
  return std::strstr(format.name, "matroska") != nullptr ||
         std::strstr(format.name, "mpegts") != nullptr;
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

std::unique_ptr<PacketSource> OpenRecording(const std::string& recording) {
  if (!xv::FileExists(recording)) throw FollowError("There is no file " + recording + ".");
  const std::string header = xv::HeaderPath(recording);
  if (!IsGrowing(recording) || !xv::FileExists(header)) return OpenDemuxed(recording);
  Input streams = OpenInput(header);
  if (!streams) {
    throw FollowError("The header file " + header +
                      " is not complete: the recording has fewer than 26 frames so far.");
  }
  if (ReadsItself(*streams->iformat)) return OpenDemuxed(recording);
  return OpenIndexed(recording, std::move(streams));
}

}  // namespace xvfollow
