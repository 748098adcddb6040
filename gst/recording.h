#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "stream_collector.h"
#include "xvwriter/host.hpp"

namespace xv::gst {

// What is recorded where.
struct RecordingTarget {
  std::string location;  // a path or a URL
  std::string format;    // entries of the catalogue, by id or name; "" chooses none
  std::string videoCodec;
  std::string audioCodec;
  std::string properties;  // attribute text of the catalogue's properties
  std::string attributes;  // the user's own text, which wins
};

// One file after the other, written by one writer. Open and Put on one thread at a time; the rest
// on any.
class Recording {
 public:
  // What the next frame opens. Nothing is written before it.
  void Prepare(RecordingTarget target);
  // Opens the target with the first frame and puts it. Results as host::Writer's Start and Put;
  // XV_E_NOT_FOUND for an entry that the catalogue does not have.
  HRESULT Put(CollectedFrame&& frame, const SoundLayout& sound,
              const std::string& streamAttributes);
  // S_FALSE where nothing was recorded.
  HRESULT Stop();

  bool IsOpen() const { return open_; }
  host::Statistics Stats() const { return writer_.Stats(); }
  // The status as a sentence, and what the writer noted.
  std::string Words(HRESULT status) const;

 private:
  HRESULT Open(const std::string& streamAttributes);

  host::Writer writer_;
  RecordingTarget target_;
  std::atomic<bool> open_{false};
  std::uint16_t captionCount_ = 0;
};

}  // namespace xv::gst
