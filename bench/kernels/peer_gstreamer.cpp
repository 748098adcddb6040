#include "peers.h"

#ifdef XV_BENCH_GSTREAMER
#include <gst/video/video.h>

#include <memory>

namespace xv::bench {
namespace {

GstVideoFormat FormatOf(std::uint32_t tag) {
  switch (tag) {
    case kFccUYVY:
    case kFccHDYC:
      return GST_VIDEO_FORMAT_UYVY;
    case kFccYUY2:
      return GST_VIDEO_FORMAT_YUY2;
    case kFccI420:
      return GST_VIDEO_FORMAT_I420;
    case kFccNV12:
      return GST_VIDEO_FORMAT_NV12;
    case kFccARGB32:
      return GST_VIDEO_FORMAT_BGRA;
    case kFccV210:
      return GST_VIDEO_FORMAT_v210;
    default:
      return GST_VIDEO_FORMAT_UNKNOWN;
  }
}

GstVideoInfo InfoOf(const Picture& picture, bool bt709) {
  GstVideoInfo info;
  gst_video_info_init(&info);
  gst_video_info_set_format(&info, FormatOf(picture.Tag()), static_cast<guint>(picture.Width()),
                            static_cast<guint>(picture.Height()));
  if (picture.Tag() == kFccARGB32) {
    gst_video_colorimetry_from_string(&info.colorimetry, "sRGB");
  } else {
    gst_video_colorimetry_from_string(&info.colorimetry, bt709 ? "bt709" : "bt601");
  }
  const ImageView view = picture.View();
  for (std::size_t i = 0; i < 3; ++i) {
    if (view.data[i] == nullptr) continue;
    info.stride[i] = static_cast<gint>(view.step[i]);
    info.offset[i] = static_cast<gsize>(view.data[i] - view.data[0]);
  }
  info.size = picture.bytes;
  return info;
}

class Mapped {
 public:
  Mapped(const Picture& picture, bool bt709) : info_(InfoOf(picture, bt709)) {
    buffer_ = gst_buffer_new_wrapped_full(static_cast<GstMemoryFlags>(0), picture.data,
                                          picture.bytes, 0, picture.bytes, nullptr, nullptr);
    gst_video_frame_map(&frame_, &info_, buffer_, static_cast<GstMapFlags>(GST_MAP_READWRITE));
  }
  Mapped(const Mapped&) = delete;
  Mapped& operator=(const Mapped&) = delete;
  ~Mapped() {
    gst_video_frame_unmap(&frame_);
    gst_buffer_unref(buffer_);
  }
  GstVideoInfo* info() { return &info_; }
  GstVideoFrame* frame() { return &frame_; }

 private:
  GstVideoInfo info_;
  GstVideoFrame frame_{};
  GstBuffer* buffer_ = nullptr;
};

}  // namespace

Body GstBody(const Work& work) {
  static const bool ready = gst_init_check(nullptr, nullptr, nullptr) != 0;
  if (!ready || FormatOf(work.source.Tag()) == GST_VIDEO_FORMAT_UNKNOWN ||
      FormatOf(work.target.Tag()) == GST_VIDEO_FORMAT_UNKNOWN) {
    return nullptr;
  }
  const bool bt709 = work.source.Tag() == kFccHDYC || work.target.Tag() == kFccHDYC;
  const auto from = std::make_shared<Mapped>(work.source, bt709);
  const auto to = std::make_shared<Mapped>(work.target, bt709);
  const std::shared_ptr<GstVideoConverter> converter(
      gst_video_converter_new(
          from->info(), to->info(),
          gst_structure_new("options", GST_VIDEO_CONVERTER_OPT_THREADS, G_TYPE_UINT, 1,
                            GST_VIDEO_CONVERTER_OPT_DITHER_METHOD, GST_TYPE_VIDEO_DITHER_METHOD,
                            GST_VIDEO_DITHER_NONE, nullptr)),
      gst_video_converter_free);
  if (!converter) return nullptr;
  return [=] { gst_video_converter_frame(converter.get(), from->frame(), to->frame()); };
}

}  // namespace xv::bench
#else
namespace xv::bench {
Body GstBody(const Work&) { return nullptr; }
}  // namespace xv::bench
#endif
