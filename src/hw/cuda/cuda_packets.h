#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>

#include "base/ref.h"
#include "hw/cuda/cuda_api.h"
#include "hw/hw_packet.h"

namespace xv {

// The access units of one session, oldest first, as the vendor's thread fills them and the
// encoder's takes them. Thread-safety: safe; nothing is called under its lock.
class CudaPackets {
 public:
  // Bytes of an access unit.
  static constexpr std::size_t kCapacity = 0x400000;

  // A packet that came out, and the number of its picture.
  struct Numbered {
    Ref<HwPacket> packet;
    std::int32_t number = 0;
  };

  // --- the vendor's thread ---

  // The free bytes of the last packet; null when there is none.
  std::uint8_t* Acquire(std::int32_t* room);
  void Release(std::int32_t bytes);
  // A number that is in the queue already goes on with its packet: a second field.
  void Begin(const CudaFrameEvent& event);
  void End(const CudaFrameEvent& event);

  // --- the encoder's ---

  // The first packet when all of it has arrived.
  std::optional<Numbered> TakeFirst();
  // The next picture tells that the last packet is complete, and at the end there is none: then it
  // is when it was ended, and either as a whole or with `finished` as the number that was finished
  // last; where that is not known, unless a second field may come. `late`: nothing comes any more.
  void CompleteLast(std::optional<std::int32_t> finished, bool late);
  // Pictures that were begun.
  std::int64_t Begun() const;
  bool IsEmpty() const;
  // A picture was lost for want of memory since the last call.
  bool TakeLoss();
  // Ends when a picture ends, after `longest`, or at once after an Interrupt.
  void WaitForEnd(std::chrono::milliseconds longest);
  void Interrupt();
  bool IsInterrupted() const;
  // The session is over: gives up what is in the queue. From now on the vendor gets no place for
  // bytes.
  void Leave();
  bool HasLeft() const;
  // The vendor has a place for bytes that it has not given back, which must not go away.
  bool HasLent() const;

 private:
  struct Entry {
    Ref<HwPacket> packet;
    std::int32_t number = 0;
    int ends = 0;        // ends of fields or of the picture
    bool isOpen = true;  // since it was begun, or begun again, there was no end
  };
  // -1 until a packet has been completed; then how many chunks, and ends, complete the first one.
  static constexpr int kAtRest = -1;

  Entry* Find(std::int32_t number);
  void Append(const CudaFrameEvent& event);
  void CompleteFirst();

  mutable std::mutex lock_;  // guards what follows; a leaf
  std::condition_variable changed_;
  std::deque<Entry> queue_;
  int state_ = kAtRest;
  std::int64_t begun_ = 0;
  Ref<HwPacket> lent_;  // where the vendor writes
  int lentTimes_ = 0;
  bool noPlace_ = false;  // for the picture at hand
  bool lost_ = false;
  bool interrupted_ = false;
  bool left_ = false;
};

}  // namespace xv
