#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "audio/audio_buffer.h"
#include "base/status.h"
#include "captions/embed.h"
#include "contracts/av_handles.h"
#include "hw/encoder_set.h"
#include "kernels/colour_matrix.h"
#include "tree/node.h"
#include "xvwriter/media.h"

namespace xv {

// One track of the output: its streams, its encoder and what the stages keep for it. Owned by the
// session from open to cleanup.
struct StreamHolder {
  AVFormatContext* oc = nullptr;  // the session's
  AVStream* stream = nullptr;     // the format context's
  AVStream* twin = nullptr;       // the same track in the second output, or null
  AvPtr<AVCodecContext> codec;
  AVMediaType type = AVMEDIA_TYPE_UNKNOWN;
  PseudoCodec pseudo = PseudoCodec::kNone;
  XvHwEncoderSet hw;          // of a pseudo codec, for both streams
  XMLParse::XMLNodePtr node;  // the track's own options, a private copy
  std::int64_t delay = 0;     // added to the packets' stamps, 100 ns
  int threads = 0;            // the most of an encoder that is told no number; 0: its choice
  bool strict = true;         // an encoder, preset or profile that does not exist fails the setup
  std::vector<std::string> unusedOptions;  // attributes that neither we nor the encoder took
  // Why, of those that the encoder does not open with.
  std::map<std::string, std::string> refusals;
  std::vector<std::string> adjusted;  // "bf=7 (why, and what is taken)", defaults too
  std::string failure;                // what the encoder said when it could not be opened

  // Video.
  XV_VID_PROPS vid{};  // the picture that the encoder gets
  int linesAbove = 0;  // black ones around it, which count in the encoder's height
  int linesBelow = 0;
  bool synthetic = false;             // black pictures for a format that needs a video track
  int pixelFormat = AV_PIX_FMT_NONE;  // that frames are prepared in
  bool fullRange = false;
  Matrix rgbMatrix = Matrix::kBt601;  // that YCbCr is made of RGB with
  std::int64_t lastPts = -1;
  CaptionMap ccMap;     // caption blocks by stamp
  int packetBytes = 0;  // every packet has as many, the encoder's or zeros behind; 0: as they come
  std::int64_t framesSent = 0;
  std::int64_t packetsReceived = 0;

  // Audio.
  int firstChannel = 0;  // of this track among the input's channels
  int trackChannels = 0;
  std::int64_t offsetSamples = 0;
  std::int64_t audioPts = 0;
  int readAhead = 0;  // samples behind the buffer's head that this track has already taken
  // Where the encoder has another rate or number of channels than the input: this track's samples
  // in its own, and a block on its way there.
  std::unique_ptr<XvAudioBuffer2> own;
  std::vector<std::uint8_t> block;

  // Encoded packets that wait to be taken, in decoding order.
  std::deque<AvPtr<AVPacket>> packets;
  bool drained = false;  // the encoder has given its last packet
  bool endSent = false;
  // Asked for each packet of an encoder that has been told the end: whether what it still holds is
  // given up. Null: never.
  std::function<bool()> givesUp;
};

// A stop gives up what an encoder holds.
bool GivesUp(const StreamHolder& holder);
// Leaves the rest of its frames to an encoder, so that the file can be closed now: the holder is
// drained, and says how many there were. XV_E_ABORTED; S_OK where there were none.
Status GiveUpHeld(StreamHolder& holder);

// Copies the encoder's parameters into the streams that show them.
int FillStreamParameters(StreamHolder& holder);

}  // namespace xv
