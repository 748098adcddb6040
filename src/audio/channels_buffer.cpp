#include "audio/channels_buffer.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace xv {
namespace {

// Blocks grow in steps of 512 KB with at least 256 KB to spare, so that growth is rare.
constexpr std::uint32_t kGrowthStep = 0x80000;
constexpr std::uint32_t kGrowthRounding = 0xBFFFF;

}  // namespace

std::uint32_t XvChannelsBuffer::UsedSize() const {
  return channels_.empty() ? 0 : channels_.front()->size();
}

Status XvChannelsBuffer::Enlarge(Channel& channel, std::uint32_t bytes) {
  if (bytes > std::numeric_limits<std::uint32_t>::max() - kGrowthRounding) return E_OUTOFMEMORY;
  if (bytes > channel.capacity()) {
    RETURN_IF_FAILED(channel.Ensure((bytes + kGrowthRounding) & ~(kGrowthStep - 1)));
  }
  return channel.Resize(bytes);
}

Status XvChannelsBuffer::SetChannels(int count, bool keepSizeAndFill) {
  const auto wanted = static_cast<std::size_t>(std::clamp(count, 0, kMaxChannels));
  const std::uint32_t used = UsedSize();
  if (wanted < channels_.size()) channels_.resize(wanted);
  while (channels_.size() < wanted) {
    channels_.push_back(MakeRef<Channel>());
    Channel& channel = *channels_.back();
    if (const Status status = Enlarge(channel, used); status.Failed()) {
      Reset();
      return status;
    }
    if (keepSizeAndFill && used > 0) {
      std::memset(channel.data() + readOffset_, 0, used - readOffset_);
    }
  }
  if (channels_.empty()) readOffset_ = 0;
  return count == static_cast<int>(wanted) ? S_OK : S_FALSE;
}

void XvChannelsBuffer::Reset() {
  planes_.fill(nullptr);
  channels_.clear();
  silence_.Free();
  readOffset_ = 0;
}

Status XvChannelsBuffer::SetSize(std::uint32_t bytes, int channels, bool clear) {
  RETURN_IF_FAILED(Reserve(bytes, channels, false));
  if (clear) Clear(0, ChannelCount(), 0, bytes);
  return S_OK;
}

Status XvChannelsBuffer::Reserve(std::uint32_t bytes, int channels, bool keep) {
  if (!keep) Rewind();
  RETURN_IF_FAILED(SetChannels(channels, true));
  if (channels_.empty()) return S_OK;
  const std::uint32_t unread = UnreadSize();
  const std::uint64_t end = std::uint64_t{readOffset_} + bytes;
  const bool closeUp = readOffset_ > 0 && end > channels_.front()->capacity();
  for (const Ref<Channel>& channel : channels_) {
    if (closeUp) {
      std::memmove(channel->data(), channel->data() + readOffset_, unread);
      static_cast<void>(channel->Resize(unread));  // a decrease cannot fail
    }
    const std::uint32_t size = closeUp ? bytes : static_cast<std::uint32_t>(end);
    if (const Status status = Enlarge(*channel, size); status.Failed()) {
      Reset();
      return status;
    }
  }
  if (closeUp) readOffset_ = 0;
  return S_OK;
}

void XvChannelsBuffer::Clear(int first, int count, std::uint32_t offset, std::uint32_t bytes) {
  const std::uint32_t unread = UnreadSize();
  if (offset >= unread) return;
  const int end = std::min(first + count, ChannelCount());
  for (int i = std::max(first, 0); i < end; ++i) {
    std::memset(channels_[static_cast<std::size_t>(i)]->data() + readOffset_ + offset, 0,
                std::min(bytes, unread - offset));
  }
}

std::uint8_t* XvChannelsBuffer::ChannelPointer(int index, std::uint32_t offset) {
  const std::uint32_t unread = UnreadSize();
  if (index < 0 || index >= ChannelCount()) {
    if (silence_.size() < unread && silence_.Resize(unread, 0).Failed()) return nullptr;
    return offset < unread ? silence_.data() + offset : nullptr;
  }
  if (offset >= unread) return nullptr;
  return channels_[static_cast<std::size_t>(index)]->data() + readOffset_ + offset;
}

std::uint8_t* const* XvChannelsBuffer::Planes(int index, std::uint32_t offset, int count) {
  planes_.fill(nullptr);
  for (int i = 0; i < std::min(count, kMaxChannels); ++i) {
    planes_[static_cast<std::size_t>(i)] = ChannelPointer(index + i, offset);
  }
  return planes_.data();
}

std::uint32_t XvChannelsBuffer::Available() const { return UnreadSize(); }

int XvChannelsBuffer::ChannelCount() const { return static_cast<int>(channels_.size()); }

void XvChannelsBuffer::Rewind() {
  readOffset_ = 0;
  for (const Ref<Channel>& channel : channels_) {
    static_cast<void>(channel->Resize(0));  // a decrease cannot fail
  }
}

void XvChannelsBuffer::Skip(std::uint32_t bytes) {
  if (bytes >= UnreadSize()) return Rewind();
  readOffset_ += bytes;
}

std::uint32_t XvChannelsBuffer::CopyFrom(XvChannelsBuffer& source, int sourceIndex, int targetIndex,
                                         std::uint32_t offset, int channelLimit,
                                         std::uint32_t byteLimit) {
  if (&source == this) return 0;
  if (sourceIndex < 0 || targetIndex < 0 || offset >= UnreadSize()) return 0;
  const std::uint32_t bytes = std::min({byteLimit, source.UnreadSize(), UnreadSize() - offset});
  const int count =
      std::min({channelLimit, source.ChannelCount() - sourceIndex, ChannelCount() - targetIndex});
  if (bytes == 0 || count < 1) return 0;
  for (int i = 0; i < count; ++i) {
    std::memcpy(ChannelPointer(targetIndex + i, offset), source.ChannelPointer(sourceIndex + i, 0),
                bytes);
  }
  return bytes;
}

}  // namespace xv
