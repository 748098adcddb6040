#include "codec/ffmpeg_words.h"

#include <array>
#include <cstring>

#include "base/guard.h"
#include "base/text.h"
#include "codec/ffmpeg.h"

namespace xv {
namespace {

constexpr char kOurs = 0;  // its address marks our contexts

thread_local int scopes = 0;
thread_local std::string lastLine;

// The object that logs, or one that it belongs to, is a marked encoder.
bool IsMarked(const void* object) {
  for (int depth = 0; object != nullptr && depth < 4; ++depth) {
    const AVClass* kind = *static_cast<const AVClass* const*>(object);
    if (kind == nullptr) return false;
    if (kind == avcodec_get_class()) {
      return static_cast<const AVCodecContext*>(object)->opaque == &kOurs;
    }
    if (kind->parent_log_context_offset == 0) return false;
    object = *reinterpret_cast<const void* const*>(static_cast<const char*>(object) +
                                                   kind->parent_log_context_offset);
  }
  return false;
}

void Keep(void* object, const char* format, va_list arguments) {
  std::array<char, 512> text{};
  int prefix = 0;
  av_log_format_line2(object, AV_LOG_ERROR, format, arguments, text.data(),
                      static_cast<int>(text.size()), &prefix);
  (void)Guarded([&] {
    lastLine = Trim(text.data());
    return S_OK;
  });
}

void OnLog(void* object, int level, const char* format, va_list arguments) {
  if (scopes == 0 && !IsMarked(object)) {
    av_log_default_callback(object, level, format, arguments);
  } else if (level <= AV_LOG_ERROR) {
    // Without the object there is no "[mp4 @ 0x...]" ahead of the line.
    Keep(nullptr, format, arguments);
  }
}

}  // namespace

void CaptureFFmpegLog() { av_log_set_callback(&OnLog); }

void MarkAsOurs(AVCodecContext& context) { context.opaque = const_cast<char*>(&kOurs); }

FFmpegWords::FFmpegWords() {
  if (scopes++ == 0) lastLine.clear();
}

FFmpegWords::~FFmpegWords() { --scopes; }

const std::string& FFmpegWords::LastLine() const { return lastLine; }

std::string FFmpegWords::Explain(const std::string& what, int error) const {
  std::string text = what;
  const auto add = [&text](const std::string& more) {
    if (!text.empty() && !more.empty()) text += ": ";
    text += more;
  };
  add(lastLine);
  if (error < 0) add(DescribeAvError(error));
  return text;
}

}  // namespace xv
