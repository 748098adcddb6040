#include <chrono>
#include <cstring>

#include "codec/encode.h"
#include "codec/hardware.h"
#include "picture/image_view.h"

namespace xv {
namespace {

// An encoder that gives nothing for as long has stopped to work.
constexpr std::chrono::seconds kDrainPatience{10};
// More than an encoder has places for pictures.
constexpr int kMostFailures = 256;

ImageView ViewOf(const StreamHolder& holder, const AVFrame& frame) {
  ImageView view = MakeImageView(holder.vid, frame.data[0]);
  for (std::size_t plane = 0; plane < view.data.size(); ++plane) {
    view.data[plane] = frame.data[plane];
    view.step[plane] = frame.linesize[plane];
  }
  view.matrix = holder.rgbMatrix;
  if (holder.pseudo != PseudoCodec::kQuick264) return view;
  // QuickSync codes all that it is given. A line of chroma stands for four of both fields.
  const int lines = holder.codec->height;
  return RegionView(view, 0, (view.height - lines) & ~3, view.width, lines);
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
  if (!result.Failed()) return S_OK;
  // A stop that does not wait has broken it off.
  return GivesUp(holder) ? GiveUpHeld(holder) : Fail(holder, encoder);
}

// At the end an encoder may fail and still give what it has encoded before: it is asked until it
// says that there is nothing more, and the first failure counts.
class EndOfStream {
 public:
  EndOfStream(StreamHolder& holder, HwEncoder& encoder) : holder_(holder), encoder_(encoder) {}

  Status Run() {
    holder_.endSent = true;
    while (!holder_.drained) {
      if (GivesUp(holder_)) return GiveUpHeld(holder_);
      Ref<HwPacket> unit;
      const Status result = encoder_.EncodeFrame(nullptr, 0, &unit);
      if (unit) RETURN_IF_FAILED(Take(*unit));
      if (result == Status(E_ABORT)) return GiveUpHeld(holder_);
      if (result == Status(XV_E_NOTHING_MORE)) holder_.drained = true;
      if (result.Failed() && !holder_.drained) KeepFailure();
      if (!holder_.drained) RETURN_IF_FAILED(CheckPatience());
    }
    if (failure_.Failed()) holder_.failure = words_;
    return failure_;
  }

 private:
  using Clock = std::chrono::steady_clock;

  Status Take(const HwPacket& unit) {
    lastSign_ = Clock::now();
    return Deliver(holder_, unit);
  }

  void KeepFailure() {
    if (failures_ == 0) {
      failure_ = E_FAIL;
      words_ = encoder_.Failure();
    }
    holder_.drained = ++failures_ == kMostFailures;
  }

  Status CheckPatience() {
    if (Clock::now() - lastSign_ <= kDrainPatience) return S_OK;
    (void)GiveUpHeld(holder_);
    holder_.failure += ": the encoder has given nothing for 10 seconds";
    return XV_E_TIMEOUT;
  }

  StreamHolder& holder_;
  HwEncoder& encoder_;
  Clock::time_point lastSign_ = Clock::now();
  Status failure_;
  std::string words_;
  int failures_ = 0;
};

}  // namespace

Status EncodeOnHardware(StreamHolder& holder, const AVFrame* frame) {
  HwEncoder& encoder = *holder.hw.Filled();
  return frame != nullptr ? SendPicture(holder, encoder, *frame)
                          : EndOfStream(holder, encoder).Run();
}

}  // namespace xv
