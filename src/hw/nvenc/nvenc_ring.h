#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>

#include "base/status.h"
#include "hw/nvenc/nvenc_session.h"

namespace xv {

// Memory of a picture on its way in and of its access unit on its way out.
struct XvNvEntry {
  NV_ENC_CREATE_INPUT_BUFFER input{};
  NV_ENC_CREATE_BITSTREAM_BUFFER output{};
  bool failed = false;  // its output could not be locked
};

// The entries of a session: free ones, and busy ones in the order of their pictures. The encoder
// may hold pictures back until later ones come (B pictures); their outputs are ready to be read
// once it says so. The lists have a lock, a leaf; the vendor is called outside of it.
class NvencRing {
 public:
  // `width` and `height` of the input buffers. E_UNEXPECTED for a value below 1; after a failure of
  // the vendor the entries that were made stay until Destroy.
  Status Allocate(NvencSession& session, std::size_t count, std::uint32_t width,
                  std::uint32_t height);
  // One more entry, for an encoder that holds back more pictures than there are entries.
  Status Grow(NvencSession& session);
  void Destroy(NvencSession& session);

  // A free entry, which is on no list then; null when there is none.
  XvNvEntry* TakeFree();
  void PutFree(XvNvEntry* entry);
  void PutBusy(XvNvEntry* entry);
  // All busy entries are ready.
  void MarkReady();
  // The first busy entry if it is ready, which stays where it is; null otherwise.
  XvNvEntry* FirstReady() const;
  bool HasBusy() const;
  // The last busy entry is free again: its picture was not taken.
  void TakeBack();
  // Takes the first busy entry off; it is on no list then.
  void PopBusy();

 private:
  // More than any encoder holds back.
  static constexpr std::size_t kMostEntries = 128;

  std::uint32_t width_ = 0;
  std::uint32_t height_ = 0;
  std::deque<std::unique_ptr<XvNvEntry>> entries_;
  mutable std::mutex lock_;  // guards the lists below
  std::deque<XvNvEntry*> free_;
  std::deque<XvNvEntry*> busy_;
  std::size_t ready_ = 0;  // of the busy ones, from the front
};

}  // namespace xv
