#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
}

// Reads a recording back with FFmpeg's demuxers and decoders, as any reader would.
namespace xv::test {

struct ProbedStream {
  AVMediaType type = AVMEDIA_TYPE_UNKNOWN;
  std::string codec;
  std::int64_t frames = 0;   // decoded pictures
  std::int64_t samples = 0;  // decoded samples of a channel
  double seconds = 0;        // of what was decoded
  double start = 0;          // time of the first decoded frame
  int errors = 0;            // of the decoder
  int channels = 0;
  std::string layout;  // of the channels, such as "stereo"
  int sampleRate = 0;
  int width = 0;
  int height = 0;
  bool interlaced = false;
  bool topFirst = false;
  AVFieldOrder fieldOrder = AV_FIELD_UNKNOWN;  // as the container or the parser tells
  AVRational sampleAspect{0, 1};               // of the container, else of the codec
  std::string gopTimecode;                     // of MPEG's GOP headers
  int id = 0;
  std::uint32_t tag = 0;
  std::string language;
  bool fullRange = false;               // levels from 0 to 255
  std::vector<std::uint8_t> lumaMeans;  // mean of the first plane, a picture each
};

struct ProbedFile {
  bool opened = false;
  double seconds = 0;  // as the container says
  std::string timecode;
  std::string title;
  std::vector<ProbedStream> streams;

  const ProbedStream* Video() const;
  const ProbedStream* Audio(int track = 0) const;
  int Count(AVMediaType type) const;
};

// `options` go to the demuxer and the protocol. A URL that gives nothing for ten seconds is left.
ProbedFile Probe(const std::string& path,
                 const std::vector<std::pair<std::string, std::string>>& options = {});

}  // namespace xv::test
