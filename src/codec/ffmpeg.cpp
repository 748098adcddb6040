#include "codec/ffmpeg.h"

#include <cerrno>

#include "codec/ffmpeg_words.h"
#include "contracts/av_handles.h"

namespace xv {

std::recursive_mutex& FFmpegLock() {
  static std::recursive_mutex lock;
  return lock;
}

void StartFFmpeg() {
  static std::once_flag once;
  std::call_once(once, [] {
    avformat_network_init();
    CaptureFFmpegLog();
  });
}

std::string DescribeAvError(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof(text));
  return text;
}

Status StatusFromAvError(int error) {
  if (error >= 0) return S_OK;
  if (error == AVERROR(ENOMEM)) return E_OUTOFMEMORY;
  // Small numbers are system errors; FFmpeg's own are four-character tags far below them.
  if (error > -4096) return StatusFromErrno(AVUNERROR(error));
  return E_FAIL;
}

}  // namespace xv
