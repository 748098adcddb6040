#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "base/ref.h"
#include "base/status.h"
#include "hw/hw_packet.h"
#include "hw/quicksync/quick_allocator.h"
#include "hw/quicksync/quick_api.h"
#include "kernels/aligned_vector.h"

namespace xv {

// A picture on its way through the encoder: its surface, and the memory behind it. The runtime
// holds the surface's address while it is locked.
class CInputFrame {
 public:
  mfxFrameSurface1 surface{};
  AlignedVector<mfxU8> bytes;        // NV12; empty where the memory is an allocator's
  Ref<XvQSAllocatorBase> allocator;  // it is this one's
  bool delivered = false;            // its access unit is complete

  // The runtime changes the count from its threads.
  bool IsLocked();
};

// An access unit on its way.
class COutputPkt {
 public:
  explicit COutputPkt(std::size_t capacity) : bytes_(capacity) {}

  // Ready for a call, as number `sequence` of the stream.
  void Reset(std::int64_t number);
  // By half. E_OUTOFMEMORY at the end of memory, or of what an access unit can be.
  Status Grow();

  mfxBitstream stream{};
  mfxSyncPoint sync = nullptr;
  std::int64_t sequence = -1;

 private:
  std::vector<mfxU8> bytes_;
};

// The lists of an open encoder. Frames stay until the runtime has unlocked them and their access
// units are out, so that a new session can be given them again.
//
// Access units come in decoding order. Those of a group are kept until all pictures that are shown
// before the last of them are complete: what is out when a session fails then ends at a whole
// picture in the order of showing, and the next session goes on from there.
class QuickLists {
 public:
  using Frame = std::unique_ptr<CInputFrame>;
  using Packet = std::unique_ptr<COutputPkt>;

  // --- pictures ---
  CInputFrame* AddFrame(Frame frame);
  Frame TakeBackLast();
  // Frames that are free for new pictures.
  std::vector<Frame> TakeFreed();
  std::size_t FramesInWork() const { return frames_.size(); }
  // In order of their submission; their access units are not out.
  std::vector<CInputFrame*> Undelivered();
  std::size_t UndeliveredCount() const;

  // --- access units ---
  Packet TakePacket(std::size_t capacity);
  void PutFree(Packet packet);
  void AddPending(Packet packet) { pending_.push_back(std::move(packet)); }
  COutputPkt* OldestPending() { return pending_.empty() ? nullptr : pending_.front().get(); }
  Packet TakeOldestPending();
  std::size_t PendingCount() const { return pending_.size(); }

  // An access unit of the picture with the runtime's stamp `clock`; of the oldest one where no
  // picture has it.
  void AddComplete(Ref<HwPacket> unit, std::uint64_t clock);
  // Null where none is to be given yet.
  Ref<HwPacket> TakeComplete();
  bool HasComplete() const { return !complete_.empty(); }
  // Nothing is kept any more, and nothing waited for that is shown before it: at the end of the
  // stream, and where a runtime has left a picture out.
  void ReleaseAll();

  // Pictures whose access units are out.
  std::int64_t Released() const { return released_; }

  // A new session begins: access units that are pending or kept come again.
  void ForgetUnfinished();
  // Pictures that are not out are given anew, from the first on.
  void DropFrames() {
    frames_.clear();
    nextPicture_ = released_;
  }
  void Clear();

 private:
  // With the place of its picture among all.
  struct Kept {
    Ref<HwPacket> unit;
    std::int64_t picture;
  };
  struct Placed {
    Frame frame;
    std::int64_t picture;
    bool kept = false;  // its access unit is complete, or is kept
  };

  void ReleaseGroup();

  std::deque<Placed> frames_;
  std::deque<Packet> pending_;
  std::vector<Packet> freePackets_;
  std::deque<Kept> kept_;
  std::deque<Ref<HwPacket>> complete_;
  std::int64_t nextPicture_ = 0;
  std::int64_t released_ = 0;  // pictures that are out: all below it
};

}  // namespace xv
