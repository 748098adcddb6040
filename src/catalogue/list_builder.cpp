#include "catalogue/list_builder.h"

#include <algorithm>

#include "base/text.h"
#include "catalogue/encoder_names.h"
#include "catalogue/ffmpeg_options.h"
#include "contracts/av_handles.h"
#include "values/value_syntax.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
}

namespace xv {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

namespace {

bool IsListed(const NameList& names, std::string_view name) {
  return std::any_of(names.begin(), names.end(), [&](const char* one) { return name == one; });
}

bool IsDescribed(const OptionFilter& filter, std::string_view name) {
  return filter.names.empty() || IsListed(filter.names, name) == filter.namesAreKept;
}

// An encoder passes where the list has its name, or another name of the list that means it.
bool PassesNames(const NameList* names, const char* encoder) {
  if (names == nullptr) return true;
  return std::any_of(names->begin(), names->end(),
                     [&](const char* one) { return EncoderNameOf(one) == encoder; });
}

void DescribeUnit(const OptionInfo& option, CoXMLNode& entry) {
  entry.SetAttribute("select_from", option.unit);
  if (option.constants.empty()) return;
  const XMLNodePtr unit = entry.AppendChild(option.unit);
  unit->SetValue(option.help);
  unit->SetAttribute("values", option.Words());
  for (const OptionConstant& constant : option.constants) {
    if (!constant.help.empty()) unit->AppendChild(constant.name)->SetValue(constant.help);
  }
}

void Describe(const OptionInfo& option, CoXMLNode& schema) {
  const XMLNodePtr entry = schema.AppendChild(option.name);
  if (!option.help.empty()) entry->SetValue(option.help);
  entry->SetAttribute("type", option.type);
  entry->SetAttribute("default", ShownDefault(option));
  if (!option.unit.empty()) DescribeUnit(option, *entry);
  if (option.minimum) entry->SetAttribute("min", RenderDouble(*option.minimum));
  if (option.maximum) entry->SetAttribute("max", RenderDouble(*option.maximum));
}

struct KindTraits {
  AVMediaType type;
  int flag;
  const char* defaultRate;
};

KindTraits TraitsOf(CodecKind kind) {
  switch (kind) {
    case CodecKind::kAudio:
      return {AVMEDIA_TYPE_AUDIO, AV_OPT_FLAG_AUDIO_PARAM, "128000"};
    case CodecKind::kSubtitle:
      return {AVMEDIA_TYPE_SUBTITLE, AV_OPT_FLAG_SUBTITLE_PARAM, "128000"};
    case CodecKind::kVideo:
      break;
  }
  return {AVMEDIA_TYPE_VIDEO, AV_OPT_FLAG_VIDEO_PARAM, "200000"};
}

void AddDefaultCodec(CoXMLNode& node, const char* rate) {
  const XMLNodePtr codec = node.AppendChild("codec");
  codec->SetAttribute("name", "Default format codec");
  const XMLNodePtr schema = codec->SchemaNode(true);
  schema->SetAttribute("inherit", "false");
  const XMLNodePtr b = schema->AppendChild("b");
  b->SetValue("Set bitrate (in bits/s)");
  b->SetAttribute("type", "int");
  b->SetAttribute("default", rate);
}

// Describes, in the schema of `codec`, options of all codecs whose defaults are its own.
void DescribeOwnDefaults(void* context, const CoXMLNode& shared, CoXMLNode& codec, int flags) {
  for (const OptionInfo& option : ListOptions(context, flags)) {
    const auto told = shared.InfoValue(option.name, "default");
    if (!told || *told == ShownDefault(option)) continue;
    const XMLNodePtr schema = codec.SchemaNode(true);
    if (!schema->FindChild(option.name)) Describe(option, *schema);
  }
}

void AddCodec(const AVCodec& codec, int flags, const OptionFilter& filter, CoXMLNode& node) {
  const AvPtr<AVCodecContext> context(avcodec_alloc_context3(&codec));
  if (!context) throw std::bad_alloc();
  // The first codec describes the shared options; the others say where their defaults differ.
  const bool first = !node.SchemaNode(false);
  if (first) BuildOptions(context.get(), node, flags, filter);
  const XMLNodePtr child = node.AppendChild("codec");
  child->SetAttribute("id", codec.name);
  child->SetAttribute("name", codec.long_name == nullptr ? codec.name : codec.long_name);
  if (codec.priv_class != nullptr) BuildOptions(context->priv_data, *child, flags, filter);
  if (!first) DescribeOwnDefaults(context.get(), node, *child, flags);
}

// The encoders of what a container takes, FFmpeg's own choice for each codec.
class ContainerCodecs {
 public:
  ContainerCodecs(const AVOutputFormat& format, const FormatBuild& build) {
    Add(format.video_codec, build);
    Add(format.audio_codec, build);
    void* state = nullptr;
    while (const AVCodec* codec = av_codec_iterate(&state)) {
      if (av_codec_is_encoder(codec) == 0 || avcodec_find_encoder(codec->id) != codec) continue;
      if (avformat_query_codec(&format, codec->id, FF_COMPLIANCE_NORMAL) == 1) {
        Add(codec->id, build);
      }
    }
  }
  std::vector<const char*> video;
  std::vector<const char*> audio;

 private:
  void Add(AVCodecID id, const FormatBuild& build) {
    const AVCodec* codec = id == AV_CODEC_ID_NONE ? nullptr : avcodec_find_encoder(id);
    if (codec == nullptr) return;
    const bool isVideo = codec->type == AVMEDIA_TYPE_VIDEO;
    if (!isVideo && codec->type != AVMEDIA_TYPE_AUDIO) return;
    if (!PassesNames(isVideo ? build.videoCodecs : build.audioCodecs, codec->name)) return;
    std::vector<const char*>& list = isVideo ? video : audio;
    if (std::find(list.begin(), list.end(), codec->name) == list.end()) {
      list.push_back(codec->name);
    }
  }
};

std::string Joined(const std::vector<const char*>& names) {
  std::string out;
  for (const char* name : names) out.append(out.empty() ? "" : ", ").append(name);
  return out;
}

// The codecs of one kind below a format. The attributes stand on this child: on the format they
// would be presets.
void AddFormatCodecs(CoXMLNode& format, const char* child, CodecKind kind,
                     const std::vector<const char*>& names, const OptionFilter& filter,
                     AVCodecID defaultId) {
  const XMLNodePtr node = format.AppendChild(child);
  const AVCodec* codec = avcodec_find_encoder(defaultId);
  if (codec != nullptr) node->SetAttribute("default", codec->name);
  node->SetAttribute("codecs", Joined(names));
  const NameList list(names);
  BuildCodecs(*node, kind, &list, filter);
}

void AddFormat(const AVOutputFormat& muxer, const FormatBuild& build, CoXMLNode& node) {
  AVFormatContext* raw = nullptr;
  if (avformat_alloc_output_context2(&raw, &muxer, nullptr, nullptr) < 0) return;
  const AvPtr<AVFormatContext> context(raw);
  const XMLNodePtr format = node.AppendChild("format");
  const auto text = [](const char* value) { return value == nullptr ? "" : value; };
  format->SetAttribute("id", text(muxer.name));
  format->SetAttribute("name", text(muxer.long_name));
  format->SetAttribute("extensions", text(muxer.extensions));
  BuildOptions(context.get(), *format, AV_OPT_FLAG_ENCODING_PARAM, build.formatOptions);
  if (muxer.priv_class != nullptr) {
    BuildOptions(context->priv_data, *format, AV_OPT_FLAG_ENCODING_PARAM, build.formatOptions);
  }
  const ContainerCodecs codecs(muxer, build);
  AddFormatCodecs(*format, "video", CodecKind::kVideo, codecs.video, build.videoOptions,
                  muxer.video_codec);
  AddFormatCodecs(*format, "audio", CodecKind::kAudio, codecs.audio, build.audioOptions,
                  muxer.audio_codec);
  if (!format->FindChild("video")->SchemaNode(false)) (void)node.RemoveChildNode(format.get());
}

void AddAutoSelect(const FormatBuild& build, CoXMLNode& node) {
  const XMLNodePtr format = node.AppendChild("format");
  format->SetAttribute("name", "Auto Select");
  format->SchemaNode(true)->SetAttribute("inherit", "false");
  BuildCodecs(*format->AppendChild("video"), CodecKind::kVideo, build.videoCodecs,
              build.videoOptions);
  BuildCodecs(*format->AppendChild("audio"), CodecKind::kAudio, build.audioCodecs,
              build.audioOptions);
}

}  // namespace

void BuildOptions(void* object, CoXMLNode& target, int flags, const OptionFilter& filter) {
  const XMLNodePtr schema = target.SchemaNode(true);
  for (const OptionInfo& option : ListOptions(object, flags)) {
    if (option.type.empty() || option.type == "bool") continue;  // types that the schema lacks here
    if (IsDescribed(filter, option.name)) Describe(option, *schema);
  }
}

void BuildCodecs(CoXMLNode& node, CodecKind kind, const NameList* names,
                 const OptionFilter& filter) {
  const KindTraits traits = TraitsOf(kind);
  const int flags = traits.flag | AV_OPT_FLAG_ENCODING_PARAM;
  AddDefaultCodec(node, traits.defaultRate);
  void* state = nullptr;
  while (const AVCodec* codec = av_codec_iterate(&state)) {
    if (av_codec_is_encoder(codec) == 0 || codec->type != traits.type) continue;
    if (PassesNames(names, codec->name)) AddCodec(*codec, flags, filter, node);
  }
}

void BuildFormats(CoXMLNode& node, const FormatBuild& build) {
  AddAutoSelect(build, node);
  if (build.names != nullptr) {
    for (const char* name : *build.names) {
      const AVOutputFormat* muxer = av_guess_format(name, nullptr, nullptr);
      if (muxer != nullptr) AddFormat(*muxer, build, node);
    }
    return;
  }
  void* state = nullptr;
  while (const AVOutputFormat* muxer = av_muxer_iterate(&state)) {
    const bool hasCodec =
        muxer->video_codec != AV_CODEC_ID_NONE || muxer->audio_codec != AV_CODEC_ID_NONE;
    if (hasCodec) AddFormat(*muxer, build, node);
  }
}

}  // namespace xv
