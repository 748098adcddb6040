#include "codec/codec_choice.h"

#include "base/text.h"
#include "codec/stream_attributes.h"
#include "props/nearest_name.h"

namespace xv {
namespace {

constexpr std::size_t kLongestCodecName = 63;

// "frame%04d.png" names its codec: the text behind the last point of the last path segment.
std::string CodecFromExtension(const char* url) {
  const std::string_view name = url == nullptr ? "" : url;
  const std::size_t point = name.find_last_of("./\\:");
  if (point == std::string_view::npos || name[point] != '.') return {};
  return std::string(name.substr(point + 1, kLongestCodecName));
}

bool IsImageSequence(const AVFormatContext& oc) {
  return oc.oformat != nullptr && EqualsNoCase(oc.oformat->name, "image2");
}

void ApplyPseudoPresets(XMLParse::CoXMLNode& node, std::string_view name) {
  if (EqualsNoCase(name, "l264")) node.SetTextIfAbsent("preset", "lossless");
  if (EqualsNoCase(name, "q264sw")) (void)node.SetText("force_gpu", "-1");
  if (EqualsNoCase(name, "q264hw")) node.SetTextIfAbsent("force_gpu", "0");
}

}  // namespace

AVCodecID EncoderIdFromName(const std::string& name) {
  if (name.empty()) return AV_CODEC_ID_NONE;
  if (const AVCodec* codec = avcodec_find_encoder_by_name(name.c_str())) return codec->id;
  // "h264": the codec's name, for whichever encoder FFmpeg prefers.
  const AVCodecDescriptor* descriptor = avcodec_descriptor_get_by_name(name.c_str());
  const bool writes = descriptor != nullptr && avcodec_find_encoder(descriptor->id) != nullptr;
  return writes ? descriptor->id : AV_CODEC_ID_NONE;
}

AVCodecID DefaultCodec(const AVOutputFormat& format, AVMediaType type) {
  if (type == AVMEDIA_TYPE_AUDIO) return format.audio_codec;
  const bool coverOnly = EqualsNoCase(format.name, "mp3") || EqualsNoCase(format.name, "flac");
  return coverOnly ? AV_CODEC_ID_NONE : format.video_codec;
}

CodecChoice ChooseCodec(XMLParse::CoXMLNode& node, const AVFormatContext& oc, AVCodecID defaultId) {
  CodecChoice choice;
  choice.name = node.Get(kCodec);
  if (EqualsNoCase(choice.name, "null")) choice.name.clear();
  choice.id = static_cast<AVCodecID>(node.Get(kCodecId));
  if (choice.id == AV_CODEC_ID_NONE) {
    const bool named = !choice.name.empty();
    if (!named && IsImageSequence(oc)) choice.name = CodecFromExtension(oc.url);
    choice.pseudo = PseudoCodecFromText(choice.name);
    if (choice.pseudo != PseudoCodec::kNone) {
      ApplyPseudoPresets(node, choice.name);
      choice.id = FindPseudoCodec(static_cast<std::uint32_t>(choice.pseudo))->reported;
      return choice;
    }
    choice.id = EncoderIdFromName(choice.name);
    choice.nameUnknown = named && choice.id == AV_CODEC_ID_NONE;
    if (choice.id == AV_CODEC_ID_NONE && IsImageSequence(oc)) {
      // "jpg", "tga" and "j2c" are extensions, not encoders; the file name still tells the codec.
      choice.id = av_guess_codec(oc.oformat, nullptr, oc.url, nullptr, AVMEDIA_TYPE_VIDEO);
    }
  }
  if (choice.id == AV_CODEC_ID_NONE) choice.id = defaultId;
  if (avcodec_find_encoder(choice.id) == nullptr) choice.id = AV_CODEC_ID_MPEG4;
  return choice;
}

const AVCodec* FindEncoder(const CodecChoice& choice, AVMediaType type) {
  const AVCodec* codec =
      choice.name.empty() ? nullptr : avcodec_find_encoder_by_name(choice.name.c_str());
  // A number that was asked for wins over the name.
  if (codec == nullptr || codec->id != choice.id) codec = avcodec_find_encoder(choice.id);
  return codec != nullptr && codec->type == type ? codec : nullptr;
}

std::string MissingEncoderWords(const std::string& name, AVMediaType type) {
  std::vector<std::string> names;
  void* state = nullptr;
  while (const AVCodec* codec = av_codec_iterate(&state)) {
    if (av_codec_is_encoder(codec) != 0 && codec->type == type) names.emplace_back(codec->name);
  }
  return "there is no encoder " + name + DidYouMean(name, names);
}

}  // namespace xv
