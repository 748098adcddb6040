#include "sink_core.h"

#include "bus_messages.h"

namespace xv::gst {
namespace {

// Such a frame is left out, the recording goes on.
bool IsOfOneFrame(HRESULT status) {
  return status == E_INVALIDARG || status == XV_E_NO_PIXEL_FORMAT || status == XV_E_NO_VALID_MEDIA;
}

void PostAsyncDone(GstElement* element) {
  gst_element_post_message(element,
                           gst_message_new_async_done(GST_OBJECT(element), GST_CLOCK_TIME_NONE));
}

// Ends a change to PAUSED that waited for data, and one to PLAYING behind it, as base sinks do it:
// on the streaming thread, which must not take the state lock. The state that was reached; none
// where the change was given up meanwhile.
GstState CommitState(GstElement* element) {
  GST_OBJECT_LOCK(element);
  const GstState before = GST_STATE(element);
  const GstState reached = GST_STATE_PENDING(element);
  if (reached != GST_STATE_PAUSED && reached != GST_STATE_PLAYING) {
    GST_OBJECT_UNLOCK(element);
    return GST_STATE_VOID_PENDING;
  }
  GST_STATE(element) = reached;
  GST_STATE_NEXT(element) = GST_STATE_PENDING(element) = GST_STATE_VOID_PENDING;
  GST_STATE_RETURN(element) = GST_STATE_CHANGE_SUCCESS;
  GST_OBJECT_UNLOCK(element);
  const auto post = [element](GstState from, GstState to, GstState pending) {
    gst_element_post_message(element,
                             gst_message_new_state_changed(GST_OBJECT(element), from, to, pending));
  };
  const bool plays = reached == GST_STATE_PLAYING;
  post(before, GST_STATE_PAUSED, plays ? reached : GST_STATE_VOID_PENDING);
  PostAsyncDone(element);
  if (plays) post(GST_STATE_PAUSED, reached, GST_STATE_VOID_PENDING);
  GST_STATE_BROADCAST(element);
  return reached;
}

}  // namespace

SinkCore::SinkCore(GstElement* element)
    : element_(element),
      collector_({[this](CollectedFrame&& frame, const SoundLayout& sound) {
                    return Put(std::move(frame), sound);
                  },
                  [this] { End(); }, [this] { Commit(); },
                  [this](const Stream&) {
                    PostWarning(element_, XV_E_NO_VALID_MEDIA,
                                "A pad came too late: the tracks are those that the recording "
                                "began with, and it is left out.");
                  }}) {}

void SinkCore::Begin(RecordingTarget target, GstClockTime maxWait, bool async) {
  recording_.Prepare(std::move(target));
  recorded_ = warned_ = optionsTold_ = false;
  processed_ = dropped_ = 0;
  lastStatistics_ = g_get_monotonic_time();
  position_ = GST_CLOCK_TIME_NONE;
  committing_ = async;
  tagsTold_ = false;
  tags_.Open();
  collector_.Start(maxWait);
}

void SinkCore::SetColours(const std::string& attributes) {
  const std::lock_guard lock(lock_);
  colours_ = attributes;
}

void SinkCore::TakeTags(const Stream* stream, GstTagList* tags) {
  if (tags_.Take(stream, tags) || tagsTold_.exchange(true)) return;
  PostWarning(element_, S_OK, "Tags that come behind the first frame are left out.");
}

void SinkCore::RemoveStream(Stream* stream) {
  tags_.Forget(stream);
  collector_.RemoveStream(stream);
}

// What the streams say of themselves, once it is known which of them are recorded.
std::string SinkCore::OpeningAttributes() {
  const GstTagList* given = gst_tag_setter_get_tag_list(GST_TAG_SETTER(element_));
  const Stream* video = nullptr;
  const std::vector<const Stream*> tracks = collector_.Tracks(&video);
  const std::string tags = tags_.Close(given, video, tracks);
  const std::lock_guard lock(lock_);
  return colours_ + tags;
}

void SinkCore::Commit() {
  const std::lock_guard lock(commit_);
  if (!committing_.exchange(false)) return;
  if (CommitState(element_) == GST_STATE_PLAYING) collector_.SetPlaying(true);
}

GstFlowReturn SinkCore::Put(CollectedFrame&& frame, const SoundLayout& sound) {
  const std::int64_t start = frame.start;
  const std::int64_t duration = frame.stop - frame.start;
  const bool picture = frame.picture.has_value();
  if (picture) position_ = frame.picture->streamTime;
  const std::string opening = recording_.IsOpen() ? "" : OpeningAttributes();
  const HRESULT status = recording_.Put(std::move(frame), sound, opening);
  if (Failed(status) && !(recorded_ && IsOfOneFrame(status))) {
    TellOptions();
    PostFailure(element_, status, recording_.Words(status), !recorded_);
    return GST_FLOW_ERROR;
  }
  if (Failed(status) && !warned_) {
    warned_ = true;
    PostWarning(element_, status, recording_.Words(status));
  }
  recorded_ = true;
  if (picture) ++(status == S_OK ? processed_ : dropped_);
  if (picture && status != S_OK) TellDrop(start, duration, position_);
  TellOptions();
  const gint64 now = g_get_monotonic_time();
  if (now - lastStatistics_ >= G_USEC_PER_SEC) {
    lastStatistics_ = now;
    PostStatistics(element_, recording_.Stats(), false);
  }
  return GST_FLOW_OK;
}

// On the bus for people, and upstream for elements that can do less.
void SinkCore::TellDrop(std::int64_t start, std::int64_t duration, GstClockTime streamTime) {
  const auto running = static_cast<guint64>(start);
  const auto length = static_cast<guint64>(duration);
  GstMessage* message =
      gst_message_new_qos(GST_OBJECT(element_), TRUE, running, streamTime, running, length);
  gst_message_set_qos_values(message, duration, 1.0, 1000000);
  gst_message_set_qos_stats(message, GST_FORMAT_BUFFERS, processed_, dropped_);
  gst_element_post_message(element_, message);
  constexpr double kTooSlow = 2.0;  // half of the pictures would do
  gst_element_send_event(element_,
                         gst_event_new_qos(GST_QOS_TYPE_OVERFLOW, kTooSlow, duration, running));
}

// Names that nobody took and values that cannot have been meant, once they are known.
void SinkCore::TellOptions() {
  if (optionsTold_) return;
  optionsTold_ = true;
  const host::Statistics stats = recording_.Stats();
  for (const std::string& option : stats.unusedOptions) {
    PostWarning(element_, S_OK, "Nobody took the option " + option);
  }
  for (const std::string& value : stats.badValues) {
    PostWarning(element_, S_OK, "Not a good value: " + value);
  }
}

bool SinkCore::Close() {
  if (!recording_.IsOpen()) return true;
  const HRESULT status = recording_.Stop();
  PostStatistics(element_, recording_.Stats(), true);
  if (!Failed(status)) return true;
  PostFailure(element_, status, recording_.Words(status), false);
  return false;
}

void SinkCore::End() {
  const bool nothing = !recording_.IsOpen();
  if (nothing) PostWarning(element_, S_FALSE, "Nothing was recorded: no pad had data.");
  if (!Close()) return;
  GstMessage* message = gst_message_new_eos(GST_OBJECT(element_));
  if (endSeqnum_ != GST_SEQNUM_INVALID) gst_message_set_seqnum(message, endSeqnum_);
  gst_element_post_message(element_, message);
}

bool SinkCore::Finish() {
  collector_.Drain();
  if (committing_.exchange(false)) {  // the change to PAUSED is given up
    PostAsyncDone(element_);
  }
  return Close();
}

}  // namespace xv::gst
