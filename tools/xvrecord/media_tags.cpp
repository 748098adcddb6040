#include "xvrecord/media_tags.h"

#include <algorithm>
#include <string_view>

#include "xvrecord/layout.h"
#include "xvwriter/host.hpp"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace xvrecord {
namespace {

// Of the file and its writer, not of what is in it.
constexpr std::string_view kLeftBehind[] = {"application_platform",
                                            "company_name",
                                            "compatible_brands",
                                            "creation_time",
                                            "duration",
                                            "encoder",
                                            "file_package_umid",
                                            "generation_uid",
                                            "major_brand",
                                            "minor_version",
                                            "material_package_umid",
                                            "modification_date",
                                            "operational_pattern_ul",
                                            "product_name",
                                            "product_uid",
                                            "product_version",
                                            "product_version_num",
                                            "timecode",
                                            "toolkit_version",
                                            "toolkit_version_num",
                                            "uid"};
constexpr const char* kOfStreams[] = {"language", "title"};

// Nothing for what attribute text cannot hold.
std::string Pair(const std::string& name, const std::string& value) {
  const auto text = xv::host::Attribute(name, value);
  return text ? " " + *text : "";
}

std::string OfStream(const AVStream& stream, const std::string& node) {
  std::string text;
  for (const char* key : kOfStreams) {
    const AVDictionaryEntry* entry = av_dict_get(stream.metadata, key, nullptr, 0);
    if (entry != nullptr) text += Pair(node + "::metadata::" + key, entry->value);
  }
  return text;
}

// Later tracks have what the first one has unless they say otherwise.
std::string OfTrack(const AVStream& stream, const AVStream& first, std::size_t track) {
  const std::string node = "audio." + std::to_string(track);
  std::string text = OfStream(stream, node);
  for (const char* key : kOfStreams) {
    const bool inherits = av_dict_get(first.metadata, key, nullptr, 0) != nullptr &&
                          av_dict_get(stream.metadata, key, nullptr, 0) == nullptr;
    const bool isLanguage = std::string_view(key) == "language";
    if (inherits) text += Pair(node + "::metadata::" + key, isLanguage ? "und" : "-");
  }
  return text;
}

std::string Option(const char* key, const char* name, bool specified) {
  return specified && name != nullptr ? std::string(" video::") + key + "=" + name : "";
}

}  // namespace

std::string MetadataAttributes(const AVFormatContext& input, const AVStream* video,
                               const std::vector<const AVStream*>& audio) {
  std::string text;
  for (const AVDictionaryEntry* entry = nullptr;
       (entry = av_dict_get(input.metadata, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr;) {
    const bool stays = std::count(std::begin(kLeftBehind), std::end(kLeftBehind), entry->key) > 0;
    if (!stays) text += Pair(std::string("metadata::") + entry->key, entry->value);
  }
  if (video != nullptr) text += OfStream(*video, "video");
  for (std::size_t i = 0; i < audio.size(); ++i) {
    text += i == 0 ? OfStream(*audio[0], "audio") : OfTrack(*audio[i], *audio[0], i);
  }
  return text;
}

std::string MatrixAttribute(const AVCodecContext& decoder, std::uint32_t layout) {
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(PixelFormatOf(layout));
  const bool rgb = desc != nullptr && (desc->flags & AV_PIX_FMT_FLAG_RGB) != 0;
  if (rgb || !IsKnownMatrix(decoder.colorspace)) return {};
  const AVColorSpace matrix = MatrixOf(layout, decoder.height, decoder.colorspace);
  return std::string(" video::matrix=") + (matrix == AVCOL_SPC_BT709        ? "bt709"
                                           : matrix == AVCOL_SPC_BT2020_NCL ? "bt2020"
                                                                            : "bt601");
}

std::string ColourAttributes(const AVCodecContext& decoder, std::uint32_t layout) {
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(PixelFormatOf(layout));
  const bool rgb = desc != nullptr && (desc->flags & AV_PIX_FMT_FLAG_RGB) != 0;
  const bool told =
      !rgb && decoder.colorspace != AVCOL_SPC_UNSPECIFIED && decoder.colorspace != AVCOL_SPC_RGB;
  const bool converts = IsConverted(layout, decoder.pix_fmt, decoder.color_range);
  const AVColorSpace matrix =
      converts ? MatrixOf(layout, decoder.height, decoder.colorspace) : decoder.colorspace;
  return Option("color_primaries", av_color_primaries_name(decoder.color_primaries),
                decoder.color_primaries != AVCOL_PRI_UNSPECIFIED) +
         Option("color_trc", av_color_transfer_name(decoder.color_trc),
                decoder.color_trc != AVCOL_TRC_UNSPECIFIED) +
         Option("colorspace", av_color_space_name(matrix), told) +
         Option("color_range", "tv", !rgb && decoder.color_range != AVCOL_RANGE_UNSPECIFIED);
}

}  // namespace xvrecord
