#include "stream_collector.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

namespace xv::gst {
namespace {

constexpr std::int64_t kEver = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kSecond = GST_SECOND;
constexpr std::int64_t kTick = kSecond / 25;  // of pictures without a duration, and of sound alone
constexpr std::int64_t kLongestStep = kSecond / 2;  // of a picture with its sound
constexpr std::size_t kMostPictures = 8;            // that wait in one pad
constexpr int kMostSeconds = 1;                     // of sound that waits in one pad

std::int64_t NominalStop(const Picture& picture) {
  return picture.start + (picture.duration > 0 ? picture.duration : kTick);
}

// What a hole is longer than.
std::int64_t Slack(const Picture& picture) {
  return (picture.duration > 0 ? picture.duration : kTick) / 2;
}

}  // namespace

// --- streams ---

Stream* StreamCollector::AddStream(bool isSound) {
  const Lock lock(lock_);
  Stream& stream = streams_.emplace_back();
  stream.isSound = isSound;
  stream.leftOut = begun_;
  return &stream;
}

void StreamCollector::RemoveStream(Stream* stream) {
  const Lock lock(lock_);
  stream->released = stream->ended = true;
  stream->active = stream->linked = false;
  changed_.notify_all();
}

void StreamCollector::SetLinked(Stream* stream, bool linked) {
  const Lock lock(lock_);
  stream->linked = linked && !stream->released;
  changed_.notify_all();
}

void StreamCollector::SetActive(Stream* stream, bool active) {
  const Lock lock(lock_);
  stream->active = active;
  changed_.notify_all();
}

void StreamCollector::SetLive(Stream* stream, bool live) {
  const Lock lock(lock_);
  stream->live = live;
}

void StreamCollector::SetPictureCaps(Stream* stream) {
  const Lock lock(lock_);
  stream->hasCaps = true;
}

bool StreamCollector::HasTrack(const Stream& stream) const {
  return std::find(tracks_.begin(), tracks_.end(), &stream) != tracks_.end();
}

bool StreamCollector::SetSoundFormat(Stream* stream, const SoundFormat& format) {
  int most = 0;
  const SoundFormat common = CommonSound(stream, &most);
  const Lock lock(lock_);
  if (common.rate > 0 && !format.GoesWith(common)) return false;
  if (common.channels > 0 ? format.channels != common.channels : format.channels > most) {
    return false;
  }
  stream->sound = format;
  stream->hasCaps = true;
  return true;
}

SoundFormat StreamCollector::CommonSound(const Stream* stream, int* most) const {
  const Lock lock(lock_);
  *most = kMostChannels;
  if (HasTrack(*stream)) return stream->sound;
  SoundFormat common;
  for (const Stream& other : streams_) {
    if (&other == stream || !other.isSound || !other.hasCaps || other.released) continue;
    common = other.sound;
    *most -= other.sound.channels;
  }
  common.channels = 0;
  return common;
}

std::vector<const Stream*> StreamCollector::Tracks(const Stream** video) {
  const Lock lock(lock_);
  *video = Video();
  return {tracks_.begin(), tracks_.end()};
}

// --- from the pads ---

GstFlowReturn StreamCollector::OfferPicture(Stream* stream, Picture picture) {
  Lock lock(lock_);
  if (const auto interrupted = Interrupted(*stream)) return *interrupted;
  stream->late = false;
  stream->knownUntil = NominalStop(picture);
  if (!stream->leftOut) stream->pictures.push_back(std::move(picture));
  return Offer(lock, stream);
}

GstFlowReturn StreamCollector::OfferSound(Stream* stream, SoundBlock block) {
  Lock lock(lock_);
  if (const auto interrupted = Interrupted(*stream)) return *interrupted;
  stream->late = false;
  const std::int64_t rate = stream->sound.rate;
  stream->knownUntil = static_cast<std::int64_t>(gst_util_uint64_scale_round(
      static_cast<guint64>(block.End()), GST_SECOND, static_cast<guint64>(rate)));
  if (!stream->leftOut) stream->track.Add(std::move(block));
  if (position_) stream->track.DropBefore(*position_);
  return Offer(lock, stream);
}

GstFlowReturn StreamCollector::OfferGap(Stream* stream, std::int64_t stop) {
  Lock lock(lock_);
  if (const auto interrupted = Interrupted(*stream)) return *interrupted;
  stream->knownUntil = std::max(stream->knownUntil, stop);
  return Offer(lock, stream);
}

GstFlowReturn StreamCollector::End(Stream* stream) {
  Lock lock(lock_);
  if (const auto interrupted = Interrupted(*stream)) return *interrupted;
  stream->ended = true;
  return Offer(lock, stream);
}

std::optional<GstFlowReturn> StreamCollector::Interrupted(const Stream& stream) const {
  if (!running_ || !stream.active || stream.flushing) return GST_FLOW_FLUSHING;
  if (flow_ != GST_FLOW_OK) return flow_;
  if (finished_) return GST_FLOW_EOS;
  return std::nullopt;
}

GstFlowReturn StreamCollector::Offer(Lock& lock, Stream* stream) {
  lock.unlock();
  consumer_.preroll();
  lock.lock();
  using Clock = std::chrono::steady_clock;
  const auto patience = std::chrono::nanoseconds(maxWait_);
  auto deadline = Clock::now() + patience;
  for (;;) {
    if (playing_ && !pumping_ && !Interrupted(*stream)) Pump(lock);
    if (const auto interrupted = Interrupted(*stream)) {
      return stream->ended && finished_ ? GST_FLOW_OK : *interrupted;
    }
    if (playing_ && (stream->ended || !IsFull(*stream))) return GST_FLOW_OK;
    if (!playing_ || !stream->live || pumping_) {
      changed_.wait(lock);
      if (!playing_) deadline = Clock::now() + patience;
    } else if (changed_.wait_until(lock, deadline) == std::cv_status::timeout) {
      if (!pumping_) MarkLate(stream);
      deadline = Clock::now() + patience;
    }
  }
}

void StreamCollector::MarkLate(const Stream* waiting) {
  for (Stream& stream : streams_) {
    if (&stream != waiting && !IsFull(stream)) stream.late = true;
  }
}

bool StreamCollector::IsFull(const Stream& stream) const {
  if (!stream.isSound) return stream.pictures.size() > kMostPictures;
  if (stream.track.IsEmpty()) return false;
  std::int64_t reference = position_.value_or(stream.track.First());
  for (const Stream& video : streams_) {
    if (position_ || video.isSound || video.pictures.empty()) continue;
    const auto start = static_cast<guint64>(video.pictures.front().start);
    reference = static_cast<std::int64_t>(
        gst_util_uint64_scale_round(start, static_cast<guint64>(stream.sound.rate), GST_SECOND));
  }
  return stream.track.End() - reference > std::int64_t{kMostSeconds} * stream.sound.rate;
}

void StreamCollector::FlushStart(Stream* stream) {
  const Lock lock(lock_);
  stream->flushing = true;
  stream->pictures.clear();
  stream->track.Clear();
  changed_.notify_all();
}

void StreamCollector::FlushStop(Stream* stream) {
  const Lock lock(lock_);
  stream->flushing = stream->ended = stream->late = false;
  stream->knownUntil = INT64_MIN;
  breaks_ = begun_;
  position_.reset();
}

// --- states ---

void StreamCollector::Start(GstClockTime maxWait) {
  const Lock lock(lock_);
  streams_.remove_if([](const Stream& stream) { return stream.released; });
  for (Stream& stream : streams_) {
    Stream fresh;
    fresh.isSound = stream.isSound;
    fresh.linked = stream.linked;
    stream = std::move(fresh);
  }
  layout_ = {};
  tracks_.clear();
  position_.reset();
  flow_ = GST_FLOW_OK;
  maxWait_ = maxWait;
  begun_ = finished_ = breaks_ = playing_ = false;
  running_ = true;
}

void StreamCollector::SetPlaying(bool playing) {
  const Lock lock(lock_);
  playing_ = playing;
  changed_.notify_all();
}

void StreamCollector::Interrupt() {
  const Lock lock(lock_);
  running_ = false;
  changed_.notify_all();
}

void StreamCollector::Drain() {
  Lock lock(lock_);
  if (begun_ && !finished_ && flow_ == GST_FLOW_OK) {
    for (Stream& stream : streams_) stream.ended = true;
    finished_ = running_ = playing_ = true;
    Pump(lock);
  }
  running_ = false;
  for (Stream& stream : streams_) {
    stream.pictures.clear();
    stream.track.Clear();
  }
}

// --- frames ---

void StreamCollector::Pump(Lock& lock) {
  pumping_ = true;
  while (flow_ == GST_FLOW_OK && running_ && playing_) {
    std::optional<CollectedFrame> frame = NextFrame();
    AnnounceLeftOut(lock);
    if (!frame) break;
    Hand(lock, std::move(*frame));
  }
  if (flow_ == GST_FLOW_OK && running_ && playing_ && !finished_ && AllEnded()) {
    finished_ = true;
    lock.unlock();
    consumer_.end();
    lock.lock();
  }
  pumping_ = false;
  changed_.notify_all();
}

void StreamCollector::Hand(Lock& lock, CollectedFrame frame) {
  lock.unlock();
  const GstFlowReturn flow = consumer_.put(std::move(frame), layout_);
  lock.lock();
  if (flow_ == GST_FLOW_OK) flow_ = flow;
  changed_.notify_all();
}

void StreamCollector::AnnounceLeftOut(Lock& lock) {
  for (Stream& stream : streams_) {
    if (!stream.leftOut || stream.announced || stream.released) continue;
    stream.announced = true;
    lock.unlock();
    consumer_.leftOut(stream);
    lock.lock();
  }
}

bool StreamCollector::AllEnded() const {
  const auto linked = [](const Stream& s) { return s.linked; };
  return std::any_of(streams_.begin(), streams_.end(), linked) &&
         std::all_of(streams_.begin(), streams_.end(),
                     [&](const Stream& s) { return s.ended || !linked(s); });
}

Stream* StreamCollector::Video() {
  for (Stream& stream : streams_) {
    const bool over = stream.pictures.empty() && (stream.ended || !stream.linked);
    if (!stream.isSound && !stream.leftOut && !over) return &stream;
  }
  return nullptr;
}

bool StreamCollector::FixTracks() {
  bool data = false;
  for (const Stream& stream : streams_) {
    if (!stream.hasCaps && !stream.IsSettled()) return false;
    data = data || !stream.pictures.empty() || !stream.track.IsEmpty();
  }
  if (!data) return false;
  for (Stream& stream : streams_) {
    stream.leftOut = !stream.hasCaps && stream.linked && !stream.ended;
    if (stream.isSound && stream.hasCaps && !stream.released) AddTrack(stream);
  }
  if (tracks_.size() < 2) layout_.trackMask = 0;
  begun_ = true;
  return true;
}

void StreamCollector::AddTrack(Stream& stream) {
  const int channels = layout_.format.channels + stream.sound.channels;
  layout_.format = stream.sound;
  layout_.format.channels = channels;
  layout_.trackMask |= 1U << (channels - 1);
  tracks_.push_back(&stream);
}

std::optional<CollectedFrame> StreamCollector::NextFrame() {
  if (!begun_ && !FixTracks()) return std::nullopt;
  Stream* video = Video();
  if (video == nullptr) return NextSound(kEver);
  if (position_ && SoundFlows()) {  // a hole in the pictures
    const bool next = !video->pictures.empty();
    const std::int64_t until =
        next ? video->pictures.front().start : (video->late ? kEver : video->knownUntil);
    const std::int64_t slack = next ? Slack(video->pictures.front()) : 0;
    if (until > TimeOf(*position_) + slack) {
      return NextSound(until == kEver ? kEver : SampleAt(until));
    }
  }
  return video->pictures.empty() ? std::nullopt : NextPicture(*video);
}

// Sound fills what lies between pictures; without it a picture stands until the next one.
std::optional<std::int64_t> StreamCollector::StopOf(const Stream& video) const {
  const Picture& picture = video.pictures.front();
  const std::int64_t nominal = NominalStop(picture);
  const bool sound = SoundFlows();
  if (video.pictures.size() < 2) {
    if (video.ended || video.late) return nominal;
    if (!sound || picture.duration <= 0) return std::nullopt;
    return std::min(nominal, picture.start + kLongestStep);
  }
  const std::int64_t next = video.pictures[1].start;
  std::int64_t stop = nominal;
  const bool early = next > picture.start && next < nominal - Slack(picture);
  const bool hole = next > nominal + Slack(picture);
  if (early || (hole && !sound) || (picture.duration <= 0 && next > picture.start)) stop = next;
  return sound ? std::min(stop, picture.start + kLongestStep) : stop;
}

std::optional<CollectedFrame> StreamCollector::NextPicture(Stream& video) {
  const std::optional<std::int64_t> stop = StopOf(video);
  if (!stop || SoundKnown() < *stop) return std::nullopt;
  CollectedFrame frame;
  frame.picture = std::move(video.pictures.front());
  video.pictures.pop_front();
  frame.start = frame.picture->start;
  frame.stop = *stop;
  frame.breaks = std::exchange(breaks_, false);
  if (layout_.format.rate > 0) {
    const bool first = !position_;
    if (first) position_ = SampleAt(frame.start);
    // The first frame tells that there are tracks; behind the end of all there is no silence.
    const bool over = !first && SoundKnown() == kEver;
    const std::int64_t until = SampleAt(*stop);
    frame.sound = TakeSound(over ? std::min(until, LastSample()) : until);
    position_ = std::max(*position_, until);
  }
  return frame;
}

std::optional<CollectedFrame> StreamCollector::NextSound(std::int64_t limit) {
  if (tracks_.empty()) return std::nullopt;
  const std::int64_t known = SoundKnown();
  if (!position_) {
    const std::int64_t first = FirstSample();
    if (known == INT64_MIN || first == kEver) return std::nullopt;
    position_ = first;
  }
  std::int64_t end = std::min(*position_ + SampleAt(kTick), limit);
  if (known == kEver) end = std::min(end, LastSample());
  if (end <= *position_ || (known != kEver && SampleAt(known) < end)) return std::nullopt;
  CollectedFrame frame;
  frame.start = TimeOf(*position_);
  frame.stop = TimeOf(end);
  frame.breaks = std::exchange(breaks_, false);
  frame.sound = TakeSound(end);
  return frame;
}

// --- sound ---

std::vector<std::uint8_t> StreamCollector::TakeSound(std::int64_t until) {
  const std::int64_t first = *position_;
  if (until <= first) return {};
  position_ = until;
  const auto sampleBytes = static_cast<std::size_t>(layout_.format.sampleBytes);
  const std::size_t frameBytes = sampleBytes * static_cast<std::size_t>(layout_.format.channels);
  std::vector<std::uint8_t> sound(static_cast<std::size_t>(until - first) * frameBytes);
  std::size_t offset = 0;
  for (Stream* track : tracks_) {
    const std::size_t bytes = sampleBytes * static_cast<std::size_t>(track->sound.channels);
    track->track.CopyTo(first, until - first, bytes, frameBytes, sound.data() + offset);
    track->track.DropBefore(until);
    offset += bytes;
  }
  return sound;
}

std::int64_t StreamCollector::SoundKnown() const {
  std::int64_t known = kEver;
  for (const Stream* track : tracks_) {
    if (!track->IsSettled()) known = std::min(known, track->knownUntil);
  }
  return known;
}

bool StreamCollector::SoundFlows() const {
  return std::any_of(tracks_.begin(), tracks_.end(), [](const Stream* track) {
    return !track->track.IsEmpty() || !track->IsSettled();
  });
}

std::int64_t StreamCollector::FirstSample() const {
  std::int64_t first = kEver;
  for (const Stream* track : tracks_) {
    if (!track->track.IsEmpty()) first = std::min(first, track->track.First());
  }
  return first;
}

std::int64_t StreamCollector::LastSample() const {
  std::int64_t last = INT64_MIN;
  for (const Stream* track : tracks_) {
    if (!track->track.IsEmpty()) last = std::max(last, track->track.End());
  }
  return last;
}

std::int64_t StreamCollector::SampleAt(std::int64_t time) const {
  const auto rate = static_cast<guint64>(layout_.format.rate);
  return static_cast<std::int64_t>(gst_util_uint64_scale_round(
      static_cast<guint64>(std::max<std::int64_t>(time, 0)), rate, GST_SECOND));
}

std::int64_t StreamCollector::TimeOf(std::int64_t sample) const {
  const auto rate = static_cast<guint64>(layout_.format.rate);
  return static_cast<std::int64_t>(gst_util_uint64_scale_round(
      static_cast<guint64>(std::max<std::int64_t>(sample, 0)), GST_SECOND, rate));
}

}  // namespace xv::gst
