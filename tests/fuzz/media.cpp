#include <cstdlib>

#include "fuzz/memory_file.h"
#include "xvrecord/input.h"

extern "C" {
#include <libavutil/log.h>
}

// Any bytes as a media file: it is refused in a sentence, or its frames are in order and lie in
// memory that can be read.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  av_log_set_level(AV_LOG_QUIET);
  if (size < 1) return 0;
  xvrecord::MediaOptions options;
  options.packets = (data[0] & 1) != 0;
  options.start = (data[0] >> 1 & 3) * 0.05;
  options.layout = (data[0] & 8) != 0 ? xv::kFccUYVY : 0;
  try {
    const auto input = xvrecord::OpenMedia(xv::test::MemoryFile(data + 1, size - 1), options);
    xvrecord::InputFrame frame;
    unsigned sum = 0;
    for (int i = 0; i < 20 && input->Next(&frame); ++i) {
      if (frame.time.rtStop < frame.time.rtStart) std::abort();
      for (const xvrecord::Block* block : {&frame.video, &frame.audio}) {
        for (std::size_t at = 0; at < block->bytes; at += 61) sum += block->data[at];
      }
    }
    volatile unsigned seen = sum;
    static_cast<void>(seen);
  } catch (const xvrecord::InputError&) {
  }
  return 0;
}
