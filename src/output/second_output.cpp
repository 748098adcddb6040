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

Status SecondOutput::Start() {
  std::vector<AVRational> timeBases;
  for (unsigned i = 0; i < output_.context->nb_streams; ++i) {
    timeBases.push_back(output_.context->streams[i]->time_base);
  }
  packets_.Open(kMostPackets);
  RETURN_IF_FAILED(thread_.Start(this, &SecondOutput::Main));
  const std::lock_guard guard(lock_);
  given_.assign(timeBases.size(), false);
  timeBases_ = std::move(timeBases);
  started_ = true;
  return S_OK;
}

void SecondOutput::Put(const AVPacket& packet, AVRational timeBase) {
  const auto stream = static_cast<std::size_t>(packet.stream_index);
  // The context may already be gone with its thread, so that nothing of it is read here.
  const std::lock_guard guard(lock_);
  if (ending_ || !started_ || stream >= timeBases_.size()) return;
  AvPtr<AVPacket> clone(av_packet_clone(&packet));
  if (!clone) return;
  Rescale(clone.get(), timeBase, timeBases_[stream]);
  given_[stream] = true;
  if (packets_.TryPush(std::move(clone))) return;
  report_.CountDrop();
  report_.Fail("second output", "takes packets too slowly; some are missing there", S_OK);
}

bool SecondOutput::EveryStreamHasPacket() {
  const std::lock_guard guard(lock_);
  return started_ && std::find(given_.begin(), given_.end(), false) == given_.end();
}

void SecondOutput::FinishAndRewrite() {
  const std::lock_guard guard(lock_);
  if (ending_) return;
  rewrite_ = true;
  ending_ = true;
  packets_.End();
}

void SecondOutput::Finish() {
  const std::lock_guard guard(lock_);
  ending_ = true;
  packets_.End();
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
  const Status ended = Guarded([this]() -> Status {
    while (const auto packet = packets_.Pop()) {
      RETURN_IF_FAILED(output_.WriteInterleaved(packet->get()));
    }
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
