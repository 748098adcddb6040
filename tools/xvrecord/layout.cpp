#include "xvrecord/layout.h"

#include <cctype>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace xvrecord {
namespace {

struct NamedLayout {
  const char* name;
  std::uint32_t layout;
  AVPixelFormat format;
};

constexpr int kSdLines = 625;  // taller pictures without a tag are BT.709

constexpr NamedLayout kLayouts[] = {
    {"UYVY", xv::kFccUYVY, AV_PIX_FMT_UYVY422}, {"HDYC", xv::kFccHDYC, AV_PIX_FMT_UYVY422},
    {"YUY2", xv::kFccYUY2, AV_PIX_FMT_YUYV422}, {"YVYU", xv::kFccYVYU, AV_PIX_FMT_YVYU422},
    {"NV12", xv::kFccNV12, AV_PIX_FMT_NV12},    {"I420", xv::kFccI420, AV_PIX_FMT_YUV420P},
    {"YV12", xv::kFccYV12, AV_PIX_FMT_YUV420P}, {"RGB24", xv::kFccRGB24, AV_PIX_FMT_BGR24},
    {"RGB32", xv::kFccRGB32, AV_PIX_FMT_BGR0},  {"ARGB32", xv::kFccARGB32, AV_PIX_FMT_BGRA},
    {"v210", xv::kFccV210, AV_PIX_FMT_NONE},
};

bool SameText(const char* a, const std::string& b) {
  std::size_t i = 0;
  for (; a[i] != 0 && i < b.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return a[i] == 0 && i == b.size();
}

bool IsRgbLayout(std::uint32_t layout) {
  return layout == xv::kFccRGB24 || layout == xv::kFccRGB32 || layout == xv::kFccARGB32;
}

void PutWord(std::uint8_t* out, std::uint32_t a, std::uint32_t b, std::uint32_t c) {
  const std::uint32_t word = a | b << 10 | c << 20;
  for (int i = 0; i < 4; ++i) out[i] = static_cast<std::uint8_t>(word >> (8 * i));
}

// One row of 10-bit 4:2:2 planes as v210: six pixels in four little-endian words.
void PackV210Row(const std::uint16_t* y, const std::uint16_t* u, const std::uint16_t* v, int width,
                 std::uint8_t* out) {
  const auto luma = [&](int x) { return x < width ? y[x] : std::uint16_t{0}; };
  const auto blue = [&](int x) { return x < width / 2 ? u[x] : std::uint16_t{0}; };
  const auto red = [&](int x) { return x < width / 2 ? v[x] : std::uint16_t{0}; };
  for (int x = 0; x < width; x += 6, out += 16) {
    const int c = x / 2;
    PutWord(out, blue(c), luma(x), red(c));
    PutWord(out + 4, luma(x + 1), blue(c + 1), luma(x + 2));
    PutWord(out + 8, red(c + 1), luma(x + 3), blue(c + 2));
    PutWord(out + 12, luma(x + 4), red(c + 2), luma(x + 5));
  }
}

}  // namespace

std::uint32_t LayoutFromName(const std::string& name) {
  for (const NamedLayout& row : kLayouts) {
    if (SameText(row.name, name)) return row.layout;
  }
  return 0;
}

std::vector<std::string> LayoutNames() {
  std::vector<std::string> names;
  for (const NamedLayout& row : kLayouts) names.emplace_back(row.name);
  return names;
}

AVPixelFormat PixelFormatOf(std::uint32_t layout) {
  for (const NamedLayout& row : kLayouts) {
    if (row.layout == layout) return row.format;
  }
  return AV_PIX_FMT_NONE;
}

std::uint32_t NearestLayout(AVPixelFormat format, int height) {
  switch (format) {
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVJ420P:
      return xv::kFccI420;
    case AV_PIX_FMT_NV12:
      return xv::kFccNV12;
    case AV_PIX_FMT_YUYV422:
      return xv::kFccYUY2;
    default:
      break;
  }
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(format);
  if (desc != nullptr && (desc->flags & AV_PIX_FMT_FLAG_RGB) != 0) {
    return (desc->flags & AV_PIX_FMT_FLAG_ALPHA) != 0 ? xv::kFccARGB32 : xv::kFccRGB32;
  }
  if (desc != nullptr && desc->comp[0].depth > 8) return xv::kFccV210;
  return height > kSdLines ? xv::kFccHDYC : xv::kFccUYVY;
}

bool IsConverted(std::uint32_t layout, AVPixelFormat format, AVColorRange range) {
  const bool full = format == AV_PIX_FMT_YUVJ420P || range == AVCOL_RANGE_JPEG;
  return PixelFormatOf(layout) != format || full;
}

bool IsKnownMatrix(AVColorSpace matrix) {
  return matrix == AVCOL_SPC_BT709 || matrix == AVCOL_SPC_SMPTE170M ||
         matrix == AVCOL_SPC_BT470BG || matrix == AVCOL_SPC_BT2020_NCL;
}

AVColorSpace MatrixOf(std::uint32_t layout, int height, AVColorSpace source) {
  if (source == AVCOL_SPC_BT2020_NCL) return source;
  if (layout == xv::kFccHDYC) return AVCOL_SPC_BT709;
  if (IsKnownMatrix(source)) return source;
  return height > kSdLines ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
}

std::uint32_t LayoutPacker::LayoutFor(const AVFrame& picture) const {
  return layout_ != 0 ? layout_
                      : NearestLayout(static_cast<AVPixelFormat>(picture.format), picture.height);
}

void LayoutPacker::Describe(const AVFrame& picture, xv::XV_VID_PROPS* vid) const {
  vid->fccColor = LayoutFor(picture);
  vid->nWidth = picture.width & ~1;
  const int height = picture.height & ~1;
  vid->nHeight = IsRgbLayout(vid->fccColor) ? -height : height;
  vid->eInterlace = !picture.interlaced_frame ? xv::eXvI_Progressive
                    : picture.top_field_first ? xv::eXvI_TopFirst
                                              : xv::eXvI_BottomFirst;
  const AVRational sample =
      picture.sample_aspect_ratio.num > 0 ? picture.sample_aspect_ratio : AVRational{1, 1};
  AVRational aspect{};
  av_reduce(&aspect.num, &aspect.den, std::int64_t{vid->nWidth} * sample.num,
            std::int64_t{height} * sample.den, INT16_MAX);
  vid->nAspectX = static_cast<std::int16_t>(aspect.num);
  vid->nAspectY = static_cast<std::int16_t>(aspect.den);
}

AVFrame& LayoutPacker::Padded(AVPixelFormat format, int width, int height) {
  const bool fits =
      padded_ && padded_->format == format && padded_->width == width && padded_->height == height;
  if (fits) return *padded_;
  padded_.reset(av_frame_alloc());
  if (!padded_) throw std::bad_alloc();
  padded_->format = format;
  padded_->width = width;
  padded_->height = height;
  constexpr int kAlignment = 128;  // bytes of a row are a multiple of it
  if (av_frame_get_buffer(padded_.get(), kAlignment) < 0) throw std::bad_alloc();
  return *padded_;
}

void LayoutPacker::Convert(const AVFrame& picture, AVPixelFormat format, int width, int height,
                           std::uint8_t* const* planes, const int* strides, AVColorSpace matrix) {
  sws_ = sws_getCachedContext(sws_, width, height, static_cast<AVPixelFormat>(picture.format),
                              width, height, format, SWS_BICUBIC | SWS_ACCURATE_RND, nullptr,
                              nullptr, nullptr);
  if (sws_ == nullptr) throw InputError("The input's pixel format cannot be converted.");
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  const bool fullRange =
      picture.color_range == AVCOL_RANGE_JPEG || (desc->flags & AV_PIX_FMT_FLAG_RGB) != 0;
  const AVPixFmtDescriptor* target = av_pix_fmt_desc_get(format);
  const AVColorSpace from = MatrixOf(xv::kFccI420, height, picture.colorspace);
  // The numbers of these matrices are libswscale's too.
  sws_setColorspaceDetails(sws_, sws_getCoefficients(from), fullRange ? 1 : 0,
                           sws_getCoefficients(matrix),
                           (target->flags & AV_PIX_FMT_FLAG_RGB) != 0 ? 1 : 0, 0, 1 << 16, 1 << 16);
  // libswscale writes whole vectors, beyond the width where that is not a multiple of them.
  constexpr int kVectorPixels = 32;
  AVFrame* padded = width % kVectorPixels == 0 ? nullptr : &Padded(format, width, height);
  if (sws_scale(sws_, picture.data, picture.linesize, 0, height,
                padded != nullptr ? padded->data : planes,
                padded != nullptr ? padded->linesize : strides) < 0) {
    throw InputError("A picture of the input could not be converted.");
  }
  if (padded == nullptr) return;
  std::uint8_t* targets[4] = {planes[0], planes[1], planes[2], planes[3]};
  int targetStrides[4] = {strides[0], strides[1], strides[2], strides[3]};
  av_image_copy(targets, targetStrides, const_cast<const std::uint8_t**>(padded->data),
                padded->linesize, format, width, height);
}

Block LayoutPacker::PackV210(const AVFrame& picture, int width, int height) {
  const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  const auto stride = static_cast<std::size_t>(width);
  planes_.resize(pixels * 2);
  std::uint8_t* planes[4] = {reinterpret_cast<std::uint8_t*>(planes_.data()),
                             reinterpret_cast<std::uint8_t*>(planes_.data() + pixels),
                             reinterpret_cast<std::uint8_t*>(planes_.data() + pixels * 3 / 2),
                             nullptr};
  const int strides[4] = {width * 2, width, width, 0};
  Convert(picture, AV_PIX_FMT_YUV422P10LE, width, height, planes, strides,
          MatrixOf(xv::kFccV210, height, picture.colorspace));
  const std::size_t rowBytes = (stride + 47) / 48 * 128;
  const auto block = pool_.Get(rowBytes * static_cast<std::size_t>(height));
  for (std::size_t y = 0; y < static_cast<std::size_t>(height); ++y) {
    PackV210Row(planes_.data() + y * stride, planes_.data() + pixels + y * stride / 2,
                planes_.data() + pixels * 3 / 2 + y * stride / 2, width,
                block->data() + y * rowBytes);
  }
  return {block, block->data(), block->size()};
}

Block LayoutPacker::Lend(const AVFrame& picture, AVPixelFormat format, int width, int height,
                         std::size_t bytes) {
  std::uint8_t* planes[4] = {};
  int strides[4] = {};
  av_image_fill_arrays(planes, strides, picture.data[0], format, width, height, 1);
  for (int i = 0; i < 4; ++i) {
    if (planes[i] != nullptr && (picture.data[i] != planes[i] || picture.linesize[i] != strides[i]))
      return {};
  }
  std::shared_ptr<AVFrame> frame(av_frame_clone(&picture), [](AVFrame* f) { av_frame_free(&f); });
  if (!frame) return {};
  return {frame, frame->data[0], bytes};
}

Block LayoutPacker::Pack(const AVFrame& picture) {
  const std::uint32_t layout = LayoutFor(picture);
  const int width = picture.width & ~1;
  const int height = picture.height & ~1;
  if (layout == xv::kFccV210) return PackV210(picture, width, height);
  const AVPixelFormat format = PixelFormatOf(layout);
  // Host rows end on a multiple of four bytes; RGB24 is the only layout where that adds any.
  const int align = layout == xv::kFccRGB24 ? 4 : 1;
  const int bytes = av_image_get_buffer_size(format, width, height, align);
  if (bytes <= 0) throw InputError("The input's picture size cannot be laid out.");
  const bool converts =
      IsConverted(layout, static_cast<AVPixelFormat>(picture.format), picture.color_range);
  if (!converts && align == 1 && layout != xv::kFccYV12) {
    const Block lent = Lend(picture, format, width, height, static_cast<std::size_t>(bytes));
    if (lent.data != nullptr) return lent;
  }
  const auto block = pool_.Get(static_cast<std::size_t>(bytes));
  std::uint8_t* planes[4] = {};
  int strides[4] = {};
  av_image_fill_arrays(planes, strides, block->data(), format, width, height, align);
  if (layout == xv::kFccYV12) std::swap(planes[1], planes[2]);
  if (!converts) {
    av_image_copy(planes, strides, const_cast<const std::uint8_t**>(picture.data), picture.linesize,
                  format, width, height);
  } else {
    Convert(picture, format, width, height, planes, strides,
            MatrixOf(layout, height, picture.colorspace));
  }
  return {block, block->data(), block->size()};
}

}  // namespace xvrecord
