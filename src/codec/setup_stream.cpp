#include "codec/setup_stream.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/text.h"
#include "codec/audio_stream.h"
#include "codec/codec_choice.h"
#include "codec/stream_attributes.h"
#include "codec/video_stream.h"
#include "platform/warning.h"

namespace xv {
namespace {

template <class Fn>
void ForEachStream(StreamHolder& holder, Fn&& fn) {
  fn(holder.stream);
  if (holder.twin != nullptr) fn(holder.twin);
}

bool HasTrackOf(const AVFormatContext& oc, AVMediaType type) {
  return std::any_of(oc.streams, oc.streams + oc.nb_streams,
                     [type](const AVStream* one) { return one->codecpar->codec_type == type; });
}

// The first track of a kind is what a player begins with.
AVStream* AddStream(AVFormatContext* oc, const AVCodecContext& codec) {
  const bool first = !HasTrackOf(*oc, codec.codec_type);
  AVStream* stream = avformat_new_stream(oc, nullptr);
  if (stream == nullptr) return nullptr;
  stream->time_base = codec.time_base;
  if (first) stream->disposition |= AV_DISPOSITION_DEFAULT;
  return stream;
}

}  // namespace

XMLParse::XMLNodePtr AudioTrackOptions(const XMLParse::CoXMLNode& attributes, int track) {
  const XMLParse::XMLNodePtr node = XMLParse::CoXMLNode::Create(kAudioNode);
  const auto lay = [&](const XMLParse::XMLNodePtr& options) {
    if (options) node->CopyFrom(*options, XMLParse::MergeMode::kReplace, true);
  };
  lay(attributes.FindChild(kAudioNode));
  if (track > 0) lay(attributes.FindChild(fmt::format("{}.{}", kAudioNode, track)));
  return node;
}

bool WantsHeadersApart(const AVFormatContext& oc, const AVFormatContext* oc2) {
  const int flags = oc.oformat->flags | (oc2 == nullptr ? 0 : oc2->oformat->flags);
  return (flags & AVFMT_GLOBALHEADER) != 0;
}

Status AddStreams(StreamHolder& holder, AVFormatContext* oc, AVFormatContext* oc2,
                  const char* warning) {
  holder.stream = AddStream(oc, *holder.codec);
  if (oc2 != nullptr) holder.twin = AddStream(oc2, *holder.codec);
  if (holder.stream != nullptr && (oc2 == nullptr || holder.twin != nullptr)) return S_OK;
  Warn(warning);
  return E_OUTOFMEMORY;
}

void ApplyStreamId(StreamHolder& holder, int track) {
  int id = holder.node->Get(kStreamId);
  if (track >= 0) id = holder.node->Find(kTrackStreamId, track).value_or(id);
  if (id < 0) return;
  ForEachStream(holder, [id](AVStream* stream) { stream->id = id; });
}

void ApplyStreamMetadata(StreamHolder& holder) {
  const XMLParse::XMLNodePtr metadata = holder.node->FindChild(kStreamMetadata.name);
  if (!metadata) return;
  ForEachStream(holder, [&](AVStream* stream) {
    for (const auto& [name, value] : metadata->Attributes()) {
      SetEntry(&stream->metadata, name.c_str(), value.c_str(), AV_DICT_DONT_OVERWRITE);
    }
  });
}

Status SetupStream(StreamHolder& holder, const StreamRequest& request) {
  holder.oc = request.oc;
  holder.delay = request.delay;
  holder.strict = request.strict;
  holder.threads = request.threads;
  holder.node = request.node->DeepCopy();
  const std::string kind = holder.node->Name();
  CodecChoice choice = ChooseCodec(*holder.node, *request.oc, request.defaultCodec);
  if (choice.nameUnknown && holder.strict) {
    const AVMediaType type = EqualsNoCase(kind, "video") ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO;
    holder.failure = MissingEncoderWords(choice.name, type);
    return XV_E_NOT_FOUND;
  }
  Status result = E_FAIL;
  if (EqualsNoCase(kind, "video")) {
    result = SetupVideoStream(holder, request.oc, request.oc2, request.props->vid,
                              std::move(choice), request.timecode);
  } else if (EqualsNoCase(kind, "audio")) {
    result = SetupAudioStream(holder, request.oc, request.oc2, request.props->aud, request.track,
                              choice);
  }
  holder.lastPts = -1;
  return result;
}

}  // namespace xv
