#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "kernels/deep_kernels.h"

namespace xv {

// One row of v210 as words of 10 bits, kept from row to row.
class V210Row {
 public:
  void Shape(int width) {
    width_ = width;
    const auto samples = static_cast<std::size_t>(width) + kSlack;
    if (y_.size() >= samples) return;
    for (std::vector<std::uint16_t>* plane : {&y_, &u_, &v_}) plane->resize(samples);
  }
  void Unpack(const std::uint8_t* row, int width) {
    Shape(width);
    Deep().planesFromV210(row, y_.data(), u_.data(), v_.data(), width);
  }
  void Pack(std::uint8_t* row) const {
    Deep().v210FromPlanes(y_.data(), u_.data(), v_.data(), row, width_);
  }
  // An odd last pixel keeps the chroma that it shares with nobody.
  void Reverse() {
    std::reverse(y_.begin(), y_.begin() + width_);
    for (std::vector<std::uint16_t>* plane : {&u_, &v_}) {
      std::reverse(plane->begin(), plane->begin() + (width_ + 1) / 2);
    }
  }

  int Width() const { return width_; }
  std::uint16_t* Plane(int index) { return (index == 0 ? y_ : index == 1 ? u_ : v_).data(); }

 private:
  static constexpr std::size_t kSlack = 8;

  int width_ = 0;
  std::vector<std::uint16_t> y_, u_, v_;
};

}  // namespace xv
