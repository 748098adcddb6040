#include <chrono>
#include <cstring>

#include "codec/encode.h"
#include "codec/hardware.h"
#include "picture/image_view.h"

namespace xv {
namespace {

// An encoder that gives nothing for as long has stopped to work.
constexpr std::chrono::seconds kDrainPatience{10};

ImageView ViewOf(const StreamHolder& holder, const AVFrame& frame) {
  ImageView view = MakeImageView(holder.vid, frame.data[0]);
  for (std::size_t plane = 0; plane < view.data.size(); ++plane) {
    view.data[plane] = frame.data[plane];
    view.step[plane] = frame.linesize[plane];
  }
  view.matrix = holder.rgbMatrix;
  return view;
}

Status Deliver(StreamHolder& holder, const HwPacket& unit) {
  AvPtr<AVPacket> packet(av_packet_alloc());
  if (!packet || av_new_packet(packet.get(), static_cast<int>(unit.size())) < 0) {
    return E_OUTOFMEMORY;
  }
  std::memcpy(packet->data, unit.data(), unit.size());
  packet->pts = unit.pts;
  packet->dts = unit.dts;
  packet->duration = 1;
  if (unit.key) packet->flags |= AV_PKT_FLAG_KEY;
  ++holder.packetsReceived;
  holder.packets.push_back(std::move(packet));
  return S_OK;
}

Status Fail(StreamHolder& holder, const HwEncoder& encoder) {
  holder.failure = encoder.Failure();
  return E_FAIL;
}

// `unit`, where there is one, and all that are ready behind it.
Status DeliverReady(StreamHolder& holder, HwEncoder& encoder, Ref<HwPacket> unit) {
  while (unit) {
    RETURN_IF_FAILED(Deliver(holder, *unit));
    unit = nullptr;
    RETURN_IF_FAILED(encoder.ReadPacket(&unit));
  }
  return S_OK;
}

Status SendPicture(StreamHolder& holder, HwEncoder& encoder, const AVFrame& frame) {
  const ImageView view = ViewOf(holder, frame);
  Ref<HwPacket> unit;
  ++holder.framesSent;
  Status result = encoder.EncodeFrame(&view, frame.pts, &unit);
  if (!result.Failed()) result = DeliverReady(holder, encoder, unit);
  return result.Failed() ? Fail(holder, encoder) : Status(S_OK);
}

// No more pictures can be encoded; those that are ready are delivered all the same.
Status EndWithFailure(StreamHolder& holder, HwEncoder& encoder) {
  holder.drained = true;
  const Status failed = Fail(holder, encoder);
  Ref<HwPacket> unit;
  if (!encoder.ReadPacket(&unit).Failed()) (void)DeliverReady(holder, encoder, unit);
  return failed;
}

Status Drain(StreamHolder& holder, HwEncoder& encoder) {
  holder.endSent = true;
  auto lastSign = std::chrono::steady_clock::now();
  while (!holder.drained) {
    if (GivesUp(holder)) return GiveUpHeld(holder);
    Ref<HwPacket> unit;
    const Status result = encoder.EncodeFrame(nullptr, 0, &unit);
    const auto now = std::chrono::steady_clock::now();
    if (unit) {
      RETURN_IF_FAILED(Deliver(holder, *unit));
      lastSign = now;
    }
    if (result == Status(XV_E_NOTHING_MORE)) {
      holder.drained = true;
    } else if (result == Status(E_ABORT)) {
      return GiveUpHeld(holder);
    } else if (result.Failed()) {
      return EndWithFailure(holder, encoder);
    } else if (now - lastSign > kDrainPatience) {
      (void)GiveUpHeld(holder);
      holder.failure += ": the encoder has given nothing for 10 seconds";
      return XV_E_TIMEOUT;
    }
  }
  return S_OK;
}

}  // namespace

Status EncodeOnHardware(StreamHolder& holder, const AVFrame* frame) {
  HwEncoder& encoder = *holder.hw.Filled();
  return frame != nullptr ? SendPicture(holder, encoder, *frame) : Drain(holder, encoder);
}

}  // namespace xv
