#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include "hw/hw_encoder.h"
#include "hw/nvenc/nvenc_picture.h"
#include "hw/nvenc/nvenc_ring.h"
#include "hw/nvenc/nvenc_session.h"
#include "hw/nvenc/nvenc_settings.h"
#include "hw/stamp_order.h"
#include "hw/stop_signal.h"

namespace xv {

// H.264 and H.265 by NVIDIA's hardware encoder. Packets' pts are 64-bit stamps as they were given;
// their dts come from StampOrder, max(frameIntervalP + 1, 0) pictures ahead. A packet is key when
// its picture is I or IDR.
//
// Linux has no completion events: the session is asked whether an output can be locked, again each
// millisecond where a wait is due, for 3000 ms at most.
class NVEncoderHW final : public HwEncoder {
 public:
  ~NVEncoderHW() override { NVEncoderHW::Close(); }

  // Beside HwEncoder's results: E_UNEXPECTED when the adapter does not encode the codec, E_FAIL for
  // what else the vendor refuses.
  Status Open(const HwOpenRequest& request, HwOpenReport* report) override;
  Status GetHeaders(std::uint8_t* into, std::size_t* size) override;
  // E_UNEXPECTED also when no output is ready within 3000 ms and no entry is free. At the end of
  // the stream S_FALSE says that nothing came within 3000 ms.
  Status EncodeFrame(const ImageView* picture, std::int64_t pts, Ref<HwPacket>* out) override;
  Status ReadPacket(Ref<HwPacket>* out) override;
  void Interrupt() override { stop_.Set(); }
  void Close() override;
  std::string Failure() const override { return session_.Failure(); }

 private:
  Status OpenSession(int adapter, bool hevc);
  Status Configure(const HwOpenRequest& request, HwOpenReport* report);
  Status ChoosePreset(int word, const NvencAbilities& abilities, NvencChosenPreset* chosen);
  Status CheckRaster(const XV_VID_PROPS& vid, const NvencAbilities& abilities);
  Status OpenAll(const HwOpenRequest& request, HwOpenReport* report);
  Status CheckPicture(const ImageView& picture);
  Status EncodePicture(const ImageView& picture, std::int64_t pts);
  Status TakeEntry(XvNvEntry** entry);
  Status FillInput(const ImageView& picture, XvNvEntry* entry, std::uint32_t* pitch);
  Status Submit(XvNvEntry* entry, std::uint32_t pitch, std::int64_t pts);
  Status SendPicture(NV_ENC_PIC_PARAMS* params);
  Status Drain(Status entered);
  Status SendEnd();
  Status Read(bool wait);
  Status LockOutput(bool wait, XvNvEntry* entry, NV_ENC_LOCK_BITSTREAM* lock);
  Status TakeOutput(const NV_ENC_LOCK_BITSTREAM& lock, std::int64_t dts);
  Status Give(Status status, Ref<HwPacket>* out);
  Status EnterDevice(const CudaScope& scope);

  NvencSession session_;
  NvencRing ring_;
  NvencPicture picture_;
  NvencSettings settings_;
  StampOrder stamps_;
  XV_VID_PROPS vid_{};
  std::int32_t nextFrame_ = -1;  // -1: closed
  bool endSent_ = false;
  bool endFailed_ = false;          // nothing more becomes ready
  std::deque<Ref<HwPacket>> read_;  // not given yet
  StopSignal stop_;                 // any thread
};

}  // namespace xv
