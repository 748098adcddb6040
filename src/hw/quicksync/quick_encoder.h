#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "hw/hw_encoder.h"
#include "hw/quicksync/quick_frames.h"
#include "hw/quicksync/quick_session.h"
#include "hw/quicksync/quick_settings.h"
#include "hw/quicksync/quick_surfaces.h"
#include "hw/stamp_order.h"
#include "hw/stop_signal.h"
#include "platform/named_mutex.h"

namespace xv {

// H.264 by Intel's runtimes. Pictures are NV12.
//
// When the device is lost or stays busy, or an access unit fails, the session is made anew and
// given all pictures whose access units are not out yet, in their order, under a mutex of the whole
// machine: no other process submits meanwhile. Each call that submits takes that mutex too. A
// picture is lost only where the memory of a lost device cannot be read any more: that call fails
// and says so.
//
// Stamps go through 100 ns to the runtime's 90 kHz and back. Decoding stamps are the pictures'
// stamps in their order, as many pictures ahead as the runtime tells with the first access unit
// (one, where it does not): where stamps have no gaps that is one tick for each access unit. None
// is above its picture's stamp. A packet is key when its FrameType has MFX_FRAMETYPE_I.
class QSEncoder final : public HwEncoder {
 public:
  QSEncoder() = default;
  ~QSEncoder() override { QSEncoder::Close(); }

  // Beside HwEncoder's results: E_FAIL when no session works, or the runtime refuses.
  Status Open(const HwOpenRequest& request, HwOpenReport* report) override;
  // E_OUTOFMEMORY: less room than they take. `into` may be null: then the size is told.
  Status GetHeaders(std::uint8_t* into, std::size_t* size) override;
  // XV_E_STILL_LOCKED when the runtime keeps all surfaces for a second. At the end of the stream
  // E_FAIL when nothing comes for 3 seconds, or pictures are missing; XV_E_NOTHING_MORE next.
  Status EncodeFrame(const ImageView* picture, std::int64_t pts, Ref<HwPacket>* out) override;
  Status ReadPacket(Ref<HwPacket>* out) override;
  void Interrupt() override { stop_.Set(); }
  void Close() override;
  std::string Failure() const override { return session_.Failure(); }

  // How often the session was made anew since Open.
  int Restarts() const { return restarts_; }

 private:
  struct Rounds;
  // A picture that outlives its session.
  struct SavedPicture {
    std::vector<mfxU8> bytes;
    ImageView view;
    std::uint64_t clock = 0;
  };

  Status OpenAll(const HwOpenRequest& request, HwOpenReport* report);
  Status InitEncoder();
  Status CheckPicture(const ImageView& picture);
  std::size_t PacketBytes() const;

  Status EncodePicture(const ImageView& picture, std::int64_t pts);
  Status TakeFrame(std::unique_ptr<CInputFrame>* frame);
  Status FillFrame(const ImageView& picture, std::uint64_t clock, CInputFrame& frame);
  Status Send(mfxFrameSurface1* surface, const Rounds& rounds, bool* restart, bool* drained);
  Status Submit(mfxFrameSurface1* surface, const Rounds& rounds, COutputPkt& packet,
                mfxStatus* code);
  Status WaitOutBusy(const Rounds& rounds, bool last, bool* restart);

  mfxStatus SyncOldest(mfxU32 waitMs);
  void Collect(const COutputPkt& packet);
  Status ReadAhead();
  Status Drain();
  Status DrainStep(bool* progress);
  Status EndOfDrain();
  Status EndWith(Status status);
  Status Give(Ref<HwPacket>* out);

  Status Restart();
  int SavePictures();
  Status Resubmit();
  Status ResubmitFirst();

  QuickSession session_;
  NamedMutex machine_;  // ahead of any lock of the runtime's
  QuickSettings settings_;
  mfxVideoParam result_{};  // as the encoder reports them
  QuickSurfaces surfaces_;
  QuickLists lists_;
  std::deque<SavedPicture> saved_;  // for the session, ahead of any other picture
  StampOrder stamps_;
  AVRational timeBase_{0, 1};
  std::int64_t framesIn_ = 0;  // access units that the runtime has promised
  std::int64_t lastStamp_ = -1;
  int restarts_ = 0;
  int restartsInVain_ = 0;   // since the last access unit
  bool syncFailed_ = false;  // a new session is due
  bool drained_ = false;     // the runtime has no more to promise
  bool finished_ = false;    // all have been taken, or the end failed
  StopSignal stop_;          // any thread
};

}  // namespace xv
