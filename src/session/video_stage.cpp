#include "session/video_stage.h"

#include <chrono>

#include "captions/embed.h"
#include "codec/encode.h"
#include "codec/ffmpeg.h"
#include "picture/pixel_formats.h"
#include "session/audio_stage.h"
#include "session/packet_writing.h"

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
  } else {
    picture.reset(av_frame_clone(&source));
  }
  if (picture) picture->pts = forcedPts >= 0 ? forcedPts : frame.pts;
  return picture;
}

Status EncodePicture(Session& session, StreamHolder& holder, const QueuedFrame& frame) {
  const FFmpegGuard guard(FFmpegLock());
  if (!frame.frame) return EncodeBackend(holder, nullptr);
  const std::int64_t forcedPts = session.options.ignorePts ? session.videoCounter : -1;
  const AvPtr<AVFrame> picture = StampedPicture(frame, forcedPts);
  if (!picture) return E_OUTOFMEMORY;
  const Status order = CheckOrder(holder, *picture);
  if (order == Status(XV_S_SKIP_FRAME)) return order;
  if (IXvFrame* source = frame.frame->KeptSource()) {
    (void)KeepCaptions(&holder.ccMap, *source, picture->pts,
                       holder.framesSent - holder.packetsReceived, &session.stats->captions);
  }
  const auto begin = std::chrono::steady_clock::now();
  const Status encoded = EncodeBackend(holder, picture.get());
  session.stats->encodeTime.Add((std::chrono::steady_clock::now() - begin).count());
  return encoded;
}

// Captions never decide over a packet: what could not be put in is counted as lost.
void EmbedCaptions(Session& session, StreamHolder& holder, AVPacket* packet) {
  if (holder.ccMap.empty()) return;
  (void)InsertCaptions(&holder.ccMap, holder.codec->codec_id, session.options.captionPlacement,
                       packet, &session.stats->captions);
}

void WriteVideoPacket(Session& session, StreamHolder& holder, AvPtr<AVPacket> packet) {
  EmbedCaptions(session, holder, packet.get());
  if (packet->duration <= 0) packet->duration = 1;  // a frame
  ScaleToStream(holder, *packet);
  if (const std::string& path = session.options.rawVideoPath; !path.empty()) {
    session.KeepError(session.rawVideo.Append(path, *packet), "raw_video", path);
  }
  session.KeepError(WritePacket(session, std::move(packet)), "video packet", session.main.path);
}

}  // namespace

void VideoStage(Session& session, const QueuedFrame& frame) {
  StreamHolder& holder = *session.VideoHolder();
  const Status encoded = EncodePicture(session, holder, frame);
  if (encoded == Status(XV_S_SKIP_FRAME)) {
    session.stats->ptsErrors.fetch_add(1, std::memory_order_relaxed);
  }
  session.KeepError(encoded, "video encoder", holder.failure);
  while (AvPtr<AVPacket> packet = TakePacket(holder)) {
    WriteVideoPacket(session, holder, std::move(packet));
  }
  if (!frame.frame) DropCaptions(&holder.ccMap, &session.stats->captions);
  ++session.videoCounter;
  AudioStage(session, !frame.frame);
  if (session.growing && session.second) FinishHeaderFile(*session.second, session.videoCounter);
}

}  // namespace xv
