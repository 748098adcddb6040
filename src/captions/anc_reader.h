#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "base/status.h"
#include "captions/timed_data.h"
#include "platform/file.h"

namespace xv {

// The reading half of an ancillary data file (see anc_writer.h). One caller at a time.
class AncReader {
 public:
  // The reader was told to stop.
  static constexpr HRESULT kStopped = static_cast<HRESULT>(0x80004004);

  struct Callbacks {
    // Takes a frame as soon as it has its first item.
    std::function<void(const Ref<CTimedData>& frame)> frame;
    // Runs each change to a frame that was given already, under the taker's lock; may be empty.
    std::function<void(const std::function<void()>& change)> changing;
    // Asked at each frame and while waiting; true ends the reading. May be empty.
    std::function<bool()> stop;
    // Called where the file ends for now; false ends the reading there. Empty: it ends.
    std::function<bool()> wait;
  };

  // E_INVALIDARG for a file that does not start with the frame magic.
  Status Open(const std::string& path);
  // Reads to the end of the file. A record that is cut off there is left out; the frame's items
  // ahead of it count. S_OK at the end, kStopped, XV_E_CORRUPT_FILE or the system's error; what was
  // read before stays given.
  Status Read(const Callbacks& callbacks);

 private:
  enum class Next { kFrame, kEnd };

  Status ReadBytes(void* data, std::size_t bytes);
  Status ReadNumber(std::uint32_t* number);
  Status ReadFrames();
  Status ReadItems(XV_TIME time, Next* next);
  Status ReadItem(std::uint32_t total, std::string* tag, TimedValue* value);
  Status CheckFits(std::uint64_t bytes);

  File file_;
  std::int64_t position_ = 0;
  const Callbacks* callbacks_ = nullptr;
};

}  // namespace xv
