#pragma once

#include <string>

#include "contracts/av_handles.h"

// What FFmpeg says of our contexts. Its log has one callback for the process: ours keeps the lines
// of our contexts, which nobody prints, and leaves all others to FFmpeg's own callback and the log
// level that the process has chosen. A host that sets a callback of its own, behind the first
// writer that it makes, gets the lines of our contexts too; failures have FFmpeg's word for the
// error number then, and no more.
namespace xv {

// Once for the process.
void CaptureFFmpegLog();

// Lines of `context`, on whatever thread, are ours from now on.
void MarkAsOurs(AVCodecContext& context);

// While one lives, what FFmpeg logs on this thread is ours. They nest.
class FFmpegWords {
 public:
  FFmpegWords();
  ~FFmpegWords();
  FFmpegWords(const FFmpegWords&) = delete;
  FFmpegWords& operator=(const FFmpegWords&) = delete;

  // The last error line since the outermost one began, without its end of line; "" when there was
  // none.
  const std::string& LastLine() const;
  // "what: last line: name of the error number", as much of it as there is.
  std::string Explain(const std::string& what, int error) const;
};

}  // namespace xv
