#include "frame_items.h"

#include <span>

#include "xvwriter/captions.hpp"

namespace xv::gst {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kField1 = 0xFC;  // marker, valid, type 0
constexpr std::uint8_t kField2 = 0xFD;

void AppendPair(std::uint8_t head, const std::uint8_t* pair, Bytes* out) {
  out->push_back(head);
  out->insert(out->end(), pair, pair + 2);
}

// SMPTE ST 334-1, Annex A: bit 7 of the first byte is set for field 1.
void AppendS334(std::span<const std::uint8_t> data, Bytes* out) {
  constexpr std::uint8_t kIsField1 = 0x80;
  for (; data.size() >= 3; data = data.subspan(3)) {
    AppendPair((data[0] & kIsField1) != 0 ? kField1 : kField2, data.data() + 1, out);
  }
}

void AppendCaptions(const GstVideoCaptionMeta& meta, Bytes* out) {
  std::span<const std::uint8_t> data(meta.data, meta.size);
  switch (meta.caption_type) {
    case GST_VIDEO_CAPTION_TYPE_CEA608_RAW:
      for (; data.size() >= 2; data = data.subspan(2)) AppendPair(kField1, data.data(), out);
      break;
    case GST_VIDEO_CAPTION_TYPE_CEA608_S334_1A:
      AppendS334(data, out);
      break;
    case GST_VIDEO_CAPTION_TYPE_CEA708_RAW:
      out->insert(out->end(), data.begin(), data.end() - static_cast<int>(data.size() % 3));
      break;
    case GST_VIDEO_CAPTION_TYPE_CEA708_CDP:
      data = host::CcDataOf(data);
      out->insert(out->end(), data.begin(), data.end());
      break;
    default:
      break;
  }
}

}  // namespace

std::optional<Bytes> CaptionsOf(GstBuffer* buffer) {
  std::optional<Bytes> captions;
  gpointer state = nullptr;
  while (GstMeta* meta =
             gst_buffer_iterate_meta_filtered(buffer, &state, GST_VIDEO_CAPTION_META_API_TYPE)) {
    if (!captions) captions.emplace();
    AppendCaptions(*reinterpret_cast<const GstVideoCaptionMeta*>(meta), &*captions);
  }
  return captions;
}

std::optional<Timecode> TimecodeOf(GstBuffer* buffer) {
  const GstVideoTimeCodeMeta* meta = gst_buffer_get_video_time_code_meta(buffer);
  if (meta == nullptr || !gst_video_time_code_is_valid(&meta->tc)) return std::nullopt;
  const GstVideoTimeCode& code = meta->tc;
  const bool drop = (code.config.flags & GST_VIDEO_TIME_CODE_FLAGS_DROP_FRAME) != 0;
  return Timecode{code.hours, code.minutes, code.seconds, code.frames, drop};
}

}  // namespace xv::gst
