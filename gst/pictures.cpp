#include "pictures.h"

#include <array>
#include <cmath>
#include <cstring>

#include "frame_items.h"
#include "xvwriter/frames.h"

namespace xv::gst {
namespace {

// A mapped picture; unmapped with the last reference, on any thread.
struct MappedPicture {
  MappedPicture(const GstVideoInfo& info, GstBuffer* buffer) {
    mapped = gst_video_frame_map(&frame, const_cast<GstVideoInfo*>(&info), buffer, GST_MAP_READ);
  }
  ~MappedPicture() {
    if (mapped) gst_video_frame_unmap(&frame);
  }
  MappedPicture(const MappedPicture&) = delete;
  MappedPicture& operator=(const MappedPicture&) = delete;

  const std::uint8_t* Plane(std::size_t i) const {
    return static_cast<const std::uint8_t*>(frame.data[i]);
  }
  std::size_t Stride(std::size_t i) const { return static_cast<std::size_t>(frame.info.stride[i]); }
  // Whether that many bytes from the start of a plane on are the buffer's.
  bool Holds(std::size_t i, std::size_t bytes) const {
    const GstMapInfo& map = frame.map[frame.meta != nullptr ? i : 0];
    return static_cast<std::size_t>(Plane(i) - map.data) + bytes <= map.size;
  }

  GstVideoFrame frame{};
  bool mapped = false;
};

// One plane of a layout in a block of memory, as xvwriter/media.h lays it out.
struct Plane {
  std::size_t offset = 0;
  std::size_t stride = 0;
  std::size_t rowBytes = 0;  // of them with pixels
  std::size_t rows = 0;
};

struct Block {
  std::array<Plane, 3> planes{};
  std::size_t count = 1;
  std::size_t bytes = 0;
};

// Bytes with pixels in a row of the first plane.
std::size_t RowBytesOf(std::uint32_t layout, std::size_t width) {
  switch (layout) {
    case kFccNV12:
    case kFccI420:
    case kFccYV12:
      return width;
    case kFccV210:
      return (width + 5) / 6 * 16;
    case kFccRGB24:
      return width * 3;
    case kFccRGB32:
    case kFccARGB32:
    case kFccR210:
      return width * 4;
    default:
      return width * 2;
  }
}

// The layout with rows of `stride` bytes in the first plane.
Block LayOut(const PictureFormat& format, std::size_t stride) {
  const auto width = static_cast<std::size_t>(format.props.nWidth);
  const auto height = static_cast<std::size_t>(std::abs(format.props.nHeight));
  const std::size_t pixels = RowBytesOf(format.props.fccColor, width);
  Block block;
  block.planes[0] = {0, stride, pixels, height};
  block.bytes = stride * height;
  if (format.props.fccColor == kFccNV12) {
    block.count = 2;
    block.planes[1] = {block.bytes, stride, pixels, height / 2};
    block.bytes += stride * height / 2;
  } else if (format.props.fccColor == kFccI420 || format.props.fccColor == kFccYV12) {
    block.count = 3;
    for (std::size_t i = 1; i < 3; ++i) {
      block.planes[i] = {block.bytes, stride / 2, pixels / 2, height / 2};
      block.bytes += stride * height / 4;
    }
  }
  return block;
}

// Whether the planes of the buffer stand where the writer looks for them. A pixel format with an
// odd size may leave a row or column out and fail here, never read beyond.
bool LiesAsWanted(const MappedPicture& picture, const Block& block) {
  if (block.count > 1 && block.planes[0].stride % 2 != 0) return false;
  for (std::size_t i = 0; i < block.count; ++i) {
    const Plane& plane = block.planes[i];
    const bool there = picture.Plane(i) == picture.Plane(0) + plane.offset &&
                       picture.Stride(i) == plane.stride && plane.rowBytes <= plane.stride &&
                       picture.Holds(i, plane.stride * plane.rows);
    if (!there) return false;
  }
  return true;
}

template <std::size_t codes>
using CodeTable = std::array<std::uint16_t, codes>;

// From all codes to video range, after ITU-R BT.601 2.5 and BT.709 4: `zero`, `from` and `steps`
// are those of 8 bits.
template <std::size_t codes>
CodeTable<codes> RangeTable(double zero, double from, double steps) {
  constexpr double kScale = codes / 256.0;
  CodeTable<codes> table{};
  for (std::size_t i = 0; i < codes; ++i) {
    const double code = static_cast<double>(i) - from * kScale;
    table[i] = static_cast<std::uint16_t>(
        std::lround(zero * kScale + code * steps * kScale / (codes - 1)));
  }
  return table;
}

// Where luma stands: bytes of a plane of luma alone, or of packed 4:2:2.
struct LumaPlace {
  bool all = false;
  std::size_t parity = 0;  // of packed rows
};

LumaPlace LumaOf(std::uint32_t layout, std::size_t plane) {
  switch (layout) {
    case kFccNV12:
    case kFccI420:
    case kFccYV12:
      return {plane == 0, 2};  // no byte of a chroma plane is luma
    case kFccUYVY:
    case kFccHDYC:
      return {false, 1};
    default:
      return {false, 0};
  }
}

void NarrowRow(const LumaPlace& luma, std::uint8_t* row, std::size_t bytes) {
  static const auto lumaTable = RangeTable<256>(16, 0, 219);
  static const auto chromaTable = RangeTable<256>(128, 128, 224);
  for (std::size_t i = 0; i < bytes; ++i) {
    const bool isLuma = luma.all || i % 2 == luma.parity;
    row[i] = static_cast<std::uint8_t>((isLuma ? lumaTable : chromaTable)[row[i]]);
  }
}

// v210: three samples of 10 bits in each little-endian word, chroma and luma in turn.
void NarrowV210Row(std::uint8_t* row, std::size_t bytes) {
  static const auto lumaTable = RangeTable<1024>(16, 0, 219);
  static const auto chromaTable = RangeTable<1024>(128, 128, 224);
  bool isLuma = false;
  for (std::size_t at = 0; at + 4 <= bytes; at += 4) {
    const guint32 word = GST_READ_UINT32_LE(row + at);
    guint32 narrow = 0;
    for (int shift = 0; shift < 30; shift += 10, isLuma = !isLuma) {
      const guint32 code = word >> shift & 0x3FF;
      narrow |= static_cast<guint32>((isLuma ? lumaTable : chromaTable)[code]) << shift;
    }
    GST_WRITE_UINT32_LE(row + at, narrow);
  }
}

// Big-endian words with red in bits 29 to 20 become little-endian ones with red in bits 31 to 22.
void TurnWords(std::uint8_t* row, std::size_t bytes) {
  for (std::size_t i = 0; i + 4 <= bytes; i += 4) {
    GST_WRITE_UINT32_LE(row + i, GST_READ_UINT32_BE(row + i) << 2);
  }
}

void CopyPlane(const PictureFormat& format, const MappedPicture& from, std::size_t index,
               const Plane& plane, std::uint8_t* block) {
  const LumaPlace luma = LumaOf(format.props.fccColor, index);
  for (std::size_t y = 0; y < plane.rows; ++y) {
    std::uint8_t* row = block + plane.offset + y * plane.stride;
    std::memcpy(row, from.Plane(index) + y * from.Stride(index), plane.rowBytes);
    if (format.fullRange && format.props.fccColor == kFccV210) {
      NarrowV210Row(row, plane.rowBytes);
    } else if (format.fullRange) {
      NarrowRow(luma, row, plane.rowBytes);
    }
    if (format.swapsWords) TurnWords(row, plane.rowBytes);
  }
}

void Copy(const PictureFormat& format, const MappedPicture& from, Picture* picture) {
  const std::int32_t stride = XvRowBytesGet(format.props.fccColor, format.props.nWidth);
  const Block block = LayOut(format, static_cast<std::size_t>(stride));
  const auto copy = std::make_shared<std::vector<std::uint8_t>>(block.bytes);
  for (std::size_t i = 0; i < block.count; ++i) {
    CopyPlane(format, from, i, block.planes[i], copy->data());
  }
  picture->data = copy->data();
  picture->bytes = block.bytes;
  picture->rowBytes = block.planes[0].stride;
  picture->keep = copy;
}

}  // namespace

std::optional<Picture> PictureOf(const PictureFormat& format, GstBuffer* buffer) {
  const auto mapped = std::make_shared<MappedPicture>(format.info, buffer);
  if (!mapped->mapped || mapped->frame.info.stride[0] <= 0) return std::nullopt;
  Picture picture;
  picture.props = format.props;
  picture.props.eInterlace = FieldOrderOf(format.info, buffer);
  const Block block = LayOut(format, mapped->Stride(0));
  picture.lent = !format.fullRange && !format.swapsWords && LiesAsWanted(*mapped, block);
  if (picture.lent) {
    picture.data = mapped->Plane(0);
    picture.bytes = block.bytes;
    picture.rowBytes = mapped->Stride(0);
    picture.keep = mapped;
  } else {
    Copy(format, *mapped, &picture);
  }
  picture.captions = CaptionsOf(buffer);
  picture.timecode = TimecodeOf(buffer);
  return picture;
}

}  // namespace xv::gst
