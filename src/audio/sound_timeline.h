#pragma once

#include <cstdint>

namespace xv {

// Holds the samples that are taken against the times of their frames, and says how much silence or
// what cut brings them back. Times are corrected ones in 100 ns. Three things ask for it:
//
// - a block further off than the tolerance;
// - frames without samples, when the block behind them is off by about as much as they lasted;
// - a deviation that stays: its mean over a second above a quarter of the tolerance. So stamps that
//   tremble do nothing, and what is lost bit by bit never adds up.
//
// A block that has more samples than its frame lasts makes up for earlier ones, one that has fewer
// follows one that ran ahead: both are in place when either end of the block is, or what lies
// between. One caller at a time.
class SoundTimeline {
 public:
  struct Correction {
    std::int64_t silence = 0;  // samples that go ahead of the block
    std::int64_t cut = 0;      // samples that the block loses at its head
  };

  // Begins at time 0. `tolerance` in 100 ns; 0 leaves samples where they come.
  void Start(std::int64_t tolerance);
  // A block of `samples` at `rate`, of a frame from `start` to `stop`.
  Correction Place(std::int64_t start, std::int64_t stop, std::int64_t samples, int rate);
  // A block that has no time: it follows the one before.
  void Follow(std::int64_t samples, int rate);
  double End() const { return end_; }
  // A frame that had no samples.
  void Miss(std::int64_t start, std::int64_t stop);

 private:
  double Needed(double off, double length);

  double tolerance_ = 0;
  double end_ = 0;     // of the samples so far, 100 ns
  double mean_ = 0;    // deviation of the blocks of late, 100 ns; positive where sound is late
  double missed_ = 0;  // duration of the frames without samples since the last block, 100 ns
};

}  // namespace xv
