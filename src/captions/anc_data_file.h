#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "captions/anc_reader.h"
#include "captions/anc_writer.h"
#include "captions/timed_data.h"
#include "platform/thread.h"
#include "xvwriter/frames.h"

namespace xv {

// The binary side file of named data that came attached to video frames: one record for each frame
// that had any. The same class reads such a file into a list ordered by time.
// Threads: writing and SetPath have one caller at a time; the list may be asked from any thread,
// also while the reader's thread fills it.
class CANCDataFile final : public AutoObjBase<CANCDataFile> {
 public:
  CANCDataFile() = default;
  ~CANCDataFile() override;

  // With `openNow` false the path is stored for writing, and an open file of another name closed.
  // Else the file is read: with `async` by its own thread, which follows a file that grows
  // until the object closes; without, before this returns. What was read before is forgotten.
  //   E_INVALIDARG        not such a file.
  //   XV_E_FILE_HANDLE    (not async) it holds no items.
  //   others              the system's error, or XV_E_CORRUPT_FILE; what came before it is there.
  Status SetPath(const std::string& path, bool openNow, bool async);
  std::string Path() const { return path_; }

  // Writes the record of one frame with those of `tags` that it has: bytes as they are, numbers as
  // 8 bytes, texts as UTF-8. Nothing at all for a frame without any of them. `time` null takes the
  // frame's own. The first failure ends the record.
  Status WriteFrame(std::span<const std::string> tags, IXvFrame& frame, const XV_TIME* time);

  // The last frame whose start is not later than `start` (100 ns), or null.
  Ref<CTimedData> FindAt(std::int64_t start);
  // A copy of one item of it; false without one.
  bool ItemAt(std::int64_t start, const std::string& tag, TimedValue* value);
  std::size_t Count();
  // Start of the first and of the last frame read; kNoTime for none.
  std::int64_t FirstTime();
  std::int64_t LastTime();
  // Of the reading that ended last; S_FALSE while none has.
  Status LastRead() const { return lastRead_.load(); }

  // Stops the reader, closes the file, clears the list.
  void Close();

 private:
  Status WriteValue(const std::string& tag, IXvFrame& frame, const XV_TIME** time);
  Status StartRead(bool async);
  Status ReadAll(bool follow);
  void Follow();

  AncWriter writer_;
  std::string path_;
  AncReader reader_;
  XvThread<CANCDataFile> thread_;
  std::atomic<HRESULT> lastRead_{S_FALSE};
  std::mutex listLock_;  // guards `list_` and the frames in it; a leaf
  std::multimap<std::int64_t, Ref<CTimedData>> list_;
};

}  // namespace xv
