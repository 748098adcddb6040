#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "audio/sound_timeline.h"
#include "base/ref.h"
#include "codec/stream_holder.h"
#include "component/encoded_packet.h"
#include "frames/prepare_video.h"

namespace xv {

// What an encoder is opened for.
struct StreamWish {
  XMLParse::XMLNodePtr node;  // named "video" or "audio"
  XV_AV_PROPS props{};        // of the first frame
  int track = 0;              // of the sound
  bool strict = true;         // no other encoder, preset or profile stands in
};

// FFmpeg's encoder for one stream, from frames to packets. One caller at a time.
class StreamEncoder {
 public:
  // Failures have their words in `words`.
  static Status OpenPictures(const StreamWish& wish, std::unique_ptr<StreamEncoder>* out,
                             std::string* words);
  static Status OpenSound(const StreamWish& wish, std::unique_ptr<StreamEncoder>* out,
                          std::string* words);
  virtual ~StreamEncoder() = default;
  StreamEncoder(const StreamEncoder&) = delete;
  StreamEncoder& operator=(const StreamEncoder&) = delete;

  // Encodes what the frame has of this kind; S_FALSE when that is nothing.
  virtual Status Take(IXfFrame& frame, const XV_AV_PROPS& props) = 0;
  // End of the stream.
  virtual Status Drain() = 0;
  // The next packet, or null.
  Ref<IXfPacket> Next();
  std::int32_t Ready() const { return static_cast<std::int32_t>(holder_.packets.size()); }
  const std::string& failure() const { return holder_.failure; }

 protected:
  StreamEncoder() = default;
  Status Setup(const StreamWish& wish);

  StreamHolder holder_;
  std::int64_t origin_ = 0;  // time of stamp 0, 100 ns

 private:
  void Describe(const AVPacket& first);

  AvPtr<AVFormatContext> context_;  // of no file: it owns the stream that describes the encoder
  std::shared_ptr<const StreamRecord> record_;
  std::int32_t made_ = 0;
  std::int32_t sinceKey_ = 0;
};

}  // namespace xv
