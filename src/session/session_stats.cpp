#include "session/session_stats.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>

#include "base/guard.h"
#include "base/secrets.h"

namespace xv {
namespace {

// Class of a duration: the octave above 1 microsecond times 8, plus the three bits below its top
// one.
constexpr std::int64_t kUnit = 1000;

int ClassOf(std::int64_t nanoseconds, int classes) {
  const auto units = static_cast<std::uint64_t>(std::max<std::int64_t>(nanoseconds, 0) / kUnit);
  if (units < 8) return static_cast<int>(units);
  const int octave = std::bit_width(units) - 1;  // 3 and above
  const int eighth = static_cast<int>(units >> (octave - 3)) & 7;
  return std::min((octave - 2) * 8 + eighth, classes - 1);
}

// Middle of a class, in milliseconds.
double MiddleOf(int index) {
  double from = index;
  double width = 1;
  if (index >= 8) {
    width = std::exp2(index / 8 - 1);
    from = (8 + index % 8) * width;
  }
  return (from + width / 2) * kUnit / 1e6;
}

std::string Milliseconds(double value) { return fmt::format("{:.3f}", value); }

std::string Hexadecimal(Status status) {
  return fmt::format("0x{:08X}", static_cast<std::uint32_t>(status.code()));
}

struct Counter {
  std::string_view name;
  std::atomic<std::int64_t> SessionStats::*value;
};
constexpr Counter kCounters[] = {
    {"drops", &SessionStats::drops},
    {"video.deque", &SessionStats::videoDeque},
    {"video.buffers", &SessionStats::videoBuffers},
    {"pts_errors", &SessionStats::ptsErrors},
    {"frames_in", &SessionStats::framesIn},
    {"side_file_errors", &SessionStats::sideFileErrors},
    {"rebases", &SessionStats::rebases},
    {"repeats", &SessionStats::repeats},
    {"audio.left_out", &SessionStats::soundLeftOut},
    {"video.left_out", &SessionStats::picturesLeftOut},
};

constexpr Counter kMicrosecondCounters[] = {
    {"audio.silence", &SessionStats::silence},
    {"audio.cut", &SessionStats::cut},
};

// In the order of Remark.
struct RemarkRow {
  std::atomic<std::int64_t> SessionStats::*value;
  std::string_view stage;
  std::string_view words;
};
constexpr RemarkRow kRemarks[] = {
    {&SessionStats::rebases, "time",
     "the source's time jumped; the recording goes on without a gap"},
    {&SessionStats::repeats, "picture", "repeats stand where no picture came"},
    {&SessionStats::silence, "sound", "silence stands where no samples came"},
    {&SessionStats::cut, "sound", "samples came for which there was no time; they were cut"},
    {&SessionStats::soundLeftOut, "sound", "the first frame had none, so there is no track for it"},
    {&SessionStats::picturesLeftOut, "picture",
     "the first frame had none, so there is no track for it"},
};

struct CaptionCounter {
  std::string_view name;
  std::atomic<std::int64_t> CaptionCounters::*value;
};
constexpr CaptionCounter kCaptionCounters[] = {
    {"captions.seen", &CaptionCounters::seen},
    {"captions.written", &CaptionCounters::written},
    {"captions.embedded", &CaptionCounters::embedded},
    {"captions.lost", &CaptionCounters::lost},
};

struct Percentile {
  std::string_view name;
  LatencyHistogram SessionStats::*times;
  double fraction;
};
constexpr Percentile kPercentiles[] = {
    {"encode_ms.p50", &SessionStats::encodeTime, 0.50},
    {"encode_ms.p99", &SessionStats::encodeTime, 0.99},
    {"write_ms.p50", &SessionStats::writeTime, 0.50},
    {"write_ms.p99", &SessionStats::writeTime, 0.99},
};

constexpr std::string_view kPackets = "packets.";
constexpr std::string_view kBytes = "bytes.";
constexpr std::string_view kUnusedOptions = "unused_options";
constexpr std::string_view kBadValues = "bad_values";
constexpr std::string_view kLastError = "last_error";
constexpr std::string_view kLastStatus = "last_status";

// The number behind `prefix`, when `name` is just that.
std::optional<int> StreamOf(std::string_view name, std::string_view prefix) {
  if (name.substr(0, prefix.size()) != prefix) return std::nullopt;
  const std::string_view digits = name.substr(prefix.size());
  int stream = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), stream);
  if (error != std::errc() || end != digits.data() + digits.size() || stream < 0) {
    return std::nullopt;
  }
  return stream;
}

}  // namespace

void LatencyHistogram::Add(std::int64_t nanoseconds) {
  counts_[static_cast<std::size_t>(ClassOf(nanoseconds, kClasses))].fetch_add(
      1, std::memory_order_relaxed);
}

void LatencyHistogram::Reset() {
  for (auto& count : counts_) count.store(0, std::memory_order_relaxed);
}

std::uint64_t LatencyHistogram::Count() const {
  std::uint64_t total = 0;
  for (const auto& count : counts_) total += count.load(std::memory_order_relaxed);
  return total;
}

double LatencyHistogram::Percentile(double fraction) const {
  const std::uint64_t total = Count();
  if (total == 0) return 0.0;
  const double wanted = std::clamp(fraction, 0.0, 1.0) * static_cast<double>(total);
  std::uint64_t below = 0;
  int last = 0;
  for (int i = 0; i < kClasses; ++i) {
    const std::uint64_t here = counts_[static_cast<std::size_t>(i)].load(std::memory_order_relaxed);
    if (here == 0) continue;
    last = i;
    below += here;
    if (static_cast<double>(below) >= wanted) break;
  }
  return MiddleOf(last);
}

void SessionStats::Notes::Add(std::string_view entry) {
  if (std::find(entries.begin(), entries.end(), entry) != entries.end()) return;
  if (entries.size() < kMostNotes) {
    entries.emplace_back(entry);
  } else {
    ++more;
  }
}

std::string SessionStats::Notes::Render() const {
  const std::string text = fmt::format("{}", fmt::join(entries, "\n"));
  return more == 0 ? text : fmt::format("{}\n({} more)", text, more);
}

void SessionStats::Reset() {
  for (const Counter& counter : kCounters) (this->*counter.value).store(0);
  for (const Counter& counter : kMicrosecondCounters) (this->*counter.value).store(0);
  for (const CaptionCounter& counter : kCaptionCounters) (captions.*counter.value).store(0);
  encodeTime.Reset();
  writeTime.Reset();
  for (StreamCounts& stream : streams_) {
    stream.packets.store(0);
    stream.bytes.store(0);
  }
  streamsSeen_.store(0);
  const std::scoped_lock lock(textLock_);
  unusedOptions_.Clear();
  badValues_.Clear();
  lastError_.clear();
  remarks_.clear();
  lastStatus_ = S_OK;
}

void SessionStats::CountPacket(int stream, std::int64_t bytes) {
  if (stream < 0 || stream >= kMaxStreams) return;
  StreamCounts& counts = streams_[static_cast<std::size_t>(stream)];
  counts.packets.fetch_add(1, std::memory_order_relaxed);
  counts.bytes.fetch_add(bytes, std::memory_order_relaxed);
  int seen = streamsSeen_.load();
  while (seen <= stream && !streamsSeen_.compare_exchange_weak(seen, stream + 1)) {
  }
}

std::int64_t SessionStats::Packets(int stream) const {
  if (stream < 0 || stream >= kMaxStreams) return 0;
  return streams_[static_cast<std::size_t>(stream)].packets.load();
}

std::int64_t SessionStats::Bytes(int stream) const {
  if (stream < 0 || stream >= kMaxStreams) return 0;
  return streams_[static_cast<std::size_t>(stream)].bytes.load();
}

void SessionStats::AddUnusedOption(std::string_view name) {
  const std::scoped_lock lock(textLock_);
  unusedOptions_.Add(MaskSecrets(name));
}

void SessionStats::AddBadValue(std::string_view entry) {
  const std::scoped_lock lock(textLock_);
  badValues_.Add(MaskSecrets(entry));
}

// The status is kept though there may be no memory for the words.
void SessionStats::Fail(std::string_view stage, std::string_view words, Status status) {
  std::string_view said = words;
  if (said.empty()) {
    const char* sentence = StatusSentence(status.code());
    said = sentence == nullptr ? "no reason given" : sentence;
  }
  const std::scoped_lock lock(textLock_);
  if (status.Failed()) lastStatus_ = status;
  (void)Guarded([&] {
    lastError_ = fmt::format("{}: {} ({})", stage, MaskSecrets(said), Hexadecimal(status));
    return S_OK;
  });
}

void SessionStats::FailSideFile(std::string_view stage, std::string_view path, Status status) {
  sideFileErrors.fetch_add(1, std::memory_order_relaxed);
  Fail(stage, path, status);
}

void SessionStats::Count(Remark remark, std::int64_t amount) {
  if (amount <= 0) return;
  const RemarkRow& row = kRemarks[static_cast<std::size_t>(remark)];
  if ((this->*row.value).fetch_add(amount, std::memory_order_relaxed) > 0) return;
  const std::scoped_lock lock(textLock_);
  if (!remarks_.empty()) remarks_ += "; ";
  remarks_ += fmt::format("{}: {}", row.stage, row.words);
}

Status SessionStats::LastStatus() const {
  const std::scoped_lock lock(textLock_);
  return lastStatus_;
}

std::optional<std::string> SessionStats::Render(std::string_view name) const {
  for (const Counter& counter : kCounters) {
    if (name == counter.name) return std::to_string((this->*counter.value).load());
  }
  for (const Counter& counter : kMicrosecondCounters) {
    if (name == counter.name) return std::to_string((this->*counter.value).load() / 1000);
  }
  for (const CaptionCounter& counter : kCaptionCounters) {
    if (name == counter.name) return std::to_string((captions.*counter.value).load());
  }
  for (const Percentile& row : kPercentiles) {
    if (name == row.name) return Milliseconds((this->*row.times).Percentile(row.fraction));
  }
  if (const auto stream = StreamOf(name, kPackets)) return std::to_string(Packets(*stream));
  if (const auto stream = StreamOf(name, kBytes)) return std::to_string(Bytes(*stream));
  const std::scoped_lock lock(textLock_);
  if (name == kUnusedOptions) return unusedOptions_.Render();
  if (name == kBadValues) return badValues_.Render();
  if (name == kLastError) return lastError_.empty() ? remarks_ : lastError_;
  if (name == kLastStatus) return Hexadecimal(lastStatus_);
  return std::nullopt;
}

std::vector<std::string> SessionStats::Names() const {
  std::vector<std::string> names;
  for (const Counter& counter : kCounters) names.emplace_back(counter.name);
  for (const Counter& counter : kMicrosecondCounters) names.emplace_back(counter.name);
  for (const CaptionCounter& counter : kCaptionCounters) names.emplace_back(counter.name);
  for (const Percentile& row : kPercentiles) names.emplace_back(row.name);
  for (const std::string_view text : {kUnusedOptions, kBadValues, kLastError, kLastStatus}) {
    names.emplace_back(text);
  }
  for (int stream = 0; stream < streamsSeen_.load(); ++stream) {
    names.push_back(fmt::format("{}{}", kPackets, stream));
    names.push_back(fmt::format("{}{}", kBytes, stream));
  }
  return names;
}

}  // namespace xv
