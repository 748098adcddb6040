#pragma once

#include <algorithm>
#include <string_view>

#include "matrix/cell_recording.h"

namespace xv::test {

// What has no place in a container or codec. A cell that loses more, or less, fails.
struct KnownLoss {
  const char* formats;  // ids of the list, between commas
  const char* codecs;   // as a reader names them; "none" without pictures
  unsigned lost;
};

inline constexpr KnownLoss kKnownLosses[] = {
    // MPEG-1 and MPEG-2 video have the time code in their group headers.
    {"mpeg,mpegts,mpeg_nablet,vob,hls,rtsp,ipod,ismv,ac3,adts,image2",
     "none,h264,mpeg4,dpx,mjpeg,png", kTimecode},
    // The time code's track refers to one of pictures.
    {"mov,mov_dnxhd,mp4", "none", kTimecode},
    // Codecs of whole pictures, where the container does not tell the order either.
    {"asf,avi,flv,mpeg,vob,webm,image2",
     "dpx,flv1,huffyuv,jpeg2000,mjpeg,mpeg1video,msmpeg4v3,png,rawvideo,v210,vp8,wmv2",
     kFieldOrder},
    {"flv", "flv1", kAspect},
};

// Whether `word` is one of the words between commas.
constexpr bool IsAmong(std::string_view words, std::string_view word) {
  for (std::size_t at = 0; at <= words.size();) {
    const std::size_t end = std::min(words.find(',', at), words.size());
    if (words.substr(at, end - at) == word) return true;
    at = end + 1;
  }
  return false;
}

inline unsigned KnownLossOf(std::string_view format, std::string_view codec) {
  unsigned lost = kNothing;
  for (const KnownLoss& known : kKnownLosses) {
    if (IsAmong(known.formats, format) && IsAmong(known.codecs, codec.empty() ? "none" : codec))
      lost |= known.lost;
  }
  return lost;
}

}  // namespace xv::test
