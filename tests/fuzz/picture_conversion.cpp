#include <cstdlib>

#include "frames/picture_cases.h"

extern "C" {
#include <libavutil/log.h>
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  av_log_set_level(AV_LOG_QUIET);
  if (!xv::test::PictureCase({data, size}).consistent) std::abort();
  return 0;
}
