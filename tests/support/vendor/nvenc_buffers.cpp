#include <algorithm>

#include "support/vendor/nvenc_session.h"

namespace xv::vendor {
namespace {

std::size_t Size(int value) { return static_cast<std::size_t>(value); }

void CopyRows(const std::uint8_t* from, std::size_t pitch, int bytes, int rows, std::uint8_t* to,
              int stride) {
  for (int y = 0; y < rows; ++y) std::copy_n(from + Size(y) * pitch, bytes, to + y * stride);
}

void SplitRows(const std::uint8_t* from, std::size_t pitch, int pairs, int rows, AVFrame* frame) {
  for (int y = 0; y < rows; ++y) {
    const std::uint8_t* row = from + Size(y) * pitch;
    for (int x = 0; x < pairs; ++x) {
      frame->data[1][y * frame->linesize[1] + x] = row[2 * x];
      frame->data[2][y * frame->linesize[2] + x] = row[2 * x + 1];
    }
  }
}

}  // namespace

InputBuffer::InputBuffer(const NV_ENC_CREATE_INPUT_BUFFER& made)
    : width(static_cast<int>(made.width)),
      height(static_cast<int>(made.height)),
      format(made.bufferFmt),
      pitch((Size(width) + 63) / 64 * 64 + 128),
      memory(pitch * Size(height) * 3 / 2 + 4096, kFill) {}

std::size_t InputBuffer::ChromaPitch() const {
  return format == NV_ENC_BUFFER_FORMAT_NV12 ? pitch : pitch / 2;
}

std::uint8_t* InputBuffer::Plane(int plane) {
  std::uint8_t* chroma = memory.data() + pitch * Size(height);
  if (plane == 0) return memory.data();
  return plane == 1 ? chroma : chroma + ChromaPitch() * Size(height / 2);
}

bool InputBuffer::Untouched() const {
  return std::all_of(memory.begin(), memory.end(), [](unsigned char b) { return b == kFill; });
}

FramePtr InputBuffer::Take(int pictureWidth, int pictureHeight) {
  FramePtr frame(av_frame_alloc());
  frame->format = AV_PIX_FMT_YUV420P;
  frame->width = pictureWidth;
  frame->height = pictureHeight;
  if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::runtime_error("no memory");
  CopyRows(Plane(0), pitch, pictureWidth, pictureHeight, frame->data[0], frame->linesize[0]);
  const int halfWidth = pictureWidth / 2, halfHeight = pictureHeight / 2;
  if (format == NV_ENC_BUFFER_FORMAT_NV12) {
    SplitRows(Plane(1), pitch, halfWidth, halfHeight, frame.get());
  } else {
    const int first = format == NV_ENC_BUFFER_FORMAT_YV12 ? 2 : 1;
    CopyRows(Plane(1), ChromaPitch(), halfWidth, halfHeight, frame->data[first],
             frame->linesize[first]);
    CopyRows(Plane(2), ChromaPitch(), halfWidth, halfHeight, frame->data[3 - first],
             frame->linesize[3 - first]);
  }
  std::fill(memory.begin(), memory.end(), kFill);
  return frame;
}

NVENCSTATUS Session::CreateInput(const Rules& rules, NV_ENC_CREATE_INPUT_BUFFER* buffer) {
  if (const NVENCSTATUS bad = CheckCreateInput(rules, *buffer); bad != NV_ENC_SUCCESS) return bad;
  const std::vector<NV_ENC_BUFFER_FORMAT> formats = OfferedFormats();
  if (std::find(formats.begin(), formats.end(), buffer->bufferFmt) == formats.end()) {
    return NV_ENC_ERR_UNSUPPORTED_PARAM;
  }
  const bool fits = buffer->width >= static_cast<std::uint32_t>(setup_.width) &&
                    buffer->height >= static_cast<std::uint32_t>(setup_.height) &&
                    buffer->width <= 16384 && buffer->height <= 16384;
  if (!fits) return NV_ENC_ERR_INVALID_PARAM;
  auto made = std::make_unique<InputBuffer>(*buffer);
  buffer->inputBuffer = made.get();
  inputs_[made.get()] = std::move(made);
  Ledger::Get().Hold("input buffer", 1);
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Session::CreateOutput(const Rules& rules, NV_ENC_CREATE_BITSTREAM_BUFFER* buffer) {
  if (const NVENCSTATUS bad = CheckCreateOutput(rules, *buffer); bad != NV_ENC_SUCCESS) return bad;
  auto made = std::make_unique<OutputBuffer>();
  buffer->bitstreamBuffer = made.get();
  outputs_[made.get()] = std::move(made);
  Ledger::Get().Hold("bitstream buffer", 1);
  return NV_ENC_SUCCESS;
}

InputBuffer* Session::FindInput(const Rules& rules, void* handle) {
  const auto found = inputs_.find(handle);
  if (found != inputs_.end()) return found->second.get();
  rules.Broke("not an input buffer of this session");
  return nullptr;
}

OutputBuffer* Session::FindOutput(const Rules& rules, void* handle) {
  const auto found = outputs_.find(handle);
  if (found != outputs_.end()) return found->second.get();
  rules.Broke("not a bitstream buffer of this session");
  return nullptr;
}

NVENCSTATUS Session::DestroyInput(const Rules& rules, void* handle) {
  const InputBuffer* buffer = FindInput(rules, handle);
  if (buffer == nullptr) return NV_ENC_ERR_INVALID_PARAM;
  if (!flushed_) rules.Broke("ahead of the end of the stream");
  if (buffer->locked) {
    rules.Broke("the input buffer is locked");
    Ledger::Get().Hold("input lock", -1);
  } else if (!setup_.empty && !buffer->Untouched()) {
    rules.Broke("an input buffer was written outside of a lock");
  }
  inputs_.erase(handle);
  Ledger::Get().Hold("input buffer", -1);
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Session::DestroyOutput(const Rules& rules, void* handle) {
  OutputBuffer* buffer = FindOutput(rules, handle);
  if (buffer == nullptr) return NV_ENC_ERR_INVALID_PARAM;
  if (!flushed_) rules.Broke("ahead of the end of the stream");
  if (buffer->state == OutputBuffer::State::kLocked) {
    rules.Broke("the bitstream buffer is locked");
    Ledger::Get().Hold("output lock", -1);
  }
  std::erase(unread_, buffer);
  std::erase(unfilled_, buffer);
  outputs_.erase(handle);
  Ledger::Get().Hold("bitstream buffer", -1);
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Session::LockInput(const Rules& rules, NV_ENC_LOCK_INPUT_BUFFER* lock) {
  if (const NVENCSTATUS bad = CheckLockInput(rules, *lock); bad != NV_ENC_SUCCESS) return bad;
  InputBuffer* buffer = FindInput(rules, lock->inputBuffer);
  if (buffer == nullptr) return NV_ENC_ERR_INVALID_PARAM;
  if (buffer->locked || buffer->inUse) {
    rules.Broke(buffer->locked ? "locked twice" : "its picture has not been read");
    return NV_ENC_ERR_ENCODER_BUSY;
  }
  if (!setup_.empty && !buffer->Untouched()) {
    rules.Broke("an input buffer was written outside of a lock");
  }
  buffer->locked = true;
  Ledger::Get().Hold("input lock", 1);
  lock->bufferDataPtr = buffer->memory.data();
  lock->pitch = static_cast<std::uint32_t>(buffer->pitch);
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Session::UnlockInput(const Rules& rules, void* handle) {
  InputBuffer* buffer = FindInput(rules, handle);
  if (buffer == nullptr) return NV_ENC_ERR_INVALID_PARAM;
  if (!buffer->locked) {
    rules.Broke("not locked");
    return NV_ENC_ERR_INVALID_CALL;
  }
  buffer->locked = false;
  buffer->written = true;
  Ledger::Get().Hold("input lock", -1);
  if (!setup_.empty) buffer->picture = buffer->Take(setup_.width, setup_.height);
  return NV_ENC_SUCCESS;
}

}  // namespace xv::vendor
