#include "session/video_stage.h"

#include <chrono>

#include "captions/embed.h"
#include "codec/encode.h"
#include "picture/pixel_formats.h"

namespace xv {
namespace {

// Encoders refuse stamps that do not rise: a frame at most one tick behind moves up, one further
// back is skipped.
Status CheckOrder(StreamHolder& holder, AVFrame& picture) {
  if (holder.lastPts >= 0 && holder.lastPts >= picture.pts) {
    if (holder.lastPts >= picture.pts + 2) return XV_S_SKIP_FRAME;
    picture.pts = holder.lastPts + 1;
  }
  holder.lastPts = picture.pts;
  return S_OK;
}

// The picture with its own stamp: repeats share one AVFrame, and the encoder may still hold it.
AvPtr<AVFrame> StampedPicture(const QueuedFrame& frame, std::int64_t forcedPts) {
  const AVFrame& source = *frame.frame->picture();
  AvPtr<AVFrame> picture;
  if (source.format == kPixFmtV210) {
    picture.reset(av_frame_alloc());
    if (!picture) return nullptr;
    picture->format = source.format;
    picture->width = source.width;
    picture->height = source.height;
    picture->data[0] = source.data[0];
    picture->linesize[0] = source.linesize[0];
    picture->buf[0] = av_buffer_ref(source.buf[0]);
    if (picture->buf[0] == nullptr) return nullptr;
  } else {
    picture.reset(av_frame_clone(&source));
  }
  if (picture) picture->pts = forcedPts >= 0 ? forcedPts : frame.pts;
  return picture;
}

}  // namespace

void VideoStage::Start(StreamHolder* holder, const StageOptions* options) {
  holder_ = holder;
  options_ = options;
  frames_ = 0;
  dump_ = RawDump(options->rawVideoPath);
}

void VideoStage::Close() {
  holder_ = nullptr;
  dump_ = RawDump();
}

Status VideoStage::Send(const QueuedFrame& frame) {
  if (!frame.frame) return EncodeBackend(*holder_, nullptr);
  const AvPtr<AVFrame> picture = StampedPicture(frame, options_->ignorePts ? frames_ : -1);
  if (!picture) return E_OUTOFMEMORY;
  const Status order = CheckOrder(*holder_, *picture);
  if (order == Status(XV_S_SKIP_FRAME)) return order;
  if (IXvFrame* source = frame.repeat ? nullptr : frame.frame->KeptSource()) {
    (void)KeepCaptions(&holder_->ccMap, *source, picture->pts,
                       holder_->framesSent - holder_->packetsReceived, &stats_.captions);
  }
  const auto begin = std::chrono::steady_clock::now();
  const Status encoded = EncodeBackend(*holder_, picture.get());
  stats_.encodeTime.Add((std::chrono::steady_clock::now() - begin).count());
  return encoded;
}

void VideoStage::Deliver(AvPtr<AVPacket> packet) {
  // Captions never decide over a packet: what could not be put in is counted as lost.
  if (!holder_->ccMap.empty()) {
    (void)InsertCaptions(&holder_->ccMap, holder_->codec->codec_id, options_->captionPlacement,
                         packet.get(), &stats_.captions);
  }
  if (packet->duration <= 0) packet->duration = 1;  // a frame
  ScaleToStream(*holder_, *packet);
  delivery_.Dump(dump_, *packet, "raw_video");
  delivery_.Deliver(std::move(packet), "video packet");
}

void VideoStage::Encode(const QueuedFrame& frame) {
  const Status encoded = Send(frame);
  if (encoded == Status(XV_S_SKIP_FRAME)) {
    stats_.ptsErrors.fetch_add(1, std::memory_order_relaxed);
  }
  failure_.Keep(encoded, "video encoder", holder_->failure);
  while (AvPtr<AVPacket> packet = TakePacket(*holder_)) Deliver(std::move(packet));
  if (!frame.frame) DropCaptions(&holder_->ccMap, &stats_.captions);
  ++frames_;
}

}  // namespace xv
