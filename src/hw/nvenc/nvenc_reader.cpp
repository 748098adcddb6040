#include "hw/nvenc/nvenc_reader.h"

#include "hw/nvenc/nvenc_attributes.h"

namespace xv {

std::vector<std::string> NvencReader::Unused() const {
  std::vector<std::string> names;
  for (const bool hevc : {false, true}) AddUnused(NvencAttributes(hevc), &names);
  return names;
}

}  // namespace xv
