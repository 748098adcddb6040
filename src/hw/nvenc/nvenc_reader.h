#pragma once

#include <string>
#include <vector>

#include "hw/attribute_reader.h"

namespace xv {

// Reads a track's attributes for NVENC.
class NvencReader : public AttributeReader {
 public:
  using AttributeReader::AttributeReader;
  // Names of NVENC's that stand in the node and were not read.
  std::vector<std::string> Unused() const;
};

}  // namespace xv
