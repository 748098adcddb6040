#include "growing/stream_text.h"

#include <fmt/format.h>

#include <charconv>
#include <cstring>
#include <memory>
#include <type_traits>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/pixdesc.h>
}

namespace xv {
namespace {

// Calls `visit` with the name and a reference of each number.
template <class Stream, class Visit>
void VisitNumbers(Stream& stream, Visit visit) {
  AVCodecParameters& codec = *stream.codecpar;
  visit("time_base_num", stream.time_base.num);
  visit("time_base_den", stream.time_base.den);
  visit("rate_num", stream.avg_frame_rate.num);
  visit("rate_den", stream.avg_frame_rate.den);
  visit("disposition", stream.disposition);
  visit("tag", codec.codec_tag);
  visit("bit_rate", codec.bit_rate);
  visit("coded_bits", codec.bits_per_coded_sample);
  visit("raw_bits", codec.bits_per_raw_sample);
  visit("profile", codec.profile);
  visit("level", codec.level);
  visit("width", codec.width);
  visit("height", codec.height);
  visit("aspect_num", codec.sample_aspect_ratio.num);
  visit("aspect_den", codec.sample_aspect_ratio.den);
  visit("field_order", codec.field_order);
  visit("range", codec.color_range);
  visit("primaries", codec.color_primaries);
  visit("transfer", codec.color_trc);
  visit("matrix", codec.color_space);
  visit("chroma", codec.chroma_location);
  visit("video_delay", codec.video_delay);
  visit("sample_rate", codec.sample_rate);
  visit("block_align", codec.block_align);
  visit("frame_size", codec.frame_size);
  visit("initial_padding", codec.initial_padding);
  visit("trailing_padding", codec.trailing_padding);
  visit("seek_preroll", codec.seek_preroll);
}

bool TakeNumber(AVStream& stream, std::string_view name, std::string_view value) {
  std::int64_t number = 0;
  const char* const end = value.data() + value.size();
  const auto read = std::from_chars(value.data(), end, number);
  if (read.ec != std::errc() || read.ptr != end) return false;
  bool taken = false;
  VisitNumbers(stream, [&](std::string_view field, auto& place) {
    if (field != name) return;
    place = static_cast<std::remove_reference_t<decltype(place)>>(number);
    taken = static_cast<std::int64_t>(place) == number;
  });
  return taken;
}

std::string LayoutName(const AVChannelLayout& layout) {
  char name[256];
  return av_channel_layout_describe(&layout, name, sizeof(name)) > 0 ? name : "";
}

bool TakeExtradata(AVCodecParameters& codec, std::string_view value) {
  std::string bytes;
  if (!TakeHex(value, &bytes) || codec.extradata != nullptr) return false;
  codec.extradata =
      static_cast<std::uint8_t*>(av_mallocz(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  if (codec.extradata == nullptr) return false;
  std::memcpy(codec.extradata, bytes.data(), bytes.size());
  codec.extradata_size = static_cast<int>(bytes.size());
  return true;
}

bool TakeCodec(AVCodecParameters& codec, const std::string& name) {
  const AVCodecDescriptor* descriptor = avcodec_descriptor_get_by_name(name.c_str());
  if (descriptor == nullptr) return false;
  codec.codec_id = descriptor->id;
  codec.codec_type = descriptor->type;
  return true;
}

}  // namespace

std::string StreamText(const AVStream& stream) {
  const AVCodecParameters& codec = *stream.codecpar;
  std::string text = fmt::format("codec {}\n", avcodec_get_name(codec.codec_id));
  const char* format = codec.codec_type == AVMEDIA_TYPE_VIDEO
                           ? av_get_pix_fmt_name(static_cast<AVPixelFormat>(codec.format))
                           : av_get_sample_fmt_name(static_cast<AVSampleFormat>(codec.format));
  if (format != nullptr) text += fmt::format("format {}\n", format);
  const std::string layout = LayoutName(codec.ch_layout);
  if (codec.codec_type == AVMEDIA_TYPE_AUDIO && !layout.empty())
    text += fmt::format("channels {}\n", layout);
  if (codec.extradata_size > 0) {
    const std::string_view bytes(reinterpret_cast<const char*>(codec.extradata),
                                 static_cast<std::size_t>(codec.extradata_size));
    text += fmt::format("extradata {}\n", HexText(bytes));
  }
  if (stream.metadata != nullptr)
    text += fmt::format("metadata {}\n", MetadataText(stream.metadata));
  VisitNumbers(stream, [&](std::string_view name, const auto& number) {
    if (number != 0) text += fmt::format("{} {}\n", name, static_cast<std::int64_t>(number));
  });
  return text;
}

bool TakeStreamLine(AVStream& stream, std::string_view name, std::string_view value) {
  AVCodecParameters& codec = *stream.codecpar;
  const std::string text(value);
  if (name == "codec") return TakeCodec(codec, text);
  if (name == "format") {
    codec.format = codec.codec_type == AVMEDIA_TYPE_VIDEO
                       ? static_cast<int>(av_get_pix_fmt(text.c_str()))
                       : static_cast<int>(av_get_sample_fmt(text.c_str()));
    return codec.format >= 0;
  }
  if (name == "channels") return av_channel_layout_from_string(&codec.ch_layout, text.c_str()) >= 0;
  if (name == "extradata") return TakeExtradata(codec, value);
  if (name == "metadata") return TakeMetadata(&stream.metadata, value);
  return TakeNumber(stream, name, value);
}

std::string MetadataText(const AVDictionary* metadata) {
  char* text = nullptr;
  if (av_dict_get_string(metadata, &text, '=', ':') < 0 || text == nullptr) return {};
  const std::unique_ptr<char, decltype(&av_free)> owner(text, &av_free);
  return HexText(text);
}

bool TakeMetadata(AVDictionary** metadata, std::string_view value) {
  std::string text;
  return TakeHex(value, &text) && av_dict_parse_string(metadata, text.c_str(), "=", ":", 0) >= 0;
}

std::string HexText(std::string_view bytes) {
  std::string text;
  for (const char one : bytes) text += fmt::format("{:02x}", static_cast<unsigned char>(one));
  return text;
}

bool TakeHex(std::string_view text, std::string* bytes) {
  if (text.size() % 2 != 0) return false;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    unsigned one = 0;
    const char* const end = text.data() + i + 2;
    if (std::from_chars(text.data() + i, end, one, 16).ptr != end) return false;
    bytes->push_back(static_cast<char>(one));
  }
  return true;
}

}  // namespace xv
