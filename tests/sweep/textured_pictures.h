#pragma once

#include "support/host_frames.h"

namespace xv::test {

// Pictures that give an encoder work: a texture that moves and changes. Drawn once.
class TexturedPictures {
 public:
  explicit TexturedPictures(const Feed& feed) : feed_(feed) {
    for (int i = 0; i < kDistinct; ++i) {
      const auto sample = [&](int component, int x, int y) {
        const int moved = x + 2 * i;
        return component > 0 ? 128 : 60 + (moved * 7 + 5 * (moved ^ (3 * y)) + i * x % 3) % 120;
      };
      pictures_.push_back(std::make_shared<std::vector<std::uint8_t>>(DrawPicture(feed, sample)));
    }
  }

  // Frame `number` with its sound.
  host::Ptr<IXvFrame> Frame(int number) const {
    return MakeFrame(feed_, number, pictures_[static_cast<std::size_t>(number % kDistinct)]);
  }

 private:
  static constexpr int kDistinct = 5;
  const Feed feed_;
  std::vector<std::shared_ptr<std::vector<std::uint8_t>>> pictures_;
};

}  // namespace xv::test
