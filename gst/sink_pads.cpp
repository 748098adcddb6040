#include "sink_pads.h"

#include <gst/audio/audio.h>
#include <gst/video/video.h>

#include <algorithm>
#include <memory>

#include "bus_messages.h"

namespace xv::gst {
namespace {

struct AlignDeleter {
  void operator()(GstAudioStreamAlign* p) const { gst_audio_stream_align_free(p); }
};

// What one pad's streaming thread knows.
struct PadState {
  SinkCore* core = nullptr;
  Stream* stream = nullptr;
  bool isSound = false;
  GstSegment segment{};
  PictureFormat pictures;
  SoundFormat sound;
  bool hasCaps = false;
  std::int64_t nextPicture = 0;  // running time where one without a stamp belongs
  std::int64_t origin = 0;       // sample of running time that the row of blocks began with
  bool asksLatency = true;       // it is not known whether the source is live
  std::unique_ptr<GstAudioStreamAlign, AlignDeleter> align;
};

PadState& StateOf(GstPad* pad) { return *static_cast<PadState*>(gst_pad_get_element_private(pad)); }

GstFlowReturn Fail(GstObject* parent, const char* sentence, GstPad* pad) {
  PostStreamError(GST_ELEMENT(parent), sentence, GST_PAD_NAME(pad));
  return GST_FLOW_ERROR;
}

void AskLatency(GstPad* pad, PadState* state) {
  if (!state->asksLatency) return;
  state->asksLatency = false;
  GstQuery* query = gst_query_new_latency();
  gboolean live = FALSE;
  if (gst_pad_peer_query(pad, query)) gst_query_parse_latency(query, &live, nullptr, nullptr);
  gst_query_unref(query);
  state->core->Collector().SetLive(state->stream, live == TRUE);
}

// A buffer of memory that is read until the last reference is gone, on whichever thread.
struct MappedSound {
  explicit MappedSound(GstBuffer* given) : buffer(given) {
    mapped = gst_buffer_map(buffer, &info, GST_MAP_READ) == TRUE;
  }
  ~MappedSound() {
    if (mapped) gst_buffer_unmap(buffer, &info);
    gst_buffer_unref(buffer);
  }
  MappedSound(const MappedSound&) = delete;
  MappedSound& operator=(const MappedSound&) = delete;

  GstBuffer* buffer;
  GstMapInfo info{};
  bool mapped = false;
};

using BufferRef = std::unique_ptr<GstBuffer, decltype(&gst_buffer_unref)>;

// --- pictures ---

GstFlowReturn OfferPicture(PadState* state, GstBuffer* buffer, Picture picture) {
  const GstSegment& segment = state->segment;
  const GstClockTime stamp = GST_BUFFER_PTS(buffer);
  picture.duration = GST_BUFFER_DURATION_IS_VALID(buffer)
                         ? static_cast<std::int64_t>(GST_BUFFER_DURATION(buffer))
                         : state->pictures.FrameDuration();
  picture.start = state->nextPicture;
  if (GST_CLOCK_TIME_IS_VALID(stamp)) {
    const std::int64_t length = picture.duration;
    guint64 first = stamp, last = stamp + static_cast<guint64>(length);
    if (!gst_segment_clip(&segment, GST_FORMAT_TIME, first, last, &first, &last)) {
      return GST_FLOW_OK;  // outside of what is to be played
    }
    if (length > 0) picture.duration = static_cast<std::int64_t>(last - first);
    picture.start =
        static_cast<std::int64_t>(gst_segment_to_running_time(&segment, GST_FORMAT_TIME, first));
    picture.streamTime = gst_segment_to_stream_time(&segment, GST_FORMAT_TIME, first);
  }
  state->nextPicture = picture.start + picture.duration;
  return state->core->Collector().OfferPicture(state->stream, std::move(picture));
}

GstFlowReturn ChainPicture(GstPad* pad, GstObject* parent, GstBuffer* given) {
  const BufferRef buffer(given, gst_buffer_unref);
  PadState& state = StateOf(pad);
  if (!state.hasCaps) return Fail(parent, "Pictures came without caps.", pad);
  AskLatency(pad, &state);
  auto picture = PictureOf(state.pictures, buffer.get());
  if (!picture) return Fail(parent, "A picture cannot be read, or is too small.", pad);
  return OfferPicture(&state, buffer.get(), std::move(*picture));
}

// --- sound ---

// Blocks follow one another sample by sample while their stamps are off by less than 40 ms.
std::int64_t FirstSample(PadState* state, GstBuffer* buffer, std::int64_t count) {
  GstAudioStreamAlign* align = state->align.get();
  const bool discont =
      GST_BUFFER_IS_DISCONT(buffer) || GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_RESYNC);
  const auto rate = static_cast<guint64>(state->sound.rate);
  GstClockTime time = GST_BUFFER_PTS(buffer);
  if (GST_CLOCK_TIME_IS_VALID(time)) {
    time = gst_segment_to_running_time(&state->segment, GST_FORMAT_TIME, time);
  } else {
    const guint64 since = gst_audio_stream_align_get_samples_since_discont(align);
    time = gst_util_uint64_scale(static_cast<guint64>(state->origin) + since, GST_SECOND, rate);
  }
  if (gst_audio_stream_align_process(align, discont ? TRUE : FALSE, time, static_cast<guint>(count),
                                     nullptr, nullptr, nullptr)) {
    state->origin = static_cast<std::int64_t>(gst_util_uint64_scale_round(time, rate, GST_SECOND));
  }
  return state->origin - count +
         static_cast<std::int64_t>(gst_audio_stream_align_get_samples_since_discont(align));
}

GstFlowReturn OfferSound(PadState* state, GstBuffer* clipped) {
  const auto frameBytes = static_cast<std::size_t>(state->sound.channels) *
                          static_cast<std::size_t>(state->sound.sampleBytes);
  const auto mapped = std::make_shared<MappedSound>(clipped);
  if (!mapped->mapped) return GST_FLOW_ERROR;
  SoundBlock block;
  block.count = static_cast<std::int64_t>(mapped->info.size / frameBytes);
  block.first = FirstSample(state, clipped, block.count);
  block.data = mapped->info.data;
  block.keep = mapped;
  return state->core->Collector().OfferSound(state->stream, std::move(block));
}

GstFlowReturn ChainSound(GstPad* pad, GstObject* parent, GstBuffer* given) {
  BufferRef buffer(given, gst_buffer_unref);
  PadState& state = StateOf(pad);
  if (!state.hasCaps) return Fail(parent, "Sound came without caps.", pad);
  AskLatency(pad, &state);
  const gint frameBytes = state.sound.channels * state.sound.sampleBytes;
  GstBuffer* clipped =
      gst_audio_buffer_clip(buffer.release(), &state.segment, state.sound.rate, frameBytes);
  return clipped == nullptr ? GST_FLOW_OK : OfferSound(&state, clipped);
}

// --- events ---

bool TakePictureCaps(PadState* state, const GstCaps* caps, std::string* why) {
  if (!ReadPictureCaps(caps, &state->pictures, why)) return false;
  state->core->SetColours(state->pictures.colourAttributes);
  state->core->Collector().SetPictureCaps(state->stream);
  return true;
}

bool TakeSoundCaps(PadState* state, const GstCaps* caps, std::string* why) {
  SoundFormat format;
  if (!ReadSoundCaps(caps, &format, why)) return false;
  if (!state->core->Collector().SetSoundFormat(state->stream, format)) {
    *why =
        "Sound must have one rate and sample format on all pads, 32 channels in all, and must "
        "not change while it is recorded.";
    return false;
  }
  constexpr GstClockTime kTolerance = 40 * GST_MSECOND;
  if (!state->align || state->sound.rate != format.rate) {
    state->align.reset(gst_audio_stream_align_new(format.rate, kTolerance, 0));
  }
  state->sound = format;
  return true;
}

gboolean TakeCaps(GstPad* pad, GstObject* parent, GstEvent* event) {
  PadState& state = StateOf(pad);
  GstCaps* caps = nullptr;
  gst_event_parse_caps(event, &caps);
  std::string why;
  state.hasCaps =
      state.isSound ? TakeSoundCaps(&state, caps, &why) : TakePictureCaps(&state, caps, &why);
  if (state.hasCaps) return TRUE;
  gchar* text = gst_caps_to_string(caps);
  PostStreamError(GST_ELEMENT(parent), why, text);
  g_free(text);
  return FALSE;
}

gboolean TakeSegment(GstPad* pad, GstObject* parent, GstEvent* event) {
  PadState& state = StateOf(pad);
  gst_event_copy_segment(event, &state.segment);
  if (state.segment.format == GST_FORMAT_TIME && state.segment.rate == 1.0) return TRUE;
  gst_segment_init(&state.segment, GST_FORMAT_TIME);
  (void)Fail(parent, "Only segments in time and at normal speed can be recorded.", pad);
  return FALSE;
}

gboolean TakeGap(GstPad* pad, GstEvent* event) {
  PadState& state = StateOf(pad);
  GstClockTime start = GST_CLOCK_TIME_NONE, duration = GST_CLOCK_TIME_NONE;
  gst_event_parse_gap(event, &start, &duration);
  if (GST_CLOCK_TIME_IS_VALID(duration)) start += duration;
  if (GST_CLOCK_TIME_IS_VALID(state.segment.stop)) start = std::min(start, state.segment.stop);
  const guint64 stop = gst_segment_to_running_time(&state.segment, GST_FORMAT_TIME, start);
  if (!GST_CLOCK_TIME_IS_VALID(stop)) return TRUE;
  if (state.align) gst_audio_stream_align_mark_discont(state.align.get());
  const GstFlowReturn flow =
      state.core->Collector().OfferGap(state.stream, static_cast<std::int64_t>(stop));
  return flow == GST_FLOW_OK ? TRUE : FALSE;
}

void StopFlush(PadState* state) {
  gst_segment_init(&state->segment, GST_FORMAT_TIME);
  state->nextPicture = 0;
  if (state->align) gst_audio_stream_align_mark_discont(state->align.get());
  state->core->Collector().FlushStop(state->stream);
}

gboolean TakeEvent(GstPad* pad, GstObject* parent, GstEvent* event) {
  PadState& state = StateOf(pad);
  gboolean taken = TRUE;
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_CAPS:
      taken = TakeCaps(pad, parent, event);
      break;
    case GST_EVENT_SEGMENT:
      taken = TakeSegment(pad, parent, event);
      break;
    case GST_EVENT_GAP:
      taken = TakeGap(pad, event);
      break;
    case GST_EVENT_TAG: {
      GstTagList* tags = nullptr;
      gst_event_parse_tag(event, &tags);
      state.core->TakeTags(state.stream, tags);
      break;
    }
    case GST_EVENT_EOS:
      state.core->SetEndSeqnum(gst_event_get_seqnum(event));
      taken = state.core->Collector().End(state.stream) == GST_FLOW_OK;
      break;
    case GST_EVENT_FLUSH_START:
      state.core->Collector().FlushStart(state.stream);
      break;
    case GST_EVENT_FLUSH_STOP:
      StopFlush(&state);
      break;
    default:
      return gst_pad_event_default(pad, parent, event);
  }
  gst_event_unref(event);
  return taken;
}

// --- queries ---

void AnswerCaps(GstPad* pad, GstQuery* query) {
  PadState& state = StateOf(pad);
  GstCaps* caps = gst_pad_get_pad_template_caps(pad);
  if (state.isSound) {
    int most = 0;
    const SoundFormat common = state.core->Collector().CommonSound(state.stream, &most);
    caps = RestrictSound(caps, common, most);
  }
  GstCaps* filter = nullptr;
  gst_query_parse_caps(query, &filter);
  if (filter != nullptr) {
    GstCaps* both = gst_caps_intersect_full(filter, caps, GST_CAPS_INTERSECT_FIRST);
    gst_caps_unref(caps);
    caps = both;
  }
  gst_query_set_caps_result(query, caps);
  gst_caps_unref(caps);
}

gboolean TakeQuery(GstPad* pad, GstObject* parent, GstQuery* query) {
  switch (GST_QUERY_TYPE(query)) {
    case GST_QUERY_CAPS:
      AnswerCaps(pad, query);
      return TRUE;
    case GST_QUERY_ALLOCATION:  // strides of any kind are read
      if (StateOf(pad).isSound) return FALSE;
      gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
      return TRUE;
    default:
      return gst_pad_query_default(pad, parent, query);
  }
}

void OnLink(GstPad* pad, GstPad*, gpointer linked) {
  PadState& state = StateOf(pad);
  state.core->Collector().SetLinked(state.stream, linked != nullptr);
}

gboolean ActivatePad(GstPad* pad, GstObject*, GstPadMode mode, gboolean active) {
  if (mode != GST_PAD_MODE_PUSH) return FALSE;
  PadState& state = StateOf(pad);
  if (active) {
    gst_segment_init(&state.segment, GST_FORMAT_TIME);
    state.align.reset();
    state.hasCaps = false;
    state.asksLatency = true;
    state.nextPicture = 0;
  }
  state.core->Collector().SetActive(state.stream, active == TRUE);
  return TRUE;
}

}  // namespace

GstPad* MakeSinkPad(GstPadTemplate* pad, const char* name, bool isSound, SinkCore* core) {
  GstPad* made = gst_pad_new_from_template(pad, name);
  auto* state = new PadState;
  state->core = core;
  state->isSound = isSound;
  state->stream = core->Collector().AddStream(isSound);
  gst_pad_set_element_private(made, state);
  g_object_set_data_full(G_OBJECT(made), "xv-pad-state", state,
                         [](gpointer data) { delete static_cast<PadState*>(data); });
  gst_pad_set_chain_function(made, isSound ? ChainSound : ChainPicture);
  gst_pad_set_event_function(made, TakeEvent);
  gst_pad_set_query_function(made, TakeQuery);
  gst_pad_set_activatemode_function(made, ActivatePad);
  // What a pad cannot take now is refused by its event, with words.
  GST_PAD_SET_ACCEPT_TEMPLATE(made);
  GST_PAD_SET_ACCEPT_INTERSECT(made);
  core->Collector().SetLinked(state->stream, false);
  g_signal_connect(made, "linked", G_CALLBACK(OnLink), made);
  g_signal_connect(made, "unlinked", G_CALLBACK(OnLink), nullptr);
  return made;
}

void ReleaseSinkPad(GstPad* pad) {
  PadState& state = StateOf(pad);
  state.core->RemoveStream(state.stream);
}

}  // namespace xv::gst
