#pragma once

#include <memory>
#include <optional>
#include <string>

#include "xvrecord/input.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace xvrecord {

struct AvDeleter {
  void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
  void operator()(AVIOContext* p) const;
};

// FFmpeg's words for one of its errors.
std::string WordsOf(int error);

// An open media file, URL, device or standard input ("-").
class Demuxer {
 public:
  // Throws InputError, and UsageError for options that the demuxer has no use for.
  Demuxer(const std::string& url, const MediaOptions& options);

  AVFormatContext& operator*() const { return *context_; }
  AVFormatContext* operator->() const { return context_.get(); }
  // The rate that pictures are given where the demuxer itself does not take one.
  std::optional<AVRational> AssumedRate() const { return assumedRate_; }

 private:
  void UseStandardInput(AVFormatContext* context);
  void TakeLeftOvers(AVDictionary* left, const MediaOptions& options);

  std::function<bool()> stopAsked_;
  std::unique_ptr<AVIOContext, AvDeleter> standardInput_;  // outlives the context
  std::unique_ptr<AVFormatContext, AvDeleter> context_;
  std::optional<AVRational> assumedRate_;
};

}  // namespace xvrecord
