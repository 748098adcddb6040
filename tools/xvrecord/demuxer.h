#pragma once

#include <functional>
#include <optional>
#include <string>

#include "contracts/av_handles.h"
#include "xvrecord/input.h"

namespace xvrecord {

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
  xv::AvPtr<AVIOContext> standardInput_;  // outlives the context
  xv::AvInput context_;
  std::optional<AVRational> assumedRate_;
};

}  // namespace xvrecord
