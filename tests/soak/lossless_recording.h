#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "xvwriter/host.hpp"

// Pictures of noise into a codec without loss, and what a reader finds of them.
namespace xv::soak {

constexpr int kWidth = 176, kHeight = 144;

// The picture of a number, I420.
std::vector<std::uint8_t> NoisePicture(std::uint64_t number);

// Pushes numbered pictures with sound and remembers what was accepted.
class NoiseFeed {
 public:
  explicit NoiseFeed(std::uint64_t first) : next_(first) {}
  // One frame; the writer's answer.
  HRESULT Push(host::Writer& writer);
  // Sums of the accepted pictures, in order.
  const std::vector<std::uint64_t>& Accepted() const { return accepted_; }

 private:
  std::uint64_t next_;
  int frames_ = 0;
  std::vector<std::uint64_t> accepted_;
};

// The sums of the decoded pictures of a file. Empty where it cannot be read.
std::vector<std::uint64_t> DecodedSums(const std::string& path);

}  // namespace xv::soak
