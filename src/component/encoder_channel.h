#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/auto_obj_base.h"
#include "base/ref.h"
#include "component/path_report.h"
#include "contracts/av_handles.h"
#include "tree/node.h"
#include "xvwriter/component.h"

namespace xv {

// One output of the component path: a multiplexer, and an encoder for the pictures and for each
// track of sound. Frames and packets go straight down one call, on the caller's thread. One caller
// at a time.
class XvEncoderChannel final : public AutoObjBase<XvEncoderChannel> {
 public:
  explicit XvEncoderChannel(PathReport& report) : report_(report) {}
  ~XvEncoderChannel() override;

  // `attributes` are copied. A failure has told its words.
  Status Open(const std::string& output, const XV_AV_PROPS& props,
              const XMLParse::CoXMLNode& attributes);
  // Encodes a frame, or passes on the packet that holds its picture; `timeout` in 100 ns. Both
  // null: end of the pictures.
  //   S_FALSE  there is no multiplexer.
  Status PutData(IXfFrame* frame, IXfPacket* packet, std::int64_t timeout);
  // Drains the encoders, closes all; the first failure. Safe on a closed channel.
  Status Close();
  // Pictures come as packets and are passed on.
  bool PassesPackets() const { return hasVideo_ && !video_; }

 private:
  struct SoundTrack {
    Ref<IXfEncoder> encoder;
    std::int32_t number;  // of the track
    std::int32_t stream;
  };

  Status OpenMuxer(const std::string& output);
  Status OpenVideo(const std::string& output, const XV_VID_PROPS& vid);
  Status OpenAudio(const std::string& output, const XV_AUD_PROPS& aud);
  Status OpenEncoder(eXfMediaType type, const XMLParse::CoXMLNode& node, Ref<IXfEncoder>* out);
  bool Wants(const std::string& output, std::string_view kind, AVMediaType type);
  void NameCodec(const std::string& output, AVMediaType type, XMLParse::CoXMLNode& node) const;
  Status AddStream(const XV_STREAM_INFO& info, std::int32_t* index);
  Status PutVideo(IXfFrame* frame, IXfPacket* packet, std::int64_t timeout);
  Status PutAudio(IXfFrame* frame, std::int64_t timeout);
  Status PutTrack(const SoundTrack& track, IXfFrame* frame);
  Status PushPacket(IXfFrame* frame, IXfPacket* packet);
  Status MovePackets(IXfEncoder& encoder, std::int32_t stream, std::int64_t timeout, bool draining);
  Status PutPacket(std::int32_t stream, IXfPacket& packet);
  Status DrainSound();
  Status Told(const char* stage, IUnknown* component, Status result);

  PathReport& report_;
  Ref<IXfMuxer> muxer_;
  Ref<IXfEncoder> video_;
  std::vector<SoundTrack> audio_;
  XMLParse::XMLNodePtr config_;
  XV_VID_PROPS vid_{};
  XV_AUD_PROPS aud_{};
  bool hasVideo_ = false;
  std::int32_t videoStream_ = 0;
  bool waitingForFirst_ = true;  // no picture has gone to the multiplexer yet
  std::int64_t timeOffset_ = 0;  // time of the first packet that was passed on, 100 ns
};

}  // namespace xv
