#pragma once

#include <string>

#include "matrix/catalogue_cells.h"

namespace xv::test {

// What a reader does not get back of what was pushed. Not every container and codec has a place for
// it.
enum Loss : unsigned {
  kNothing = 0,
  kTimecode = 1,
  kFieldOrder = 2,
  kAspect = 4,
};

struct Outcome {
  std::string trouble;  // a sentence; "" when the cell records
  unsigned lost = kNothing;
  std::string videoCodec;  // as a reader names it; "" without pictures
};

// Records the cell with its presets, at a raster and rate that are legal for it, into a file or to
// a receiver of its protocol on loopback, and reads it back.
Outcome RecordCell(const Cell& cell);

// "t", "f" and "a" for what is lost, "ok" for nothing.
std::string LossText(unsigned lost);

}  // namespace xv::test
