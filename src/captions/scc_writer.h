#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <span>
#include <string>

#include "base/auto_obj_base.h"
#include "base/blob.h"
#include "captions/caption_counters.h"
#include "platform/file.h"
#include "xvwriter/media.h"

namespace xv {

// Writes CEA-608 pairs of field 1 into a Scenarist SCC file, one line for each burst of captions:
//
//   Scenarist_SCC V1.0
//
//   01:00:00;12 <TAB> 9420 9420 94ae 94ae 9170
//
// A line starts with its first pair and ends when more than `maxSkip` frames in a row bring none. A
// frame has room for one pair: further ones (a frame of repeated fields brings them, or two
// pictures of fields in one) wait for the frames behind it. The file comes into being with its
// first line and is flushed after each. A line that has not ended when the file is closed is
// dropped, and counted as lost. Thread-safety: safe, one lock over everything.
class SCCWriter final : public AutoObjBase<SCCWriter> {
 public:
  static constexpr std::int32_t kDefaultMaxSkip = 3;
  // Ten seconds of field 1. Pairs that find no room to wait are lost, and counted.
  static constexpr std::size_t kMostWaiting = 300;

  // `stats` counts pairs written and lost; it must outlive this object. May be null.
  explicit SCCWriter(CaptionCounters* stats = nullptr) : stats_(stats) {}
  ~SCCWriter() override;

  // Stores the path and closes an open file; nothing is opened here. Negative `maxSkip` counts as
  // 0.
  void SetPath(const std::string& path, std::int32_t maxSkip);
  void SetMaxSkip(std::int32_t maxSkip);
  std::string Path() const;

  // The pairs that a frame brings, none for a frame without: the oldest that waits is appended.
  Status PutFrame(std::span<const std::uint16_t> pairs, const XV_TIME& time, double rate);
  // A frame with a pair (first byte in the low one). `time` and `rate` (frames a second, 0 when
  // unknown) count for the first pair of a line.
  Status AppendPair(std::uint16_t pair, const XV_TIME& time, double rate);
  // A frame without a pair; writes the pending line where that ends it. S_FALSE without a path, the
  // system's error when the file cannot be made: the line stays pending.
  Status SkipFrame();
  // Drops the pending line, closes the file and forgets the path. A line that has ended, and goes
  // on with waiting pairs alone, is written.
  void Close();
  // The first failure of the file since this was last asked, S_OK for none.
  Status TakeFailure();

 private:
  Status AppendLocked(std::uint16_t pair, const XV_TIME& time, double rate);
  Status SkipLocked();
  void AppendWaiting();
  Status WriteLine();
  Status OpenLocked();
  std::string LineText() const;
  void DropLocked();
  void CountPairs(std::atomic<std::int64_t> CaptionCounters::*counter);

  mutable std::mutex lock_;
  CaptionCounters* const stats_;
  File file_;
  CBLOBHolder<CHeapAlloc> line_;  // pairs, first byte first
  std::deque<std::uint16_t> waiting_;
  std::int32_t quiet_ = 0;  // frames that brought none since the last that did
  XV_TIME lineTime_{};
  double lineRate_ = 0;
  std::string path_;
  Status failure_;
  std::int32_t skipped_ = 0;
  std::int32_t maxSkip_ = kDefaultMaxSkip;
};

}  // namespace xv
