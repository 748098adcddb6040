#pragma once

#include <gst/gst.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>

#include "recording.h"
#include "stream_collector.h"
#include "tags.h"

namespace xv::gst {

// What the element does once its pads have data: frames go to the writer, and what comes of it to
// the bus. Owned by the element, which it refers to without a reference.
class SinkCore {
 public:
  explicit SinkCore(GstElement* element);

  StreamCollector& Collector() { return collector_; }
  host::Statistics Stats() const { return recording_.Stats(); }

  // The states of the element. Begin: READY to PAUSED, which with `async` ends with the first data.
  void Begin(RecordingTarget target, GstClockTime maxWait, bool async);
  // Before PAUSED to PLAYING.
  void AwaitCommit() { const std::lock_guard committed(commit_); }
  void SetPlaying(bool playing) { collector_.SetPlaying(playing); }
  void Interrupt() { collector_.Interrupt(); }
  // PAUSED to READY, behind the pads: closes the file. False where that failed.
  bool Finish();

  // Colours of the pictures, for the first frame; of the video pad's streaming thread.
  void SetColours(const std::string& attributes);
  // Of a pad's tag event; a warning, once, for what comes behind the first frame.
  void TakeTags(const Stream* stream, GstTagList* tags);
  void RemoveStream(Stream* stream);
  // Where the pictures have come to, in stream time; GST_CLOCK_TIME_NONE before the first.
  GstClockTime Position() const { return position_; }
  // Of the EOS event that is answered last.
  void SetEndSeqnum(guint32 seqnum) { endSeqnum_ = seqnum; }

 private:
  GstFlowReturn Put(CollectedFrame&& frame, const SoundLayout& sound);
  void End();
  void Commit();
  bool Close();
  std::string OpeningAttributes();
  void TellDrop(std::int64_t start, std::int64_t duration, GstClockTime streamTime);
  void TellOptions();

  GstElement* const element_;
  Recording recording_;
  StreamCollector collector_;
  TagBoard tags_;
  // Held while the change to PAUSED is told. A bin that hears of PLAYING before all of that is out
  // forgets that it plays, and holds EOS back.
  std::mutex commit_;
  std::mutex lock_;  // guards colours_; a leaf
  std::string colours_;
  std::atomic<bool> committing_{false};  // the change to PAUSED waits for data
  std::atomic<GstClockTime> position_{GST_CLOCK_TIME_NONE};
  std::atomic<guint32> endSeqnum_{GST_SEQNUM_INVALID};
  std::atomic<bool> tagsTold_{false};
  // Of the thread that puts.
  bool recorded_ = false;
  bool warned_ = false;  // of a frame that was refused
  bool optionsTold_ = false;
  gint64 lastStatistics_ = 0;  // monotonic microseconds
  guint64 processed_ = 0, dropped_ = 0;
};

}  // namespace xv::gst
