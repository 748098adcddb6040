#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <vector>

#include "base/status.h"
#include "picture/filter_bank.h"
#include "picture/image_view.h"
#include "picture/plane_scaler.h"
#include "picture/row_filter.h"
#include "picture/wide_scaler.h"

namespace xv {

// Where target line t stands among the source's, and how the engine filters.
enum class Siting {
  kClassic,  // at t * ratio; vertical weights have 8 bits, sum up to 255 and the sum is cut
  kCentred,  // at (t + 0.5) * ratio - 0.5, chroma and fields where they belong (WideScaler)
};

// Folded quality: what the engine scales with, and whether one to one was asked for (codes from 10
// on, which stand for the code 10 below). Codes of words stay (kNamedQuality).
struct ScaleQuality {
  int code;
  bool oneToOne;
};
ScaleQuality NormaliseQuality(int quality);

// Scales pictures and keeps filter banks and temporaries from one to the next. Thread-safety: one
// picture at a time, by its lock.
class ScaleEngine {
 public:
  ScaleEngine() = default;
  ScaleEngine(const ScaleEngine&) = delete;
  ScaleEngine& operator=(const ScaleEngine&) = delete;

  // Scales `source` to the size and layout of `target`; `flip` turns it upside down. `quality` 1
  // nearest, 2 linear, 4 cubic, 5 to 7 softer steps, 8 super-sampling, 16 Lanczos. With equal sizes
  // and nothing else asked for only the layout is converted.
  //   E_INVALIDARG   a null picture.
  //   E_FAIL         the pair of layouts has no conversion.
  Status ScaleImage(const ImageView& source, const ImageView& target, bool flip, int quality,
                    double sharpnessOffset, int fieldFlags, Siting siting = Siting::kClassic);

 private:
  struct Job;

  Status Dispatch(const ImageView& source, const ImageView& target, const Job& job);
  Status ScalePacked(const ImageView& source, const ImageView& target, const Job& job);
  Status ScalePlanar(const ImageView& source, const ImageView& target, const Job& job);
  Status ResizeRgb(const ImageView& source, const ImageView& target, const Job& job);
  void ScalePlane(const PlaneScaler::Plane& source, const PlaneScaler::Plane& target,
                  int sampleBytes, std::size_t plane, const Job& job);
  // A picture of that layout and size in temporary memory number `slot`.
  ImageView Temporary(std::size_t slot, const ImageView& like, std::uint32_t tag, int width,
                      int height);

  std::mutex lock_;
  std::array<FilterBank, 2> banks_;  // luma, chroma
  std::array<KeptRowFilter, 2> rowFilters_;
  WideScaler wide_;
  PlaneScaler resizer_;  // plain frames of RGB
  // 0, 1: the two sides of packed scaling, 2: the converted source, 3-5: planes between the two
  // directions, 6: the target before its conversion.
  std::array<std::vector<std::uint8_t>, 7> temporaries_;
};

}  // namespace xv
