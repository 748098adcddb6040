#include "output/interrupt.h"

#include <algorithm>
#include <string_view>

#include "platform/clock.h"

namespace xv {
namespace {

// What a call may take before anybody asks whether there is a hurry, and then once more.
constexpr std::chrono::milliseconds kMoment{300};

std::int64_t Now() { return SystemClock().SteadyNanoseconds(); }

}  // namespace

void IoInterrupt::Attach(AVFormatContext& context) {
  context.interrupt_callback = Callback();
  opensFiles_ = context.oformat != nullptr && (context.oformat->flags & AVFMT_NOFILE) != 0;
  open_ = context.io_open;
  close_ = context.io_close2;
  context.opaque = this;  // muxers hand it on to the contexts that they make
  context.io_open = &OpenWatched;
  context.io_close2 = &CloseWatched;
}

int IoInterrupt::OpenWatched(AVFormatContext* context, AVIOContext** io, const char* url, int flags,
                             AVDictionary** options) {
  auto& self = *static_cast<IoInterrupt*>(context->opaque);
  const bool reads = (flags & AVIO_FLAG_WRITE) == 0 && context->url != nullptr;
  if (reads && self.readBack_ != nullptr && std::string_view(url) == context->url) {
    *io = self.readBack_->OpenReadBack();
    return *io != nullptr ? 0 : AVERROR(EIO);
  }
  const int result = self.open_(context, io, url, flags, options);
  if (result >= 0) self.Watch(*io);
  return result;
}

int IoInterrupt::CloseWatched(AVFormatContext* context, AVIOContext* io) {
  auto& self = *static_cast<IoInterrupt*>(context->opaque);
  if (self.readBack_ != nullptr && self.readBack_->CloseReadBack(io)) return 0;
  if (io != nullptr && io->write_flag != 0) {
    avio_flush(io);
    if (self.failure_ == 0) self.failure_ = std::min(io->error, 0);
  }
  self.Forget(io);  // it is freed ahead of the end of its connection
  return self.close_(context, io);
}

std::int64_t IoInterrupt::BytesWritten() const {
  std::int64_t bytes = 0;
  for (const AVIOContext* io : watched_) bytes += io->bytes_written;
  return bytes;
}

void IoInterrupt::Begin() {
  written_ = BytesWritten();
  since_ = Now();
}

void IoInterrupt::End() { since_ = INT64_MAX; }

void IoInterrupt::EndWithin(std::chrono::milliseconds time) {
  const std::int64_t end = Now() + std::chrono::nanoseconds(time).count();
  std::int64_t before = end_;
  while (end < before && !end_.compare_exchange_weak(before, end)) {
  }
}

bool IoInterrupt::Ended() const { return givenUp_ || Now() >= end_; }

int IoInterrupt::Check(void* opaque) {
  auto& self = *static_cast<IoInterrupt*>(opaque);
  if (self.Ended()) return 1;
  const std::int64_t since = self.since_;
  const std::int64_t now = Now();
  if (since > now ||
      now - since < std::chrono::nanoseconds(std::min(kMoment, self.timeout_)).count())
    return 0;
  if (self.hurried_ && self.hurried_()) self.EndWithin(kMoment);
  if (now - since < std::chrono::nanoseconds(self.timeout_).count()) return 0;
  if (self.BytesWritten() != self.written_) {
    self.Begin();
    return 0;
  }
  self.givenUp_ = true;
  return 1;
}

}  // namespace xv
