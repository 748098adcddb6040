#include "captions/anc_reader.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "captions/anc_writer.h"

namespace xv {
namespace {

bool IsEndMark(std::uint32_t number) {
  return std::find(std::begin(kAncEndMarks), std::end(kAncEndMarks), number) !=
         std::end(kAncEndMarks);
}

}  // namespace

Status AncReader::Open(const std::string& path) {
  RETURN_IF_FAILED(file_.OpenRead(path));
  position_ = 0;
  std::uint32_t magic = 0;
  std::size_t read = 0;
  RETURN_IF_FAILED(file_.ReadAt(0, &magic, sizeof(magic), &read));
  return read == sizeof(magic) && magic == kAncFrameMagic ? Status() : Status(E_INVALIDARG);
}

// Reads on, as far as the file grows meanwhile.
Status AncReader::ReadBytes(void* data, std::size_t bytes) {
  while (true) {
    std::size_t read = 0;
    RETURN_IF_FAILED(file_.ReadAt(position_, data, bytes, &read));
    if (read == bytes) {
      position_ += static_cast<std::int64_t>(bytes);
      return S_OK;
    }
    if (callbacks_->stop && callbacks_->stop()) return kStopped;
    if (!callbacks_->wait || !callbacks_->wait()) return XV_E_END_OF_FILE;
  }
}

Status AncReader::ReadNumber(std::uint32_t* number) { return ReadBytes(number, sizeof(*number)); }

// A length that was read is believed only as far as the file goes: no memory is taken for more.
Status AncReader::CheckFits(std::uint64_t bytes) {
  while (true) {
    std::int64_t size = 0;
    RETURN_IF_FAILED(file_.Size(&size));
    if (size >= position_ && bytes <= static_cast<std::uint64_t>(size - position_)) return S_OK;
    if (callbacks_->stop && callbacks_->stop()) return kStopped;
    if (!callbacks_->wait || !callbacks_->wait()) return XV_E_END_OF_FILE;
  }
}

Status AncReader::ReadItem(std::uint32_t total, std::string* tag, TimedValue* value) {
  std::uint32_t tagLength = 0;
  RETURN_IF_FAILED(ReadNumber(&tagLength));
  // Told by the first number alone, so that a reader that waits for growth does not wait for bytes
  // that can never come.
  if (std::uint64_t{tagLength} + 8 >= total) return XV_E_CORRUPT_FILE;
  RETURN_IF_FAILED(CheckFits(tagLength));
  tag->assign(tagLength, '\0');
  RETURN_IF_FAILED(ReadBytes(tag->data(), tagLength));
  std::uint32_t dataLength = 0;
  RETURN_IF_FAILED(ReadNumber(&dataLength));
  const bool isText = (dataLength & kAncTextFlag) != 0;
  dataLength &= ~kAncTextFlag;
  if (dataLength == 0 || total != std::uint64_t{dataLength} + tagLength + 8)
    return XV_E_CORRUPT_FILE;
  RETURN_IF_FAILED(CheckFits(dataLength));
  if (isText) {
    std::string text(dataLength, '\0');
    RETURN_IF_FAILED(ReadBytes(text.data(), dataLength));
    *value = std::move(text);
    return S_OK;
  }
  Ref<TimedBytes> bytes = MakeRef<TimedBytes>();
  RETURN_IF_FAILED(bytes->Resize(dataLength));
  RETURN_IF_FAILED(ReadBytes(bytes->data(), dataLength));
  *value = std::move(bytes);
  return S_OK;
}

// The items of one frame. The frame is given away with its first one, so that the last frame of a
// growing file is there before the next begins.
Status AncReader::ReadItems(XV_TIME time, Next* next) {
  const Ref<CTimedData> frame = MakeRef<CTimedData>();
  frame->time = time;
  bool given = false;
  while (true) {
    std::uint32_t total = 0;
    RETURN_IF_FAILED(ReadNumber(&total));
    *next = Next::kFrame;
    if (total == kAncFrameMagic) return S_OK;
    *next = Next::kEnd;
    if (IsEndMark(total)) return S_OK;
    std::string tag;
    TimedValue value;
    RETURN_IF_FAILED(ReadItem(total, &tag, &value));
    const auto add = [&] { frame->items.insert_or_assign(std::move(tag), std::move(value)); };
    if (given && callbacks_->changing) {
      callbacks_->changing(add);
    } else {
      add();
    }
    if (!std::exchange(given, true) && callbacks_->frame) callbacks_->frame(frame);
  }
}

Status AncReader::ReadFrames() {
  std::uint32_t magic = 0;
  RETURN_IF_FAILED(ReadNumber(&magic));
  if (magic != kAncFrameMagic) return E_INVALIDARG;
  Next next = Next::kFrame;
  while (next == Next::kFrame) {
    if (callbacks_->stop && callbacks_->stop()) return kStopped;
    XV_TIME time{};
    RETURN_IF_FAILED(ReadBytes(&time, sizeof(time)));
    RETURN_IF_FAILED(ReadItems(time, &next));
  }
  return S_OK;
}

Status AncReader::Read(const Callbacks& callbacks) {
  callbacks_ = &callbacks;
  position_ = 0;
  const Status status = ReadFrames();
  callbacks_ = nullptr;
  return status == Status(XV_E_END_OF_FILE) ? Status() : status;
}

}  // namespace xv
