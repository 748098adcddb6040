#include "output/second_output.h"

#include <algorithm>

#include "base/guard.h"
#include "codec/ffmpeg.h"
#include "platform/whole_file.h"
#include "xvwriter/writer.h"

namespace xv {
namespace {

// Some ten seconds of picture and sound.
constexpr std::size_t kMostPackets = 1024;
// A packet that is larger goes alone.
constexpr std::int64_t kMostBytes = 64 << 20;

void Rescale(AVPacket* packet, AVRational from, AVRational to) {
  if (packet->pts != AV_NOPTS_VALUE) packet->pts = av_rescale_q(packet->pts, from, to);
  if (packet->dts != AV_NOPTS_VALUE) packet->dts = av_rescale_q(packet->dts, from, to);
  if (packet->duration > 0) packet->duration = av_rescale_q(packet->duration, from, to);
}

Status WriteAnew(const std::string& path) {
  std::vector<std::uint8_t> bytes;
  RETURN_IF_FAILED(ReadWholeFile(path, &bytes));
  return ReplaceWholeFile(path, bytes.data(), bytes.size(), LinkPolicy::kFollow);
}

}  // namespace

SecondOutput::~SecondOutput() {
  Finish();
  Wait();
}

Status SecondOutput::Start(std::function<Status()> open) {
  open_ = std::move(open);
  packets_.Open(kMostPackets);
  {
    const std::lock_guard guard(lock_);
    given_.assign(output_.context->nb_streams, false);
  }
  RETURN_IF_FAILED(thread_.Start(this, &SecondOutput::Main));
  const std::lock_guard guard(lock_);
  started_ = true;
  return S_OK;
}

void SecondOutput::Put(const AVPacket& packet, AVRational timeBase) {
  const auto stream = static_cast<std::size_t>(packet.stream_index);
  // The context may already be gone with its thread, so that nothing of it is read here.
  const std::lock_guard guard(lock_);
  if (ending_ || !started_ || stream >= given_.size()) return;
  Waiting waiting{AvPtr<AVPacket>(av_packet_clone(&packet)), timeBase};
  const bool has = waiting.packet != nullptr;
  const bool fits = bytes_ == 0 || bytes_ + packet.size <= kMostBytes;
  bytes_ += packet.size;
  if (has && fits && packets_.TryPush(std::move(waiting))) {
    given_[stream] = true;
    return;
  }
  bytes_ -= packet.size;
  report_.CountDrop();
  if (!has) return report_.Fail("second output", "", E_OUTOFMEMORY);
  report_.Fail("second output", "takes packets too slowly; some are missing there", S_OK);
}

bool SecondOutput::EveryStreamHasPacket() {
  const std::lock_guard guard(lock_);
  return started_ && std::find(given_.begin(), given_.end(), false) == given_.end();
}

void SecondOutput::FinishLocked() {
  if (!ending_) output_.interrupt.EndWithin(output_.interrupt.timeout());
  ending_ = true;
  packets_.End();
}

void SecondOutput::FinishAndRewrite() {
  const std::lock_guard guard(lock_);
  if (ending_) return;
  rewrite_ = true;
  FinishLocked();
}

void SecondOutput::Finish() {
  const std::lock_guard guard(lock_);
  FinishLocked();
}

void SecondOutput::Wait() {
  bool started = false;
  {
    const std::lock_guard guard(lock_);
    started = started_;
  }
  if (started) {
    (void)thread_.Stop(kInfinite);
  } else {
    Close();
  }
}

Status SecondOutput::Write(Waiting& waiting) {
  bytes_ -= waiting.packet->size;
  if (output_.interrupt.Ended()) return XV_E_TIMEOUT;
  AVPacket* packet = waiting.packet.get();
  Rescale(packet, waiting.timeBase, output_.context->streams[packet->stream_index]->time_base);
  return output_.WriteInterleaved(packet);
}

void SecondOutput::Main() {
  const Status ended = Guarded([this]() -> Status {
    RETURN_IF_FAILED(open_());
    while (auto waiting = packets_.Pop()) RETURN_IF_FAILED(Write(*waiting));
    return S_OK;
  });
  if (ended.Failed()) GiveUp(ended);
  const Status closed = Guarded([this] {
    Close();
    return S_OK;
  });
  if (closed.Failed()) report_.Fail("second output", output_.Explanation(), closed);
}

void SecondOutput::GiveUp(Status failure) {
  report_.Fail("second output", output_.Explanation(), failure);
  output_.interrupt.GiveUp();
  const std::lock_guard guard(lock_);
  ending_ = true;
  packets_.Abort();
}

void SecondOutput::Close() {
  if (finished_.exchange(true)) return;
  Status closed = output_.WriteTrailer();
  closed.Update(output_.CloseFile());
  bool rewrite = false;
  {
    const std::lock_guard guard(lock_);
    rewrite = rewrite_;
  }
  if (!closed.Failed() && rewrite) closed = WriteAnew(output_.path);
  if (closed.Failed()) report_.Fail("second output", output_.Explanation(), closed);
  const FFmpegGuard guard(FFmpegLock());
  output_.context.reset();
}

}  // namespace xv
