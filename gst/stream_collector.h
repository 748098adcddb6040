#pragma once

#include <gst/gst.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "media_caps.h"
#include "pictures.h"
#include "sound_track.h"

// Frames for the writer, which wants each picture with the sound of its time, out of pads that run
// on threads of their own.
namespace xv::gst {

// What a put takes. Times are running times in nanoseconds.
struct CollectedFrame {
  std::optional<Picture> picture;  // nothing: sound alone
  std::int64_t start = 0;
  std::int64_t stop = 0;
  bool breaks = false;              // the source began anew here
  std::vector<std::uint8_t> sound;  // interleaved channels of all tracks
};

// The sound of all pads as one: the channels of the first pad, of the second, and so on.
struct SoundLayout {
  SoundFormat format;           // of all channels together; rate 0: no sound
  std::uint32_t trackMask = 0;  // as XV_AUD_PROPS has it: a track of each pad
};

// One pad's side; the collector's lock guards it.
struct Stream {
  bool isSound = false;
  bool hasCaps = false;
  bool live = false;
  SoundFormat sound;
  std::deque<Picture> pictures;
  SoundTrack track;
  std::int64_t knownUntil = INT64_MIN;  // running time up to which nothing more will come
  bool linked = true;
  bool active = false;  // its pad takes data
  bool ended = false;
  bool flushing = false;
  bool late = false;       // was waited for in vain; until its next data nobody waits for it
  bool leftOut = false;    // had no caps when the recording began: it has no track
  bool announced = false;  // that it is left out
  bool released = false;   // its pad is gone

  // Nothing more will come that anybody waits for.
  bool IsSettled() const { return ended || late || leftOut || !linked; }
};

// Holds what pads offer until a whole frame can be made of it, and hands frames on, one at a time,
// on the thread of whichever pad completed it.
//
// A picture is held until the next one, a gap or the end says how long it stands: two at most wait
// for that. A pad that runs ahead of others waits in its own thread. What is missing of sound is
// silence; a live source that gives nothing for `maxWait` is not waited for any longer.
//
// Threads: any operation on any thread; Offer... and End on the stream's own.
class StreamCollector {
 public:
  struct Consumer {
    // A frame; called without the lock, one call at a time.
    std::function<GstFlowReturn(CollectedFrame&&, const SoundLayout&)> put;
    // All streams have ended; once, without the lock.
    std::function<void()> end;
    // The first data is here, perhaps several times.
    std::function<void()> preroll;
    // A stream that has no track since it was late.
    std::function<void(const Stream&)> leftOut;
  };

  explicit StreamCollector(Consumer consumer) : consumer_(std::move(consumer)) {}

  Stream* AddStream(bool isSound);
  void RemoveStream(Stream* stream);
  // A stream whose pad is not linked is not waited for.
  void SetLinked(Stream* stream, bool linked);
  // Of the pad: offers of a stream that is not active return GST_FLOW_FLUSHING at once.
  void SetActive(Stream* stream, bool active);
  // False for sound that does not go with that of other pads, has too many channels with them, or
  // differs from that which the recording has begun with.
  bool SetSoundFormat(Stream* stream, const SoundFormat& format);
  void SetPictureCaps(Stream* stream);
  // Of a live source nobody waits for longer than `maxWait`.
  void SetLive(Stream* stream, bool live);
  // What the sound of `stream` must go with: rate 0 where nothing is settled, channels 0 where
  // only their number is bounded, by `most`.
  SoundFormat CommonSound(const Stream* stream, int* most) const;
  // The streams of the sound that is recorded, in order, and that of the pictures; null for none.
  std::vector<const Stream*> Tracks(const Stream** video);

  // Each takes one more piece, makes frames and waits while the stream is too far ahead or the
  // element is paused. GST_FLOW_FLUSHING when it was interrupted, GST_FLOW_EOS behind the end.
  GstFlowReturn OfferPicture(Stream* stream, Picture picture);
  GstFlowReturn OfferSound(Stream* stream, SoundBlock block);
  GstFlowReturn OfferGap(Stream* stream, std::int64_t stop);
  GstFlowReturn End(Stream* stream);

  void FlushStart(Stream* stream);
  void FlushStop(Stream* stream);

  // Streaming threads may run from here on (READY to PAUSED); all streams start anew.
  void Start(GstClockTime maxWait);
  void SetPlaying(bool playing);
  // Every waiting thread returns GST_FLOW_FLUSHING.
  void Interrupt();
  // Hands on what is held, as if all streams had ended. Only after their threads have left.
  void Drain();

 private:
  using Lock = std::unique_lock<std::mutex>;

  GstFlowReturn Offer(Lock& lock, Stream* stream);
  std::optional<GstFlowReturn> Interrupted(const Stream& stream) const;
  void MarkLate(const Stream* waiting);
  void Pump(Lock& lock);
  void Hand(Lock& lock, CollectedFrame frame);
  void AnnounceLeftOut(Lock& lock);
  bool AllEnded() const;
  bool IsFull(const Stream& stream) const;

  // What can be made now. Nothing while something is missing.
  std::optional<CollectedFrame> NextFrame();
  std::optional<CollectedFrame> NextPicture(Stream& video);
  // Sound alone, up to that sample at most.
  std::optional<CollectedFrame> NextSound(std::int64_t limit);
  std::optional<std::int64_t> StopOf(const Stream& video) const;
  bool FixTracks();
  void AddTrack(Stream& stream);
  bool HasTrack(const Stream& stream) const;
  std::vector<std::uint8_t> TakeSound(std::int64_t until);
  std::int64_t SoundKnown() const;
  bool SoundFlows() const;
  std::int64_t SampleAt(std::int64_t time) const;
  std::int64_t TimeOf(std::int64_t sample) const;
  Stream* Video();
  std::int64_t FirstSample() const;
  std::int64_t LastSample() const;

  const Consumer consumer_;
  mutable std::mutex lock_;  // guards all below and the streams; none is taken under it
  std::condition_variable changed_;
  std::list<Stream> streams_;
  SoundLayout layout_;
  std::vector<Stream*> tracks_;           // of layout_
  std::optional<std::int64_t> position_;  // sample that comes next
  GstFlowReturn flow_ = GST_FLOW_OK;
  GstClockTime maxWait_ = 0;
  bool running_ = false;
  bool playing_ = false;
  bool pumping_ = false;  // a thread makes and hands on frames
  bool begun_ = false;    // tracks are settled
  bool finished_ = false;
  bool breaks_ = false;  // the next frame's
};

}  // namespace xv::gst
