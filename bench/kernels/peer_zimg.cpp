#include "peers.h"

#ifdef XV_BENCH_ZIMG
#include <libyuv.h>
#include <zimg.h>

#include <array>
#include <memory>
#include <vector>

namespace xv::bench {
namespace {

constexpr int kAlignment = 64;

// Three planes as zimg wants them, every row aligned.
struct Planes {
  explicit Planes(const Picture& like)
      : rgb(like.Tag() == kFccARGB32),
        halfHeight(like.Tag() == kFccI420 || like.Tag() == kFccNV12) {
    const int chromaWidth = rgb ? like.Width() : like.Width() / 2;
    const int chromaHeight = halfHeight ? like.Height() / 2 : like.Height();
    for (std::size_t i = 0; i < 3; ++i) {
      const int width = i == 0 ? like.Width() : chromaWidth;
      step[i] = (width + kAlignment - 1) / kAlignment * kAlignment;
      const auto bytes = static_cast<std::size_t>(step[i]) *
                         static_cast<std::size_t>(i == 0 ? like.Height() : chromaHeight);
      memory[i].reset(static_cast<std::uint8_t*>(std::aligned_alloc(kAlignment, bytes)));
      std::fill_n(memory[i].get(), bytes, std::uint8_t{77});
    }
  }
  std::uint8_t* At(std::size_t i, int parity = 0) const {
    return memory[i].get() + parity * step[i];
  }

  struct Free {
    void operator()(std::uint8_t* p) const { std::free(p); }
  };
  bool rgb;
  bool halfHeight;
  std::array<std::unique_ptr<std::uint8_t, Free>, 3> memory;
  std::array<int, 3> step{};
};

zimg_image_format FormatOf(const Picture& picture, const Planes& planes, int fields, int parity,
                           bool bt709) {
  zimg_image_format format;
  zimg_image_format_default(&format, ZIMG_API_VERSION);
  format.width = static_cast<unsigned>(picture.Width());
  format.height = static_cast<unsigned>(picture.Height() / fields);
  format.pixel_type = ZIMG_PIXEL_BYTE;
  format.subsample_w = planes.rgb ? 0 : 1;
  format.subsample_h = planes.halfHeight ? 1 : 0;
  format.color_family = planes.rgb ? ZIMG_COLOR_RGB : ZIMG_COLOR_YUV;
  format.matrix_coefficients = planes.rgb ? ZIMG_MATRIX_RGB
                               : bt709    ? ZIMG_MATRIX_BT709
                                          : ZIMG_MATRIX_BT470_BG;
  format.transfer_characteristics = ZIMG_TRANSFER_BT709;
  format.color_primaries = ZIMG_PRIMARIES_BT709;
  format.pixel_range = planes.rgb ? ZIMG_RANGE_FULL : ZIMG_RANGE_LIMITED;
  format.field_parity = fields == 1   ? ZIMG_FIELD_PROGRESSIVE
                        : parity == 0 ? ZIMG_FIELD_TOP
                                      : ZIMG_FIELD_BOTTOM;
  return format;
}

void Unpack(const Picture& picture, const Planes& planes) {
  const ImageView view = picture.View();
  const int step = static_cast<int>(view.step[0]);
  if (planes.rgb) {
    libyuv::SplitARGBPlane(view.data[0], step, planes.At(0), planes.step[0], planes.At(1),
                           planes.step[1], planes.At(2), planes.step[2], nullptr, 0, view.width,
                           view.height);
  } else if (view.tag != kFccI420) {
    libyuv::UYVYToI422(view.data[0], step, planes.At(0), planes.step[0], planes.At(1),
                       planes.step[1], planes.At(2), planes.step[2], view.width, view.height);
  }
}

void Pack(const Planes& planes, const Picture& picture) {
  const ImageView view = picture.View();
  const int step = static_cast<int>(view.step[0]);
  if (planes.rgb) {
    libyuv::MergeARGBPlane(planes.At(0), planes.step[0], planes.At(1), planes.step[1], planes.At(2),
                           planes.step[2], nullptr, 0, view.data[0], step, view.width, view.height);
  } else if (view.tag == kFccNV12) {
    libyuv::MergeUVPlane(planes.At(1), planes.step[1], planes.At(2), planes.step[2], view.data[1],
                         static_cast<int>(view.step[1]), view.width / 2, view.height / 2);
  } else if (view.tag != kFccI420) {
    libyuv::I422ToUYVY(planes.At(0), planes.step[0], planes.At(1), planes.step[1], planes.At(2),
                       planes.step[2], view.data[0], step, view.width, view.height);
  }
}

using Graph = std::shared_ptr<zimg_filter_graph>;

struct Chain {
  explicit Chain(const Work& work) : source(work.source), target(work.target) {}
  Planes source;
  Planes target;
  std::vector<Graph> graphs;
  std::unique_ptr<std::uint8_t, Planes::Free> scratch;

  void Process(std::size_t pass) const {
    zimg_image_buffer_const from{ZIMG_API_VERSION, {}};
    zimg_image_buffer to{ZIMG_API_VERSION, {}};
    const auto fields = static_cast<int>(graphs.size());
    for (std::size_t i = 0; i < 3; ++i) {
      from.plane[i] = {source.At(i, static_cast<int>(pass)), source.step[i] * fields,
                       ZIMG_BUFFER_MAX};
      to.plane[i] = {target.At(i, static_cast<int>(pass)), target.step[i] * fields,
                     ZIMG_BUFFER_MAX};
    }
    zimg_filter_graph_process(graphs[pass].get(), &from, &to, scratch.get(), nullptr, nullptr,
                              nullptr, nullptr);
  }
};

bool Knows(std::uint32_t tag) {
  return tag == kFccI420 || tag == kFccNV12 || tag == kFccUYVY || tag == kFccHDYC ||
         tag == kFccARGB32;
}

}  // namespace

Body ZimgBody(const Work& work, Filter filter, bool fields) {
  if (!Knows(work.source.Tag()) || !Knows(work.target.Tag()) || work.source.Tag() == kFccNV12) {
    return nullptr;
  }
  const auto chain = std::make_shared<Chain>(work);
  const int count = fields ? 2 : 1;
  const bool bt709 = work.source.Tag() == kFccHDYC || work.target.Tag() == kFccHDYC;
  std::size_t scratch = 0;
  for (int parity = 0; parity < count; ++parity) {
    const zimg_image_format from = FormatOf(work.source, chain->source, count, parity, bt709);
    const zimg_image_format to = FormatOf(work.target, chain->target, count, parity, bt709);
    zimg_graph_builder_params params;
    zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
    params.resample_filter = params.resample_filter_uv =
        filter == Filter::kBicubic ? ZIMG_RESIZE_BICUBIC : ZIMG_RESIZE_BILINEAR;
    params.cpu_type = ZIMG_CPU_AUTO_64B;
    const Graph graph(zimg_filter_graph_build(&from, &to, &params), zimg_filter_graph_free);
    if (!graph) return nullptr;
    std::size_t bytes = 0;
    zimg_filter_graph_get_tmp_size(graph.get(), &bytes);
    scratch = std::max(scratch, bytes);
    chain->graphs.push_back(graph);
  }
  chain->scratch.reset(static_cast<std::uint8_t*>(
      std::aligned_alloc(kAlignment, (scratch + kAlignment) / kAlignment * kAlignment)));
  return [chain, &source = work.source, &target = work.target] {
    Unpack(source, chain->source);
    for (std::size_t pass = 0; pass < chain->graphs.size(); ++pass) chain->Process(pass);
    Pack(chain->target, target);
  };
}

}  // namespace xv::bench
#else
namespace xv::bench {
Body ZimgBody(const Work&, Filter, bool) { return nullptr; }
}  // namespace xv::bench
#endif
