#include "hw/nvenc/nvenc_ring.h"

namespace xv {
namespace {

constexpr std::uint32_t kOutputBytes = 0x400000;

}  // namespace

Status NvencRing::Allocate(NvencSession& session, std::size_t count, std::uint32_t width,
                           std::uint32_t height) {
  if (count < 1 || width < 1 || height < 1) return E_UNEXPECTED;
  width_ = width;
  height_ = height;
  while (entries_.size() < count) RETURN_IF_FAILED(Grow(session));
  return S_OK;
}

Status NvencRing::Grow(NvencSession& session) {
  if (entries_.size() >= kMostEntries) {
    session.SetFailure("nvEncEncodePicture: the encoder holds back more pictures than any does");
    return E_UNEXPECTED;
  }
  XvNvEntry* entry = entries_.emplace_back(std::make_unique<XvNvEntry>()).get();
  entry->input.version = PlainVersion(session.api());
  entry->input.width = width_;
  entry->input.height = height_;
  entry->input.memoryHeap = NV_ENC_MEMORY_HEAP_SYSMEM_CACHED;
  entry->input.bufferFmt = NV_ENC_BUFFER_FORMAT_NV12;
  entry->output.version = PlainVersion(session.api());
  entry->output.size = kOutputBytes;
  entry->output.memoryHeap = NV_ENC_MEMORY_HEAP_SYSMEM_CACHED;
  const auto& calls = session.calls();
  RETURN_IF_FAILED(session.Check("nvEncCreateInputBuffer",
                                 calls.nvEncCreateInputBuffer(session.encoder(), &entry->input)));
  RETURN_IF_FAILED(
      session.Check("nvEncCreateBitstreamBuffer",
                    calls.nvEncCreateBitstreamBuffer(session.encoder(), &entry->output)));
  PutFree(entry);
  return S_OK;
}

void NvencRing::Destroy(NvencSession& session) {
  const auto& calls = session.calls();
  for (const auto& entry : entries_) {
    if (entry->input.inputBuffer != nullptr) {
      calls.nvEncDestroyInputBuffer(session.encoder(), entry->input.inputBuffer);
    }
    if (entry->output.bitstreamBuffer != nullptr) {
      calls.nvEncDestroyBitstreamBuffer(session.encoder(), entry->output.bitstreamBuffer);
    }
  }
  const std::scoped_lock lock(lock_);
  free_.clear();
  busy_.clear();
  ready_ = 0;
  entries_.clear();
}

XvNvEntry* NvencRing::TakeFree() {
  const std::scoped_lock lock(lock_);
  if (free_.empty()) return nullptr;
  XvNvEntry* entry = free_.front();
  free_.pop_front();
  return entry;
}

void NvencRing::PutFree(XvNvEntry* entry) {
  const std::scoped_lock lock(lock_);
  free_.push_back(entry);
}

void NvencRing::PutBusy(XvNvEntry* entry) {
  const std::scoped_lock lock(lock_);
  busy_.push_back(entry);
}

void NvencRing::MarkReady() {
  const std::scoped_lock lock(lock_);
  ready_ = busy_.size();
}

XvNvEntry* NvencRing::FirstReady() const {
  const std::scoped_lock lock(lock_);
  return ready_ == 0 ? nullptr : busy_.front();
}

bool NvencRing::HasBusy() const {
  const std::scoped_lock lock(lock_);
  return !busy_.empty();
}

void NvencRing::TakeBack() {
  const std::scoped_lock lock(lock_);
  free_.push_back(busy_.back());
  busy_.pop_back();
}

void NvencRing::PopBusy() {
  const std::scoped_lock lock(lock_);
  busy_.pop_front();
  if (ready_ > 0) --ready_;
}

}  // namespace xv
