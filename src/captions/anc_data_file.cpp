#include "captions/anc_data_file.h"

#include <variant>

#include "captions/frame_items.h"
#include "xvwriter/writer.h"

namespace xv {
namespace {

constexpr std::uint32_t kFollowMilliseconds = 20;

}  // namespace

CANCDataFile::~CANCDataFile() { Close(); }

void CANCDataFile::Close() {
  (void)thread_.Stop(kInfinite);
  writer_.Close();
  reader_ = {};
  path_.clear();
  const std::scoped_lock lock(listLock_);
  list_.clear();
}

Status CANCDataFile::SetPath(const std::string& path, bool openNow, bool async) {
  if (openNow || path != path_) Close();
  path_ = path;
  return openNow ? StartRead(async) : Status();
}

Status CANCDataFile::StartRead(bool async) {
  lastRead_ = S_FALSE;
  RETURN_IF_FAILED(reader_.Open(path_));
  if (async) return thread_.Start(this, &CANCDataFile::Follow);
  lastRead_ = ReadAll(false).code();
  if (Failed(lastRead_)) return lastRead_.load();
  return Count() == 0 ? Status(XV_E_FILE_HANDLE) : Status();
}

void CANCDataFile::Follow() { lastRead_ = ReadAll(true).code(); }

Status CANCDataFile::ReadAll(bool follow) {
  AncReader::Callbacks callbacks;
  callbacks.frame = [this](const Ref<CTimedData>& frame) {
    const std::scoped_lock lock(listLock_);
    list_.emplace(frame->time.rtStart, frame);
  };
  callbacks.changing = [this](const std::function<void()>& change) {
    const std::scoped_lock lock(listLock_);
    change();
  };
  if (follow) {
    callbacks.stop = [this] { return !thread_.IsRunning(); };
    callbacks.wait = [this] {
      thread_.WaitForStop(kFollowMilliseconds);
      return true;
    };
  }
  return reader_.Read(callbacks);
}

Status CANCDataFile::WriteFrame(std::span<const std::string> tags, IXvFrame& frame,
                                const XV_TIME* time) {
  XV_TIME own{};
  if (time == nullptr) {
    const Ref<IXfFrame> view = Query<IXfFrame>(&frame);
    if (!view) return E_NOINTERFACE;
    RETURN_IF_FAILED(view->FrameTimeGet(&own));
    time = &own;
  }
  for (const std::string& tag : tags) RETURN_IF_FAILED(WriteValue(tag, frame, &time));
  return S_OK;
}

// `time` is cleared by the item that has written it.
Status CANCDataFile::WriteValue(const std::string& tag, IXvFrame& frame, const XV_TIME** time) {
  const FrameValue value = FrameValueOf(frame, tag);
  const auto write = [&](bool isText, std::size_t size, const void* data) {
    const Status status =
        writer_.WriteItem(path_, *time, tag, isText, static_cast<std::uint32_t>(size), data);
    if (status.Ok()) *time = nullptr;
    return status;
  };
  if (const auto* number = std::get_if<std::int64_t>(&value)) {
    return write(false, sizeof(*number), number);
  }
  if (const auto* text = std::get_if<std::string>(&value)) {
    return write(true, text->size(), text->data());
  }
  if (const auto* bytes = std::get_if<std::span<const std::uint8_t>>(&value)) {
    return write(false, bytes->size(), bytes->data());
  }
  return S_OK;
}

Ref<CTimedData> CANCDataFile::FindAt(std::int64_t start) {
  const std::scoped_lock lock(listLock_);
  auto behind = list_.upper_bound(start);
  return behind == list_.begin() ? Ref<CTimedData>() : std::prev(behind)->second;
}

bool CANCDataFile::ItemAt(std::int64_t start, const std::string& tag, TimedValue* value) {
  const Ref<CTimedData> frame = FindAt(start);
  if (!frame) return false;
  const std::scoped_lock lock(listLock_);
  const auto found = frame->items.find(tag);
  if (found == frame->items.end()) return false;
  *value = found->second;
  return true;
}

std::size_t CANCDataFile::Count() {
  const std::scoped_lock lock(listLock_);
  return list_.size();
}

std::int64_t CANCDataFile::FirstTime() {
  const std::scoped_lock lock(listLock_);
  return list_.empty() ? kNoTime : list_.begin()->first;
}

std::int64_t CANCDataFile::LastTime() {
  const std::scoped_lock lock(listLock_);
  return list_.empty() ? kNoTime : list_.rbegin()->first;
}

}  // namespace xv
