#pragma once

#include <cstddef>
#include <memory>
#include <vector>

// What the benchmarks put.
namespace xv::bench {

using Picture = std::shared_ptr<std::vector<unsigned char>>;

// Eight pictures of `bytes` bytes, each unlike the others.
inline std::vector<Picture> MakePictures(std::size_t bytes) {
  std::vector<Picture> pictures;
  for (std::size_t i = 0; i < 8; ++i) {
    pictures.push_back(std::make_shared<std::vector<unsigned char>>(bytes));
    for (std::size_t k = 0; k < bytes; ++k) {
      (*pictures.back())[k] = static_cast<unsigned char>(k / 7 + k % 1920 * i);
    }
  }
  return pictures;
}

}  // namespace xv::bench
