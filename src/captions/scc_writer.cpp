#include "captions/scc_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "media/frame_duration.h"
#include "media/time_code.h"

namespace xv {
namespace {

constexpr char kHeader[] = "Scenarist_SCC V1.0\r\n";
constexpr std::uint32_t kLineReserve = 1024;

}  // namespace

SCCWriter::~SCCWriter() { Close(); }

void SCCWriter::SetPath(const std::string& path, std::int32_t maxSkip) {
  const std::scoped_lock lock(lock_);
  (void)file_.Close();
  path_ = path;
  maxSkip_ = std::max(maxSkip, 0);
}

void SCCWriter::SetMaxSkip(std::int32_t maxSkip) {
  const std::scoped_lock lock(lock_);
  maxSkip_ = std::max(maxSkip, 0);
}

std::string SCCWriter::Path() const {
  const std::scoped_lock lock(lock_);
  return path_;
}

Status SCCWriter::PutFrame(std::span<const std::uint16_t> pairs, const XV_TIME& time, double rate) {
  const std::scoped_lock lock(lock_);
  quiet_ = pairs.empty() ? quiet_ + 1 : 0;
  for (const std::uint16_t pair : pairs) {
    if (waiting_.size() < kMostWaiting) {
      waiting_.push_back(pair);
    } else if (stats_ != nullptr) {
      ++stats_->lost;
    }
  }
  if (waiting_.empty()) return SkipLocked();
  const std::uint16_t pair = waiting_.front();
  waiting_.pop_front();
  return AppendLocked(pair, time, rate);
}

Status SCCWriter::AppendPair(std::uint16_t pair, const XV_TIME& time, double rate) {
  const std::scoped_lock lock(lock_);
  return AppendLocked(pair, time, rate);
}

Status SCCWriter::AppendLocked(std::uint16_t pair, const XV_TIME& time, double rate) {
  if (line_.size() == 0) {
    lineTime_ = time;
    lineRate_ = rate;
    RETURN_IF_FAILED(line_.Ensure(kLineReserve));
  }
  const std::uint8_t bytes[] = {static_cast<std::uint8_t>(pair),
                                static_cast<std::uint8_t>(pair >> 8)};
  skipped_ = 0;
  return line_.Append(bytes, sizeof(bytes), line_.capacity());
}

Status SCCWriter::SkipFrame() {
  const std::scoped_lock lock(lock_);
  return SkipLocked();
}

Status SCCWriter::SkipLocked() {
  if (skipped_++ < maxSkip_) return S_OK;
  skipped_ = 0;
  return line_.size() == 0 ? Status() : WriteLine();
}

Status SCCWriter::OpenLocked() {
  if (file_.IsOpen()) return S_OK;
  if (path_.empty()) return S_FALSE;
  RETURN_IF_FAILED(file_.Create(path_));
  failure_.Update(file_.Write(kHeader, sizeof(kHeader) - 1));
  return S_OK;
}

std::string SCCWriter::LineText() const {
  const std::int64_t duration =
      lineRate_ > 0 ? RoundAwayFromZero(static_cast<double>(kTimeUnitsPerSecond) / lineRate_) : 0;
  std::string text =
      fmt::format("\r\n{}", RenderTimeCode(TimeCodeFromTime(lineTime_.rtStart, duration, true)));
  const std::uint8_t* bytes = line_.data();
  for (std::uint32_t i = 0; i + 1 < line_.size(); i += 2) {
    fmt::format_to(std::back_inserter(text), "{}{:02x}{:02x}", i == 0 ? '\t' : ' ', bytes[i],
                   bytes[i + 1]);
  }
  return text + "\r\n";
}

// Captions never stop a recording: a failed write is not an error here, count and failure tell.
Status SCCWriter::WriteLine() {
  const Status open = OpenLocked();
  failure_.Update(open);
  if (open.Failed() || open.NothingDone()) return open;
  const std::string text = LineText();
  Status written = file_.Write(text.data(), text.size());
  written.Update(file_.Flush());
  failure_.Update(written);
  CountPairs(written.Ok() ? &CaptionCounters::written : &CaptionCounters::lost);
  return line_.Resize(0);
}

void SCCWriter::CountPairs(std::atomic<std::int64_t> CaptionCounters::*counter) {
  if (stats_ != nullptr) stats_->*counter += line_.size() / 2;
}

void SCCWriter::DropLocked() {
  CountPairs(&CaptionCounters::lost);
  (void)line_.Resize(0);
  skipped_ = 0;
}

// To the line that they would have followed in later frames.
void SCCWriter::AppendWaiting() {
  for (; !waiting_.empty(); waiting_.pop_front()) {
    (void)AppendLocked(waiting_.front(), lineTime_, lineRate_);
  }
}

void SCCWriter::Close() {
  const std::scoped_lock lock(lock_);
  const bool ended = quiet_ > maxSkip_;
  AppendWaiting();
  if (ended && line_.size() > 0) (void)WriteLine();
  quiet_ = 0;
  DropLocked();
  failure_.Update(file_.Close());
  path_.clear();
}

Status SCCWriter::TakeFailure() {
  const std::scoped_lock lock(lock_);
  return std::exchange(failure_, S_OK);
}

}  // namespace xv
