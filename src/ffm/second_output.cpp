#include "ffm/second_output.h"

#include "codec/ffmpeg.h"
#include "xvwriter/writer.h"

namespace xv {
namespace {

// Some ten seconds of picture and sound.
constexpr std::size_t kMostPackets = 1024;

void Rescale(AVPacket* packet, AVRational from, AVRational to) {
  if (packet->pts != AV_NOPTS_VALUE) packet->pts = av_rescale_q(packet->pts, from, to);
  if (packet->dts != AV_NOPTS_VALUE) packet->dts = av_rescale_q(packet->dts, from, to);
  if (packet->duration > 0) packet->duration = av_rescale_q(packet->duration, from, to);
}

}  // namespace

SecondOutput::~SecondOutput() {
  Finish();
  Wait();
}

Status SecondOutput::Start() {
  RETURN_IF_FAILED(thread_.Start(this, &SecondOutput::Main));
  const std::lock_guard guard(lock_);
  started_ = true;
  return S_OK;
}

void SecondOutput::Put(const AVPacket& packet, AVRational timeBase) {
  if (finished_ || packet.stream_index >= static_cast<int>(output_.context->nb_streams)) return;
  AvPtr<AVPacket> clone(av_packet_clone(&packet));
  if (!clone) return;
  Rescale(clone.get(), timeBase, output_.context->streams[packet.stream_index]->time_base);
  const std::lock_guard guard(lock_);
  if (ending_ || !started_) return;
  if (packets_.size() >= kMostPackets) {
    stats_.drops.fetch_add(1, std::memory_order_relaxed);
    stats_.Fail("second output", "takes packets too slowly; some are missing there", S_OK);
    return;
  }
  packets_.push_back(std::move(clone));
  changed_.notify_one();
}

void SecondOutput::Finish() {
  const std::lock_guard guard(lock_);
  ending_ = true;
  changed_.notify_one();
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

void SecondOutput::Main() {
  for (;;) {
    AvPtr<AVPacket> packet;
    {
      std::unique_lock guard(lock_);
      changed_.wait(guard, [&] { return ending_ || !packets_.empty(); });
      if (packets_.empty()) break;
      packet = std::move(packets_.front());
      packets_.pop_front();
    }
    WriteOne(packet.get());
  }
  Close();
}

void SecondOutput::WriteOne(AVPacket* packet) {
  const Status written = output_.WriteInterleaved(packet);
  if (!written.Failed()) return;
  stats_.Fail("second output", output_.path, written);
  output_.interrupt.GiveUp();
  const std::lock_guard guard(lock_);
  ending_ = true;
  packets_.clear();
}

void SecondOutput::Close() {
  if (finished_.exchange(true)) return;
  Status closed = output_.WriteTrailer();
  closed.Update(output_.CloseFile());
  if (closed.Failed()) stats_.Fail("second output", output_.path, closed);
  const FFmpegGuard guard(FFmpegLock());
  output_.context.reset();
}

}  // namespace xv
