#include "picture/to_codec_format.h"

#include <gmock/gmock.h>

#include "picture/codec_picture.h"
#include "picture/picture_pool.h"
#include "picture/pictures.h"
#include "picture/v210_pictures.h"
#include "picture/v210_row.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace xv {
namespace {

using test::Picture;

AvPtr<AVFrame> Target(int format, int width, int height) {
  PicturePool pool;
  AvPtr<AVFrame> picture = pool.Get(format, width, height);
  for (int plane = 0; plane < 4 && picture->data[plane] != nullptr; ++plane) {
    const int lines = plane == 0 ? height : AV_CEIL_RSHIFT(height, 1);
    for (int y = 0; y < lines; ++y) {
      std::fill_n(picture->data[plane] + y * picture->linesize[plane], width / 2, std::uint8_t{77});
    }
  }
  return picture;
}

// A sample of a plane, wherever pixel (x, y) is.
int Sample(const AVFrame& picture, int component, int x, int y) {
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  const AVComponentDescriptor& c = desc->comp[component];
  const bool chroma = (desc->flags & AV_PIX_FMT_FLAG_RGB) == 0 && component > 0 && component < 3;
  const int column = chroma ? x >> desc->log2_chroma_w : x;
  const int row = chroma ? y >> desc->log2_chroma_h : y;
  const std::uint8_t* p =
      picture.data[c.plane] + row * picture.linesize[c.plane] + column * c.step + c.offset;
  const int raw = c.depth > 8 ? p[0] | p[1] << 8 : *p;
  return c.depth > 8 ? raw >> c.shift : raw;
}

constexpr std::uint32_t kColour = 0xFFC86432;  // R 200, G 100, B 50

// What a flat picture of that colour becomes, in the target's own terms.
std::vector<double> Expected(int format, bool fullRange) {
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
  if ((desc->flags & AV_PIX_FMT_FLAG_RGB) != 0) return {200, 100, 50};
  const double y = 0.299 * 200 + 0.587 * 100 + 0.114 * 50;
  const double cb = (50 - y) / 1.772;
  const double cr = (200 - y) / 1.402;
  std::vector<double> yuv =
      fullRange ? std::vector{y, 128 + cb, 128 + cr}
                : std::vector{16 + y * 219 / 255, 128 + cb * 224 / 255, 128 + cr * 224 / 255};
  if (desc->comp[0].depth == 10) {
    for (double& value : yuv) value *= 4;
  }
  return yuv;
}

TEST(CodecConvert, EveryCellGivesTheColour) {
  struct Cell {
    int format;
    std::vector<std::uint32_t> sources;
  };
  const std::vector<std::uint32_t> all = {kFccUYVY, kFccYUY2, kFccRGB24, kFccRGB32, kFccARGB32};
  for (const Cell& cell :
       {Cell{AV_PIX_FMT_YUV420P, all}, Cell{AV_PIX_FMT_YUVJ420P, all}, Cell{AV_PIX_FMT_BGR24, all},
        Cell{AV_PIX_FMT_RGB24, all}, Cell{AV_PIX_FMT_YUV422P, all}, Cell{AV_PIX_FMT_YUVJ422P, all},
        Cell{AV_PIX_FMT_YUV411P, all}, Cell{AV_PIX_FMT_UYVY422, all}, Cell{AV_PIX_FMT_NV12, all},
        Cell{AV_PIX_FMT_ARGB, all}, Cell{AV_PIX_FMT_RGBA, all}, Cell{AV_PIX_FMT_BGRA, all},
        Cell{AV_PIX_FMT_0RGB, all}, Cell{AV_PIX_FMT_RGB48LE, {kFccR210}},
        Cell{AV_PIX_FMT_YUV422P10LE, {kFccV210, kFccUYVY, kFccYUY2, kFccYVYU}},
        Cell{AV_PIX_FMT_YUV420P, {kFccV210, kFccR210}},
        Cell{AV_PIX_FMT_BGRA, {kFccV210, kFccYVYU, kFccR210}}}) {
    for (const std::uint32_t tag : cell.sources) {
      for (const int width : {48, 34}) {
        SCOPED_TRACE(testing::Message()
                     << av_get_pix_fmt_name(static_cast<AVPixelFormat>(cell.format)) << " from "
                     << std::hex << tag);
        const Picture source = test::Filled(tag, width, 8, kColour);
        const AvPtr<AVFrame> target = Target(cell.format, width, 8);
        const bool full = cell.format == AV_PIX_FMT_YUVJ420P || cell.format == AV_PIX_FMT_YUVJ422P;
        ASSERT_EQ(ConvertToCodecFormat(source.View(), target.get(), {full, nullptr, true}), S_OK);
        const std::vector<double> expected = Expected(cell.format, full);
        const bool deep = cell.format == AV_PIX_FMT_RGB48LE;
        const double allowed = deep ? 256 : cell.format == AV_PIX_FMT_YUV422P10LE ? 3 : 2.6;
        for (int c = 0; c < 3; ++c) {
          for (const int x : {0, 1, width - 1}) {
            const double want = expected[static_cast<std::size_t>(c)] * (deep ? 256 : 1);
            EXPECT_NEAR(Sample(*target, c, x, 7), want, allowed) << c << " column " << x;
          }
        }
      }
    }
  }
}

// Rows of one luma and one chroma level each; chroma is what the forms differ in.
Picture Lines(int height, std::uint32_t interlace) {
  Picture picture(kFccUYVY, 32, height, interlace);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < 64; x += 2) {
      picture.Row(y)[x] = static_cast<std::uint8_t>(8 * (y % 30));
      picture.Row(y)[x + 1] = static_cast<std::uint8_t>(16 + y % 200);
    }
  }
  return picture;
}

TEST(CodecConvert, InterlacedChromaStaysInItsField) {
  const Picture source = Lines(8, eXvI_TopFirst);
  const AvPtr<AVFrame> planar = Target(AV_PIX_FMT_YUV420P, 32, 8);
  ASSERT_EQ(ConvertToCodecFormat(source.View(), planar.get(), {}), S_OK);
  const AvPtr<AVFrame> nv12 = Target(AV_PIX_FMT_NV12, 32, 8);
  ASSERT_EQ(ConvertToCodecFormat(source.View(), nv12.get(), {}), S_OK);
  // Row values are 8 y: 3:1 of rows 0, 2 and of 3, 1.
  const int weighted[4] = {(3 * 0 + 16 + 2) / 4, (3 * 24 + 8 + 2) / 4, (3 * 32 + 48 + 2) / 4,
                           (3 * 56 + 40 + 2) / 4};
  for (int y = 0; y < 4; ++y) {
    EXPECT_EQ(Sample(*planar, 1, 5, 2 * y), weighted[y]) << y;
    EXPECT_EQ(Sample(*planar, 2, 31, 2 * y), weighted[y]) << y;
    EXPECT_EQ(Sample(*nv12, 1, 5, 2 * y), weighted[y]) << y;
  }
  for (int y = 0; y < 8; ++y) EXPECT_EQ(Sample(*planar, 0, 9, y), 16 + y);
}

TEST(CodecConvert, OddHalfHeightRepairsTheLastRows) {
  const Picture source = Lines(10, eXvI_BottomFirst);
  const AvPtr<AVFrame> target = Target(AV_PIX_FMT_YUV420P, 32, 10);
  ASSERT_EQ(ConvertToCodecFormat(source.View(), target.get(), {}), S_OK);
  EXPECT_EQ(Sample(*target, 0, 0, 7), 16 + 7);
  EXPECT_EQ(Sample(*target, 0, 0, 8), 16 + 7);
  EXPECT_EQ(Sample(*target, 0, 31, 9), 16 + 7);
  EXPECT_EQ(Sample(*target, 1, 3, 8), Sample(*target, 1, 3, 4)) << "chroma row 4 repeats row 2";
}

TEST(CodecConvert, MaskGivesAlphaAndPremultiplies) {
  const Picture source = test::Filled(kFccRGB32, 8, -4, 0xFF4080FF);
  const Picture mask(test::VidProps(kFccRGB8, 6, 3), 128);
  const ImageView view = mask.View();
  for (const bool premultiply : {true, false}) {
    const AvPtr<AVFrame> target = Target(AV_PIX_FMT_RGBA, 8, 4);
    ASSERT_EQ(ConvertToCodecFormat(source.View(), target.get(), {false, &view, premultiply}), S_OK);
    const auto pixel = [&](int x, int y) {
      const std::uint8_t* p = target->data[0] + y * target->linesize[0] + 4 * x;
      return std::vector<int>(p, p + 4);
    };
    EXPECT_THAT(pixel(5, 2), premultiply ? testing::ElementsAre(32, 64, 128, 128)
                                         : testing::ElementsAre(64, 128, 255, 128));
    EXPECT_THAT(pixel(6, 2), testing::ElementsAre(64, 128, 255, 255)) << "outside of the mask";
  }
  Picture wrong(kFccRGB32, 8, -4);
  EXPECT_EQ(ApplyAlphaMask(wrong.View(), source.View(), 3, true), E_NOTIMPL);
  EXPECT_EQ(ApplyAlphaMask({}, source.View(), 3, true), S_FALSE);
  EXPECT_EQ(ApplyAlphaMask(view, {}, 3, true), E_INVALIDARG);
}

// v210 is unpacked some rows at a time: what lies between two such parts, and the last rows of
// fields with an odd half, are what UYVY of the whole picture gives.
TEST(CodecConvert, V210GivesWhatItsUyvyGives) {
  for (const std::uint32_t order : {eXvI_Progressive, eXvI_BottomFirst}) {
    Picture deep(kFccV210, 50, 54, order), eight(kFccUYVY, 50, 54, order);
    for (std::size_t i = 0; i < eight.bytes.size(); ++i) {
      eight.bytes[i] = static_cast<std::uint8_t>(1 + (i * 7919 + i / 100 * 31) % 254);
    }
    Pack422ToV210(eight.View(), deep.View());
    Picture mask(kFccRGB8, 40, 45);
    for (std::size_t i = 0; i < mask.bytes.size(); ++i) {
      mask.bytes[i] = static_cast<std::uint8_t>(i / 40 * 5);
    }
    const ImageView alpha = mask.View();
    for (const auto format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUV411P,
                              AV_PIX_FMT_NV12, AV_PIX_FMT_UYVY422, AV_PIX_FMT_RGBA}) {
      const AvPtr<AVFrame> expected = Target(format, 50, 54), made = Target(format, 50, 54);
      const CodecConvertOptions options{format == AV_PIX_FMT_YUVJ422P, &alpha, true};
      ASSERT_EQ(ConvertToCodecFormat(eight.View(), expected.get(), options), S_OK);
      ASSERT_EQ(ConvertToCodecFormat(deep.View(), made.get(), options), S_OK);
      const int components = format == AV_PIX_FMT_RGBA ? 4 : 3;
      for (int i = 0; i < components * 50 * 54; ++i) {
        const int x = i / components % 50, y = i / components / 50;
        ASSERT_EQ(Sample(*made, i % components, x, y), Sample(*expected, i % components, x, y))
            << av_get_pix_fmt_name(format) << " component " << i % components << " at " << x << ", "
            << y;
      }
    }
  }
}

TEST(CodecConvert, PairsWithoutARoutineGoThroughTheLibrary) {
  for (const auto& [tag, format] : {std::pair{kFccUYVY, AV_PIX_FMT_YUV444P},
                                    {kFccI420, AV_PIX_FMT_YUV422P},
                                    {kFccRGB24, AV_PIX_FMT_BGR0},
                                    {kFccR210, AV_PIX_FMT_YUV444P},
                                    {kFccYVYU, AV_PIX_FMT_YUV444P},
                                    {kFccV210, AV_PIX_FMT_BGR0},
                                    {kFccNV12, AV_PIX_FMT_YUV420P}}) {
    const Picture source = test::Filled(tag, 48, 16, kColour);
    const AvPtr<AVFrame> target = Target(format, 48, 16);
    EXPECT_EQ(ConvertToCodecFormat(source.View(), target.get(), {}), S_FALSE);
    PictureConverter converter;
    ASSERT_EQ(converter.Convert({source.vid, source.bytes.data()}, target.get(), {}), S_OK);
    const std::vector<double> expected = Expected(format, false);
    for (int i = 0; i < 3; ++i) {
      EXPECT_NEAR(Sample(*target, i, 9, 5), expected[static_cast<std::size_t>(i)], 4)
          << av_get_pix_fmt_name(static_cast<AVPixelFormat>(format)) << " component " << i;
    }
  }
  Picture unknown(kFccY444, 48, 16);
  const AvPtr<AVFrame> target = Target(AV_PIX_FMT_YUV420P, 48, 16);
  PictureConverter converter;
  EXPECT_EQ(converter.Convert({unknown.vid, unknown.bytes.data()}, target.get(), {}),
            XV_E_NO_PIXEL_FORMAT);
}

// Chroma of 4:2:2 in ten bits: the mean of its two lines, and the mean of its two columns between.
TEST(PictureConverter, V210KeepsTenBitsInOtherSamplings) {
  Picture source(kFccV210, 12, 4);
  V210Row row;
  for (int y = 0; y < 4; ++y) {
    row.Shape(12);
    for (int x = 0; x < 12; ++x) row.Plane(0)[x] = static_cast<std::uint16_t>(101 + 7 * x + y);
    for (int x = 0; x < 6; ++x) {
      row.Plane(1)[x] = static_cast<std::uint16_t>(301 + 10 * x + 4 * y);
      row.Plane(2)[x] = static_cast<std::uint16_t>(701 - 10 * x);
    }
    row.Pack(source.Row(y));
  }
  PictureConverter converter;
  const auto at = [](const AVFrame& frame, int plane, int x, int y) {
    return reinterpret_cast<const std::uint16_t*>(frame.data[plane] + y * frame.linesize[plane])[x];
  };
  const AvPtr<AVFrame> halved = Target(AV_PIX_FMT_YUV420P10LE, 12, 4);
  ASSERT_EQ(converter.Convert({source.vid, source.bytes.data()}, halved.get(), {}), S_OK);
  const AvPtr<AVFrame> full = Target(AV_PIX_FMT_YUV444P10LE, 12, 4);
  ASSERT_EQ(converter.Convert({source.vid, source.bytes.data()}, full.get(), {}), S_OK);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 12; ++x) {
      EXPECT_EQ(at(*halved, 0, x, y), 101 + 7 * x + y);
      EXPECT_EQ(at(*full, 0, x, y), 101 + 7 * x + y);
      EXPECT_EQ(at(*full, 1, x, y), 301 + 5 * std::min(x, 10) + 4 * y) << x;
    }
  }
  for (int x = 0; x < 6; ++x) {
    EXPECT_EQ(at(*halved, 1, x, 1), 301 + 10 * x + 10);
    EXPECT_EQ(at(*halved, 2, x, 1), 701 - 10 * x);
  }
}

}  // namespace
}  // namespace xv
