#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "base/auto_obj_base.h"
#include "base/blob.h"
#include "base/ref.h"
#include "base/status.h"

namespace xv {

// A growing planar store: one byte buffer for each channel, all of one used size and with one
// common read offset. Offsets and sizes are in bytes and count from the read offset.
// One caller at a time; a pointer that was handed out is good until the next operation that changes
// sizes.
class XvChannelsBuffer final : public AutoObjBase<XvChannelsBuffer> {
 public:
  static constexpr int kMaxChannels = 128;

  XvChannelsBuffer() = default;

  // S_OK when the whole count was met, S_FALSE when it was cut to kMaxChannels. Fresh channels get
  // the present size; with `keepSizeAndFill` their unread bytes are zero. Shrinking removes from
  // the end. E_OUTOFMEMORY drops everything.
  Status SetChannels(int count, bool keepSizeAndFill);
  // Drops all channels and the silence block.
  void Reset();
  // `channels` buffers of `bytes` unread bytes; what was held is dropped. With `clear` they are
  // zero. E_OUTOFMEMORY drops everything.
  Status SetSize(std::uint32_t bytes, int channels, bool clear);
  // As SetSize, but with `keep` the unread bytes stay in front. Bytes behind them are not set.
  // Read bytes give way before memory grows, so the steady state allocates nothing.
  Status Reserve(std::uint32_t bytes, int channels, bool keep);
  // Zeroes [offset, offset + bytes) of channels [first, first + count), as far as they exist.
  void Clear(int first, int count, std::uint32_t offset, std::uint32_t bytes);

  // The byte at `offset` of a channel. A channel that does not exist reads as silence of
  // Available() bytes; a position past the end gives null.
  std::uint8_t* ChannelPointer(int index, std::uint32_t offset);
  // The table of pointers for planar readers: `count` channels from `index` on, null for the rest.
  std::uint8_t* const* Planes(int index, std::uint32_t offset, int count);

  std::uint32_t Available() const;
  int ChannelCount() const;
  // Empties every channel; memory stays.
  void Rewind();
  // Moves the read offset over at most Available() bytes.
  void Skip(std::uint32_t bytes);

  // Copies up to `byteLimit` unread bytes of up to `channelLimit` channels of `source`, from its
  // channel `sourceIndex`, over this buffer's channels from `targetIndex` at `offset`. This buffer
  // is neither grown nor shrunk. Returns the bytes copied for each channel.
  std::uint32_t CopyFrom(XvChannelsBuffer& source, int sourceIndex, int targetIndex,
                         std::uint32_t offset, int channelLimit, std::uint32_t byteLimit);

 private:
  using Channel = CBLOBHolder<CHeapAlloc>;

  Status Enlarge(Channel& channel, std::uint32_t bytes);
  std::uint32_t UsedSize() const;
  std::uint32_t UnreadSize() const { return UsedSize() - readOffset_; }

  std::vector<Ref<Channel>> channels_;
  std::uint32_t readOffset_ = 0;
  std::array<std::uint8_t*, kMaxChannels> planes_{};
  CBLOBHolder<CNewAlloc> silence_;
};

}  // namespace xv
