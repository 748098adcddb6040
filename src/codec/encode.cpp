#include "codec/encode.h"

#include "codec/ffmpeg_words.h"
#include "codec/hardware.h"
#include "media/pixel_layout.h"
#include "picture/pixel_formats.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace xv {
namespace {

void Deliver(StreamHolder& holder, AvPtr<AVPacket> packet) {
  ++holder.packetsReceived;
  holder.packets.push_back(std::move(packet));
}

void StampRawPacket(const AVFrame& frame, AVPacket* packet) {
  packet->pts = packet->dts = frame.pts;
  packet->duration = 1;
  packet->flags |= AV_PKT_FLAG_KEY;
}

// Bytes of one row of a plane without padding.
int TightRowBytes(const AVFrame& frame, int plane = 0) {
  if (frame.format == kPixFmtV210) return NaturalRowBytes(kFccV210, frame.width);
  return av_image_get_linesize(static_cast<AVPixelFormat>(frame.format), frame.width, plane);
}

bool IsTight(const AVFrame& frame) {
  for (int plane = 0; plane < 3 && frame.data[plane] != nullptr; ++plane) {
    if (frame.linesize[plane] != TightRowBytes(frame, plane)) return false;
  }
  return true;
}

// A picture that already lies in memory as its packet must: the packet shares the memory.
bool ShareRawPicture(const AVFrame& frame, std::size_t bytes, AVPacket* packet) {
  if (frame.buf[0] == nullptr || !IsTight(frame)) return false;
  const AVBufferRef& buffer = *frame.buf[0];
  if (frame.data[0] < buffer.data || frame.data[0] + bytes > buffer.data + buffer.size)
    return false;
  const std::size_t luma =
      static_cast<std::size_t>(frame.linesize[0]) * static_cast<std::size_t>(frame.height);
  if (frame.data[1] != nullptr && frame.data[1] != frame.data[0] + luma) return false;
  if (frame.data[2] != nullptr &&
      frame.data[2] !=
          frame.data[1] + static_cast<std::ptrdiff_t>(frame.linesize[1]) * frame.height / 2) {
    return false;
  }
  packet->buf = av_buffer_ref(frame.buf[0]);
  if (packet->buf == nullptr) return false;
  packet->data = frame.data[0];
  packet->size = static_cast<int>(bytes);
  return true;
}

bool CopyV210Rows(const AVFrame& frame, int rowBytes, AVPacket* packet) {
  av_image_copy_plane(packet->data, rowBytes, frame.data[0], frame.linesize[0], rowBytes,
                      frame.height);
  return true;
}

// Raw video and ready v210: the picture's bytes are the packet. False where the encoder must do it.
bool EncodeRaw(StreamHolder& holder, const AVFrame& frame) {
  const bool v210 = frame.format == kPixFmtV210;
  if (!v210 && holder.codec->codec_id != AV_CODEC_ID_RAWVIDEO) return false;
  const auto format = static_cast<AVPixelFormat>(frame.format);
  const int rowBytes = TightRowBytes(frame);
  const int bytes = v210 ? rowBytes * frame.height
                         : av_image_get_buffer_size(format, frame.width, frame.height, 1);
  if (bytes <= 0 || frame.data[0] == nullptr) return false;
  AvPtr<AVPacket> packet(av_packet_alloc());
  if (!packet) return false;
  if (!ShareRawPicture(frame, static_cast<std::size_t>(bytes), packet.get())) {
    if (av_new_packet(packet.get(), bytes) < 0) return false;
    const bool copied =
        v210 ? CopyV210Rows(frame, rowBytes, packet.get())
             : av_image_copy_to_buffer(packet->data, bytes, frame.data, frame.linesize, format,
                                       frame.width, frame.height, 1) >= 0;
    if (!copied) return false;
  }
  StampRawPacket(frame, packet.get());
  Deliver(holder, std::move(packet));
  return true;
}

// Zeros ahead of a start code belong to no picture.
Status FillUp(AVPacket& packet, int bytes) {
  const int missing = bytes - packet.size;
  if (missing <= 0) return S_OK;
  if (av_grow_packet(&packet, missing) < 0) return E_OUTOFMEMORY;
  std::memset(packet.data + bytes - missing, 0, static_cast<std::size_t>(missing));
  return S_OK;
}

Status CollectPackets(StreamHolder& holder) {
  while (!holder.drained) {
    if (holder.endSent && GivesUp(holder)) return GiveUpHeld(holder);
    AvPtr<AVPacket> packet(av_packet_alloc());
    if (!packet) return E_OUTOFMEMORY;
    const int result = avcodec_receive_packet(holder.codec.get(), packet.get());
    if (result == AVERROR(EAGAIN)) return S_OK;
    if (result == AVERROR_EOF) {
      holder.drained = true;
      return S_OK;
    }
    if (result < 0) {
      holder.failure = FFmpegWords().Explain({}, result);
      return E_FAIL;
    }
    RETURN_IF_FAILED(FillUp(*packet, holder.packetBytes));
    Deliver(holder, std::move(packet));
  }
  return S_OK;
}

}  // namespace

Status EncodeBackend(StreamHolder& holder, const AVFrame* frame) {
  if (holder.hw.Filled() != nullptr) return EncodeOnHardware(holder, frame);
  const FFmpegWords words;
  if (frame != nullptr) {
    ++holder.framesSent;
    if (holder.type == AVMEDIA_TYPE_VIDEO && EncodeRaw(holder, *frame)) return S_OK;
    if (frame->format == kPixFmtV210) return XV_E_NO_PIXEL_FORMAT;
  } else if (holder.endSent) {
    return CollectPackets(holder);
  } else {
    holder.endSent = true;
  }
  int result = avcodec_send_frame(holder.codec.get(), frame);
  if (result == AVERROR(EAGAIN)) {
    RETURN_IF_FAILED(CollectPackets(holder));
    result = avcodec_send_frame(holder.codec.get(), frame);
  }
  if (result < 0 && !(frame == nullptr && result == AVERROR_EOF)) {
    holder.failure = words.Explain({}, result);
    return E_FAIL;
  }
  return CollectPackets(holder);
}

AvPtr<AVPacket> TakePacket(StreamHolder& holder) {
  if (holder.packets.empty()) return nullptr;
  AvPtr<AVPacket> packet = std::move(holder.packets.front());
  holder.packets.pop_front();
  return packet;
}

}  // namespace xv
