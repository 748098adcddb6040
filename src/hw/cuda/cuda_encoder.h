#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "hw/cuda/cuda_callbacks.h"
#include "hw/cuda/cuda_library.h"
#include "hw/cuda/cuda_packets.h"
#include "hw/cuda/cuda_session.h"
#include "hw/hw_encoder.h"
#include "hw/stamp_order.h"

namespace xv {

// H.264 on a graphics card's shader units, through a library of the vendor that calls back on its
// own thread (cuda_api.h). Attributes: cuda_attributes.h.
//
// The vendor counts pictures; packets carry the stamps that the host gave the pictures of those
// numbers. Decoding runs two pictures ahead of showing.
class CUDAEncoder final : public HwEncoder {
 public:
  // Loads the library; a failure shows in Open.
  CUDAEncoder();
  ~CUDAEncoder() override;

  // Whether the library is there and makes an encoder.
  static bool IsSupported();

  // As the base class tells, and
  //   XV_E_VENDOR_LIBRARY  no library, or no adapter.
  //   E_FAIL               the library makes no encoder here.
  //   others               what the library's call gave.
  Status Open(const HwOpenRequest& request, HwOpenReport* report) override;

  // E_FAIL when the library gives none, or what cannot be read.
  Status GetHeaders(std::uint8_t* into, std::size_t* size) override;
  // The library's own form: each set behind its length in two bytes.
  Status GetRawHeaders(std::uint8_t* into, std::size_t* size);

  // Layouts: UYVY, HDYC, YUY2, YV12; the vendor is left to judge others. At the end of the stream
  // it waits for what the vendor holds, 3 seconds for each access unit; XV_E_TIMEOUT when the
  // vendor brings no more, and from then on XV_E_NOTHING_MORE. When the vendor does not take the
  // end of the stream, its failure comes behind the last access unit, once.
  //   E_UNEXPECTED   not open.
  //   E_OUTOFMEMORY  there was no memory for an access unit.
  Status EncodeFrame(const ImageView* picture, std::int64_t pts, Ref<HwPacket>* out) override;

  Status ReadPacket(Ref<HwPacket>* out) override { return ReadPacket(false, out); }
  // Never waits. Access units come in the order of decoding.
  //   E_POINTER            `out` is null.
  //   XV_E_VENDOR_LIBRARY  no library.
  //   S_FALSE              none is ready; with `flush` XV_E_NOTHING_MORE.
  Status ReadPacket(bool flush, Ref<HwPacket>* out);

  void Interrupt() override;
  void Close() override;
  std::string Failure() const override { return failure_; }

 private:
  // Gives the status on, and keeps the words of a failure.
  Status Check(Status status, const std::string& call);
  Status TryOpen(const HwOpenRequest& request, HwOpenReport* report);
  Status StartSession();
  Status SetParameters(const HwOpenRequest& request, HwOpenReport* report);
  Status StartHardware();
  // Null: the end of the stream.
  CudaFrame FrameOf(const ImageView* picture) const;
  Status Send(const ImageView* picture);
  // Once a session.
  void SendEnd();
  // Everything has come out: how telling the end went, once.
  Status Ending();
  // The next access unit at the end of the stream.
  Status Drain(Ref<HwPacket>* out);
  // What did not come will not.
  Status GiveUp();
  bool HasAllComeOut() const;
  // Negative for none yet; nothing when the library does not tell.
  std::optional<std::int32_t> LastFinished() const;
  std::shared_ptr<CudaPackets> Packets() const;

  CudaLibrary library_;
  CudaSession session_;
  XV_VID_PROPS vid_{};
  std::unique_ptr<CudaListener> listener_;
  StampOrder stamps_;
  std::int64_t sent_ = 0;  // pictures
  bool endSent_ = false;
  Status endResult_;     // of telling the end
  bool gaveUp_ = false;  // what is missing will not come
  std::string failure_;

  mutable std::mutex packetsLock_;  // guards packets_, for Interrupt; a leaf
  std::shared_ptr<CudaPackets> packets_;
};

}  // namespace xv
