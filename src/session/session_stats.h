#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "captions/caption_counters.h"
#include "output/output_report.h"

namespace xv {

// Durations in classes of an eighth of an octave: a percentile is right within 10 percent.
// Lock-free; any thread may add and read.
class LatencyHistogram {
 public:
  void Add(std::int64_t nanoseconds);
  void Reset();
  // Milliseconds below which `fraction` (0 to 1) of the durations lie; 0.0 when there are none.
  double Percentile(double fraction) const;
  std::uint64_t Count() const;

 private:
  static constexpr int kClasses = 8 * 44;
  std::array<std::atomic<std::uint64_t>, kClasses> counts_{};
};

// What was done about a source's times and tracks. Each is counted under "quality::" and named in
// "last_error" the first time.
enum class Remark { kRebase, kRepeat, kSilence, kCut, kSoundLeftOut, kPicturesLeftOut };

// What a session counts, served as "quality::<name>". Writers are the session's threads, readers
// any thread at any time; values are rendered when they are read. A value stays after the stop,
// until Reset at the next first frame.
class SessionStats final : public OutputReport {
 public:
  static constexpr std::size_t kMostNotes = 32;
  static constexpr int kMaxStreams = 64;  // packets of streams above that are not counted

  // Frames that were refused, replaced or skipped.
  std::atomic<std::int64_t> drops{0};
  // Frames waiting for the encoding thread.
  std::atomic<std::int64_t> videoDeque{0};
  std::atomic<std::int64_t> videoBuffers{0};
  // Frames whose time was not above the one before.
  std::atomic<std::int64_t> ptsErrors{0};
  std::atomic<std::int64_t> framesIn{0};
  // Blocks, packets, caption lines and frames' data that a side file could not take.
  std::atomic<std::int64_t> sideFileErrors{0};
  // Frames whose time jumped; pictures that stood in for missing ones.
  std::atomic<std::int64_t> rebases{0};
  std::atomic<std::int64_t> repeats{0};
  // Microseconds of sound.
  std::atomic<std::int64_t> silence{0};
  std::atomic<std::int64_t> cut{0};
  // Frames with sound or a picture for which the first frame left no track.
  std::atomic<std::int64_t> soundLeftOut{0};
  std::atomic<std::int64_t> picturesLeftOut{0};
  CaptionCounters captions;
  LatencyHistogram encodeTime;
  LatencyHistogram writeTime;

  SessionStats() = default;
  SessionStats(const SessionStats&) = delete;
  SessionStats& operator=(const SessionStats&) = delete;

  void Reset();
  void CountPacket(int stream, std::int64_t bytes);
  std::int64_t Packets(int stream) const;
  std::int64_t Bytes(int stream) const;
  // An option that neither this library nor FFmpeg took, and a value that cannot have been meant.
  // Each is one line of its property, once; behind kMostNotes lines one says how many more came.
  void AddUnusedOption(std::string_view name);
  void AddBadValue(std::string_view entry);
  // The last failure of the session: where it happened, the library's own words (may be empty), the
  // status that followed. A note with a status that is not a failure leaves "last_status" alone.
  void Fail(std::string_view stage, std::string_view words, Status status) override;
  // The same of a side file, and counts it.
  void FailSideFile(std::string_view stage, std::string_view path, Status status);
  // Adds to the counter. The words for it stand in "last_error" where nothing failed.
  void Count(Remark remark, std::int64_t amount = 1);
  void CountDrop() override { drops.fetch_add(1, std::memory_order_relaxed); }

  // Of the last note with a failing status; S_OK when there was none.
  Status LastStatus() const;

  // The value of the name behind "quality::", or nothing for an unknown one.
  std::optional<std::string> Render(std::string_view name) const;
  // Every name that Render knows now, "packets.N" and "bytes.N" of the streams seen so far last.
  std::vector<std::string> Names() const;

 private:
  struct Notes {
    std::vector<std::string> entries;
    std::size_t more = 0;

    void Add(std::string_view entry);
    std::string Render() const;
    void Clear() { *this = {}; }
  };
  struct StreamCounts {
    std::atomic<std::int64_t> packets{0};
    std::atomic<std::int64_t> bytes{0};
  };

  std::array<StreamCounts, kMaxStreams> streams_;
  std::atomic<int> streamsSeen_{0};
  mutable std::mutex textLock_;  // guards what follows; a leaf, nothing is called under it
  Notes unusedOptions_;
  Notes badValues_;
  std::string lastError_;
  std::string remarks_;  // the words of each Remark so far
  Status lastStatus_;
};

}  // namespace xv
