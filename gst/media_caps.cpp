#include "media_caps.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace xv::gst {
namespace {

struct LayoutRow {
  GstVideoFormat format;
  std::uint32_t layout;
};

// HDYC is UYVY with another matrix, which the colorimetry tells.
constexpr LayoutRow kLayouts[] = {
    {GST_VIDEO_FORMAT_UYVY, kFccUYVY},  {GST_VIDEO_FORMAT_v210, kFccV210},
    {GST_VIDEO_FORMAT_YUY2, kFccYUY2},  {GST_VIDEO_FORMAT_YVYU, kFccYVYU},
    {GST_VIDEO_FORMAT_NV12, kFccNV12},  {GST_VIDEO_FORMAT_I420, kFccI420},
    {GST_VIDEO_FORMAT_YV12, kFccYV12},  {GST_VIDEO_FORMAT_BGRA, kFccARGB32},
    {GST_VIDEO_FORMAT_BGRx, kFccRGB32}, {GST_VIDEO_FORMAT_BGR, kFccRGB24},
    {GST_VIDEO_FORMAT_r210, kFccR210},
};

struct SampleRow {
  GstAudioFormat format;
  int bits;
  int bytes;
};

constexpr SampleRow kSamples[] = {
    {GST_AUDIO_FORMAT_S16LE, 16, 2},
    {GST_AUDIO_FORMAT_S24LE, 24, 3},
    {GST_AUDIO_FORMAT_S32LE, 32, 4},
    {GST_AUDIO_FORMAT_F32LE, -32, 4},
};

constexpr int kLowestRate = 801;  // Hz
constexpr int kLargestSide = 65536;

// FFmpeg's words for the numbers of ISO/IEC 23091-2.
struct IsoName {
  guint number;
  const char* name;
};
constexpr IsoName kPrimaries[] = {{1, "bt709"},     {4, "bt470m"},    {5, "bt470bg"},
                                  {6, "smpte170m"}, {7, "smpte240m"}, {8, "film"},
                                  {9, "bt2020"},    {11, "smpte431"}, {12, "smpte432"}};
constexpr IsoName kTransfers[] = {{1, "bt709"},         {4, "gamma22"},      {5, "gamma28"},
                                  {6, "smpte170m"},     {7, "smpte240m"},    {8, "linear"},
                                  {13, "iec61966-2-1"}, {14, "bt2020-10"},   {15, "bt2020-12"},
                                  {16, "smpte2084"},    {18, "arib-std-b67"}};
constexpr IsoName kMatrices[] = {
    {1, "bt709"}, {5, "bt470bg"}, {6, "smpte170m"}, {7, "smpte240m"}, {9, "bt2020nc"}};

template <std::size_t n>
std::string Attribute(const char* name, const IsoName (&table)[n], guint number) {
  const auto row = std::find_if(std::begin(table), std::end(table),
                                [&](const IsoName& r) { return r.number == number; });
  return row == std::end(table) ? "" : std::string(" video::") + name + "=" + row->name;
}

GValue List() {
  GValue list = G_VALUE_INIT;
  g_value_init(&list, GST_TYPE_LIST);
  return list;
}

void AppendText(GValue* list, const char* text) {
  GValue value = G_VALUE_INIT;
  g_value_init(&value, G_TYPE_STRING);
  g_value_set_string(&value, text);
  gst_value_list_append_and_take_value(list, &value);
}

const LayoutRow* RowOf(GstVideoFormat format) {
  const auto row = std::find_if(std::begin(kLayouts), std::end(kLayouts),
                                [&](const LayoutRow& r) { return r.format == format; });
  return row == std::end(kLayouts) ? nullptr : row;
}

// Caps that say nothing of colour get a guess from GStreamer, which is not told to readers.
std::string ColourAttributes(const GstCaps* caps, const GstVideoInfo& info) {
  GstVideoColorimetry colour{};
  const gchar* told = gst_structure_get_string(gst_caps_get_structure(caps, 0), "colorimetry");
  if (told == nullptr || !gst_video_colorimetry_from_string(&colour, told)) return {};
  std::string text =
      Attribute("color_primaries", kPrimaries, gst_video_color_primaries_to_iso(colour.primaries)) +
      Attribute("color_trc", kTransfers, gst_video_transfer_function_to_iso(colour.transfer));
  if (GST_VIDEO_INFO_IS_RGB(&info)) return text;
  text += Attribute("colorspace", kMatrices, gst_video_color_matrix_to_iso(colour.matrix));
  const char* matrix = colour.matrix == GST_VIDEO_COLOR_MATRIX_BT709    ? "bt709"
                       : colour.matrix == GST_VIDEO_COLOR_MATRIX_BT2020 ? "bt2020"
                       : colour.matrix == GST_VIDEO_COLOR_MATRIX_BT601  ? "bt601"
                                                                        : nullptr;
  if (matrix != nullptr) text += std::string(" video::matrix=") + matrix;
  return text;
}

eXvInterlace OrderOfCaps(const GstVideoInfo& info) {
  if (GST_VIDEO_INFO_INTERLACE_MODE(&info) == GST_VIDEO_INTERLACE_MODE_PROGRESSIVE) {
    return eXvI_Progressive;
  }
  return GST_VIDEO_INFO_FIELD_ORDER(&info) == GST_VIDEO_FIELD_ORDER_BOTTOM_FIELD_FIRST
             ? eXvI_BottomFirst
             : eXvI_TopFirst;
}

// Of the whole picture, out of the shape of a pixel.
void SetAspect(const GstVideoInfo& info, XV_VID_PROPS* props) {
  std::int64_t x = std::int64_t{info.width} * info.par_n;
  std::int64_t y = std::int64_t{info.height} * info.par_d;
  const std::int64_t common = std::gcd(x, y);
  if (common == 0) return;
  x /= common;
  y /= common;
  for (; x > INT16_MAX || y > INT16_MAX; x /= 2, y /= 2) {
  }
  props->nAspectX = static_cast<std::int16_t>(std::max<std::int64_t>(x, 1));
  props->nAspectY = static_cast<std::int16_t>(std::max<std::int64_t>(y, 1));
}

bool IsSubsampledDown(const GstVideoInfo& info) {
  return GST_VIDEO_INFO_N_COMPONENTS(&info) > 1 && GST_VIDEO_FORMAT_INFO_H_SUB(info.finfo, 1) > 0;
}

XV_VID_PROPS PropsOf(const GstVideoInfo& info, std::uint32_t layout) {
  const bool rgb = GST_VIDEO_INFO_IS_RGB(&info);
  XV_VID_PROPS props{};
  props.fccColor = layout;
  if (layout == kFccUYVY && info.colorimetry.matrix == GST_VIDEO_COLOR_MATRIX_BT709) {
    props.fccColor = kFccHDYC;
  }
  props.nWidth = rgb ? info.width : info.width & ~1;
  const int height = IsSubsampledDown(info) ? info.height & ~1 : info.height;
  props.nHeight = rgb ? -height : height;
  props.eInterlace = OrderOfCaps(info);
  SetAspect(info, &props);
  if (info.fps_n > 0 && info.fps_d > 0) {
    props.dblRate = static_cast<double>(info.fps_n) / info.fps_d;
  }
  return props;
}

}  // namespace

GstCaps* PictureTemplateCaps() {
  GValue formats = List();
  for (const LayoutRow& row : kLayouts) {
    AppendText(&formats, gst_video_format_to_string(row.format));
  }
  GstCaps* caps = gst_caps_new_simple("video/x-raw", "width", GST_TYPE_INT_RANGE, 2, kLargestSide,
                                      "height", GST_TYPE_INT_RANGE, 2, kLargestSide, "framerate",
                                      GST_TYPE_FRACTION_RANGE, 0, 1, G_MAXINT, 1, nullptr);
  gst_caps_set_value(caps, "format", &formats);
  g_value_unset(&formats);
  GValue modes = List();
  for (const char* mode : {"progressive", "interleaved", "mixed"}) AppendText(&modes, mode);
  gst_caps_set_value(caps, "interlace-mode", &modes);
  g_value_unset(&modes);
  return caps;
}

GstCaps* SoundTemplateCaps() {
  GValue formats = List();
  for (const SampleRow& row : kSamples)
    AppendText(&formats, gst_audio_format_to_string(row.format));
  GstCaps* caps = gst_caps_new_simple("audio/x-raw", "rate", GST_TYPE_INT_RANGE, kLowestRate,
                                      G_MAXINT, "channels", GST_TYPE_INT_RANGE, 1, kMostChannels,
                                      "layout", G_TYPE_STRING, "interleaved", nullptr);
  gst_caps_set_value(caps, "format", &formats);
  g_value_unset(&formats);
  return caps;
}

std::int64_t PictureFormat::FrameDuration() const {
  if (info.fps_n <= 0 || info.fps_d <= 0) return 0;
  return static_cast<std::int64_t>(gst_util_uint64_scale(
      GST_SECOND, static_cast<guint64>(info.fps_d), static_cast<guint64>(info.fps_n)));
}

bool ReadPictureCaps(const GstCaps* caps, PictureFormat* format, std::string* why) {
  *format = {};
  const LayoutRow* row = nullptr;
  if (gst_video_info_from_caps(&format->info, caps)) {
    row = RowOf(GST_VIDEO_INFO_FORMAT(&format->info));
  }
  if (row == nullptr) {
    *why = "The writer takes no pictures of this kind.";
    return false;
  }
  const GstVideoInfo& info = format->info;
  const GstVideoInterlaceMode mode = GST_VIDEO_INFO_INTERLACE_MODE(&info);
  if (mode == GST_VIDEO_INTERLACE_MODE_FIELDS || mode == GST_VIDEO_INTERLACE_MODE_ALTERNATE) {
    *why = "Fields must be woven into pictures.";
    return false;
  }
  format->fullRange =
      !GST_VIDEO_INFO_IS_RGB(&info) && info.colorimetry.range == GST_VIDEO_COLOR_RANGE_0_255;
  format->props = PropsOf(info, row->layout);
  format->swapsWords = row->layout == kFccR210;
  format->colourAttributes = ColourAttributes(caps, info);
  return true;
}

bool ReadSoundCaps(const GstCaps* caps, SoundFormat* format, std::string* why) {
  GstAudioInfo info;
  if (gst_audio_info_from_caps(&info, caps)) {
    for (const SampleRow& row : kSamples) {
      const bool same = row.format == GST_AUDIO_INFO_FORMAT(&info) &&
                        GST_AUDIO_INFO_LAYOUT(&info) == GST_AUDIO_LAYOUT_INTERLEAVED;
      if (!same) continue;
      *format = {GST_AUDIO_INFO_RATE(&info), GST_AUDIO_INFO_CHANNELS(&info), row.bits, row.bytes};
      return true;
    }
  }
  *why = "The writer takes no sound of this kind.";
  return false;
}

GstCaps* RestrictSound(GstCaps* caps, const SoundFormat& common, int most) {
  caps = gst_caps_make_writable(caps);
  if (common.channels == 0 && most > 1) {
    gst_caps_set_simple(caps, "channels", GST_TYPE_INT_RANGE, 1, most, nullptr);
  } else {
    gst_caps_set_simple(caps, "channels", G_TYPE_INT, std::max(common.channels, 1), nullptr);
  }
  for (const SampleRow& row : kSamples) {
    if (common.rate == 0 || row.bits != common.bits) continue;
    gst_caps_set_simple(caps, "rate", G_TYPE_INT, common.rate, "format", G_TYPE_STRING,
                        gst_audio_format_to_string(row.format), nullptr);
  }
  return caps;
}

eXvInterlace FieldOrderOf(const GstVideoInfo& info, GstBuffer* buffer) {
  const bool mixed = GST_VIDEO_INFO_INTERLACE_MODE(&info) == GST_VIDEO_INTERLACE_MODE_MIXED;
  if (mixed && !GST_BUFFER_FLAG_IS_SET(buffer, GST_VIDEO_BUFFER_FLAG_INTERLACED)) {
    return eXvI_Progressive;
  }
  const bool told = GST_VIDEO_INFO_FIELD_ORDER(&info) != GST_VIDEO_FIELD_ORDER_UNKNOWN;
  if (!GST_VIDEO_INFO_IS_INTERLACED(&info) || told) return OrderOfCaps(info);
  return GST_BUFFER_FLAG_IS_SET(buffer, GST_VIDEO_BUFFER_FLAG_TFF) ? eXvI_TopFirst
                                                                   : eXvI_BottomFirst;
}

}  // namespace xv::gst
