#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "support/host_frames.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

// Reads a recording back with FFmpeg's demuxers and decoders, as any reader would.
namespace xv::test {

struct ProbedPacket {
  std::int64_t pts = 0;
  std::int64_t dts = 0;
  std::string bytes;
};

// The constructs of CEA-608 and CEA-708 that a picture carries, three bytes each.
struct ProbedCaptions {
  double start = 0;  // seconds behind the first picture
  std::string constructs;
};

// The samples of one component, rows without padding.
struct ProbedPlane {
  int width = 0;
  int height = 0;
  std::vector<int> samples;
  int At(int x, int y) const { return samples.at(static_cast<std::size_t>(y * width + x)); }
};

struct ProbedStream {
  AVMediaType type = AVMEDIA_TYPE_UNKNOWN;
  std::string codec;
  std::int64_t frames = 0;   // decoded pictures
  std::int64_t samples = 0;  // decoded samples of a channel
  double seconds = 0;        // of what was decoded
  double start = 0;          // time of the first decoded frame
  double next = 0;           // time of the picture behind the last one
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
  int profile = 0;
  std::string pixelFormat;
  std::string pictureTypes;             // a letter for each: I, P, B
  bool fullRange = false;               // levels from 0 to 255
  std::vector<std::uint8_t> lumaMeans;  // mean of the first plane, a picture each
  std::vector<std::uint8_t> firstLuma;  // of a first picture in 8 bits, rows without padding
  std::vector<ProbedPlane> first;       // the first picture whole: Y, Cb, Cr or R, G, B, and alpha
  std::string tags;                     // matrix, primaries, transfer, range: "bt709/..." of the
                                        // container, else of the codec
  std::vector<ProbedCaptions> captions;
  std::vector<ProbedPacket> packets;  // in the order of the file
  std::string keys;                   // a "K" or a "-" for each packet

  // Of all packets.
  std::string Bytes() const;
  // Of a track of PCM with 16 bits.
  std::vector<int> SamplesOf(int channel) const;
};

struct ProbedFile {
  bool opened = false;
  double seconds = 0;  // as the container says
  std::string timecode;
  std::string title;
  std::vector<ProbedStream> streams;

  // A test that finds none of them fails by an exception.
  const ProbedStream& Pictures() const { return Nth(AVMEDIA_TYPE_VIDEO, 0); }
  const ProbedStream& Sound(int track = 0) const { return Nth(AVMEDIA_TYPE_AUDIO, track); }
  const ProbedStream& Nth(AVMediaType type, int number) const;
  int Count(AVMediaType type) const;
};

// `options` go to the demuxer and the protocol. A URL that gives nothing for ten seconds is left.
ProbedFile Probe(const std::string& path,
                 const std::vector<std::pair<std::string, std::string>>& options = {});

// Records `count` frames into a file of that name in a fresh folder and reads it back. The test
// fails unless all went well.
ProbedFile RecordAndProbe(const std::string& name, const std::string& attributes,
                          const Feed& feed = {}, int count = 10);

// Records one picture of `bytes`, laid out as `feed` says and with `edits` as its own attributes,
// into a file of that name and reads it back. The test fails unless all went well.
ProbedStream RecordPicture(const std::string& name, const std::string& attributes, const Feed& feed,
                           const std::vector<std::uint8_t>& bytes, const std::string& edits = {});

}  // namespace xv::test
