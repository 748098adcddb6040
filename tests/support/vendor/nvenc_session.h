#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>

#include "support/vendor/nvenc_encoder.h"
#include "support/vendor/nvenc_rules.h"

namespace xv::vendor {

// The client's memory of a picture. Outside of a lock all of it is kFill; rows have a pitch that is
// wider than any picture, and what lies behind the picture's width is not looked at.
struct InputBuffer {
  static constexpr unsigned char kFill = 0xa5;

  explicit InputBuffer(const NV_ENC_CREATE_INPUT_BUFFER& made);
  std::uint8_t* Plane(int plane);
  // Rows of chroma have half the width each in planes of their own, or all of it together.
  std::size_t ChromaPitch() const;
  bool Untouched() const;
  // Takes what the client has written.
  FramePtr Take(int pictureWidth, int pictureHeight);

  int width, height;
  NV_ENC_BUFFER_FORMAT format;
  std::size_t pitch;
  std::vector<std::uint8_t> memory;
  bool locked = false;
  bool written = false;
  bool inUse = false;  // until the output that it was given with is locked
  FramePtr picture;
};

struct OutputBuffer {
  enum class State { kFree, kWaiting, kLocked };
  State state = State::kFree;
  InputBuffer* input = nullptr;  // given with it
  std::string bytes;             // empty: not encoded yet
  bool promised = false;         // the client was told that it may lock it
  bool failed = false;           // a lock of it did
  int number = 0;                // of the access units of a session, from 1
  std::chrono::steady_clock::time_point since;
  NV_ENC_PIC_PARAMS source{};  // of the picture in it
  NV_ENC_PIC_TYPE type = NV_ENC_PIC_TYPE_UNKNOWN;
};

// One session of a client; all under the lock of the functions.
class Session {
 public:
  Session(std::uint32_t api, const void* device);
  ~Session();

  NVENCSTATUS Initialize(const Rules& rules, const NV_ENC_INITIALIZE_PARAMS& params);
  NVENCSTATUS CreateInput(const Rules& rules, NV_ENC_CREATE_INPUT_BUFFER* buffer);
  NVENCSTATUS CreateOutput(const Rules& rules, NV_ENC_CREATE_BITSTREAM_BUFFER* buffer);
  NVENCSTATUS DestroyInput(const Rules& rules, void* buffer);
  NVENCSTATUS DestroyOutput(const Rules& rules, void* buffer);
  NVENCSTATUS LockInput(const Rules& rules, NV_ENC_LOCK_INPUT_BUFFER* lock);
  NVENCSTATUS UnlockInput(const Rules& rules, void* buffer);
  NVENCSTATUS Encode(const Rules& rules, const NV_ENC_PIC_PARAMS& picture);
  NVENCSTATUS LockOutput(const Rules& rules, NV_ENC_LOCK_BITSTREAM* lock,
                         std::unique_lock<std::mutex>& gate);
  // Of the next output: the client may try again, or leave it alone until it is destroyed.
  void LockFailed();
  NVENCSTATUS UnlockOutput(const Rules& rules, void* buffer);
  NVENCSTATUS Headers(const NV_ENC_SEQUENCE_PARAM_PAYLOAD& payload) const;
  // What the client must have done before.
  void CheckEnd(const Rules& rules) const;
  // End of the stream; counts also where the call fails.
  void MarkFlushed() { flushed_ = true; }

  bool initialized() const { return encoder_ != nullptr; }
  bool hevc() const { return setup_.hevc; }
  std::uint32_t api() const { return api_; }

 private:
  NVENCSTATUS Submit(const Rules& rules, const NV_ENC_PIC_PARAMS& picture);
  bool BuffersFit(const Rules& rules, const NV_ENC_PIC_PARAMS& picture);
  bool PictureFits(const Rules& rules, const NV_ENC_PIC_PARAMS& picture, const InputBuffer& input);
  void Deliver(std::vector<AccessUnit> units);
  NVENCSTATUS Promise();
  bool Finished(const OutputBuffer& output) const;
  NVENCSTATUS WaitFor(OutputBuffer* output, bool wait, std::unique_lock<std::mutex>& gate);
  InputBuffer* FindInput(const Rules& rules, void* handle);
  OutputBuffer* FindOutput(const Rules& rules, void* handle);

  std::uint32_t api_;
  const void* device_;
  EncoderSetup setup_;
  std::unique_ptr<PictureEncoder> encoder_;
  std::map<void*, std::unique_ptr<InputBuffer>> inputs_;
  std::map<void*, std::unique_ptr<OutputBuffer>> outputs_;
  std::deque<OutputBuffer*> unfilled_;                  // in order of pictures, no access unit yet
  std::deque<OutputBuffer*> unread_;                    // likewise, not locked yet
  std::map<std::uint64_t, NV_ENC_PIC_PARAMS> sources_;  // by number, not out yet
  std::uint64_t pictures_ = 0;
  int units_ = 0;
  bool flushed_ = true;
  std::uint64_t lastStamp_ = 0;
};

}  // namespace xv::vendor
