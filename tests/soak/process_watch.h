#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

// What the process holds of the machine.
namespace xv::soak {

struct Holdings {
  double megabytes = 0;  // resident
  std::size_t descriptors = 0;
  std::size_t threads = 0;
};

Holdings HoldingsNow();

// Samples over a run, to see whether anything grows.
class GrowthWatch {
 public:
  void Sample() { samples_.push_back(HoldingsNow()); }
  // What the last quarter of the samples holds at most above what the second one does; "" where
  // that is within what work in flight comes to.
  std::string Growth() const;
  std::string Summary() const;

 private:
  Holdings MostOf(std::size_t quarter) const;

  std::vector<Holdings> samples_;
};

}  // namespace xv::soak
