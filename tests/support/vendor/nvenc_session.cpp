#include "support/vendor/nvenc_session.h"

#include <fmt/format.h>

namespace xv::vendor {
namespace {

using Clock = std::chrono::steady_clock;
// What a card takes at most when no further pictures come.
constexpr std::chrono::milliseconds kLatency(10);
// A lock that waits for what never comes gives up, so that a faulty client does not hang its test.
constexpr std::chrono::seconds kLongest(20);

}  // namespace

Session::Session(std::uint32_t api, const void* device) : api_(api), device_(device) {
  Ledger::Get().Hold("session", 1);
  Ledger::Get().ContextUsed(device_, 1);
}

Session::~Session() {
  Ledger::Get().Hold("session", -1);
  Ledger::Get().ContextUsed(device_, -1);
}

NVENCSTATUS Session::Initialize(const Rules& rules, const NV_ENC_INITIALIZE_PARAMS& params) {
  if (encoder_) {
    rules.Broke("initialized twice");
    return NV_ENC_ERR_INVALID_CALL;
  }
  const Settings settings = Ledger::Get().Current();
  const NVENCSTATUS bad = CheckInitialize(rules, settings, api_, params);
  if (bad != NV_ENC_SUCCESS) return bad;
  setup_.hevc = Same(params.encodeGUID, NV_ENC_CODEC_HEVC_GUID);
  setup_.empty = settings.emptyEncode;
  setup_.width = static_cast<int>(params.encodeWidth);
  setup_.height = static_cast<int>(params.encodeHeight);
  setup_.rateNumerator = params.frameRateNum;
  setup_.rateDenominator = params.frameRateDen;
  setup_.lossless =
      IsLosslessPreset(params.presetGUID) || params.tuningInfo == NV_ENC_TUNING_INFO_LOSSLESS;
  setup_.config =
      params.encodeConfig != nullptr
          ? *params.encodeConfig
          : PresetConfiguration(settings, api_, setup_.hevc, params.presetGUID, params.tuningInfo);
  encoder_ = std::make_unique<PictureEncoder>(setup_);
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Session::Headers(const NV_ENC_SEQUENCE_PARAM_PAYLOAD& payload) const {
  const std::string& headers = encoder_->headers();
  if (payload.inBufferSize < headers.size()) return NV_ENC_ERR_NOT_ENOUGH_BUFFER;
  std::memcpy(payload.spsppsBuffer, headers.data(), headers.size());
  *payload.outSPSPPSPayloadSize = static_cast<std::uint32_t>(headers.size());
  return NV_ENC_SUCCESS;
}

bool Session::PictureFits(const Rules& rules, const NV_ENC_PIC_PARAMS& picture,
                          const InputBuffer& input) {
  const bool frames = setup_.config.frameFieldMode == NV_ENC_PARAMS_FRAME_FIELD_MODE_FRAME;
  const auto ask = [&](bool holds, const char* text) {
    if (!holds) rules.Broke(text);
    return holds;
  };
  bool good = ask(static_cast<int>(picture.inputWidth) <= input.width &&
                      static_cast<int>(picture.inputHeight) <= input.height,
                  "the picture is larger than its buffer");
  good &= ask(static_cast<int>(picture.inputWidth) >= setup_.width &&
                  static_cast<int>(picture.inputHeight) >= setup_.height,
              "the picture is smaller than what is encoded");
  good &= ask(picture.inputPitch == input.pitch, "the pitch is not that of the lock");
  good &= ask(picture.bufferFmt == input.format, "the format is not that of the buffer");
  good &= ask(picture.pictureStruct >= 1 && picture.pictureStruct <= 3 &&
                  (picture.pictureStruct == NV_ENC_PIC_STRUCT_FRAME) == frames,
              "pictureStruct does not go with frameFieldMode");
  good &= ask(pictures_ == 0 || picture.inputTimeStamp > lastStamp_, "stamps do not rise");
  return good;
}

bool Session::BuffersFit(const Rules& rules, const NV_ENC_PIC_PARAMS& picture) {
  const InputBuffer* input = FindInput(rules, picture.inputBuffer);
  const OutputBuffer* output = FindOutput(rules, picture.outputBitstream);
  if (input == nullptr || output == nullptr) return false;
  const char* fault = input->locked                                 ? "the input is still locked"
                      : input->inUse                                ? "the input is in use"
                      : !input->written                             ? "the input was not written"
                      : output->state != OutputBuffer::State::kFree ? "the output is in use"
                                                                    : nullptr;
  if (fault != nullptr) rules.Broke(fault);
  return fault == nullptr && PictureFits(rules, picture, *input);
}

NVENCSTATUS Session::Encode(const Rules& rules, const NV_ENC_PIC_PARAMS& picture) {
  const NVENCSTATUS bad = CheckPicture(rules, setup_.hevc, picture);
  if (bad != NV_ENC_SUCCESS) return bad;
  if ((picture.encodePicFlags & NV_ENC_PIC_FLAG_EOS) != 0) {
    Deliver(encoder_->Finish());
    return Promise();
  }
  return BuffersFit(rules, picture) ? Submit(rules, picture) : NV_ENC_ERR_INVALID_PARAM;
}

NVENCSTATUS Session::Submit(const Rules&, const NV_ENC_PIC_PARAMS& picture) {
  InputBuffer* input = inputs_[picture.inputBuffer].get();
  OutputBuffer* output = outputs_[picture.outputBitstream].get();
  input->inUse = true;
  input->written = false;
  output->state = OutputBuffer::State::kWaiting;
  output->input = input;
  output->bytes.clear();
  output->promised = output->failed = false;
  unfilled_.push_back(output);
  unread_.push_back(output);
  sources_[pictures_++] = picture;
  lastStamp_ = picture.inputTimeStamp;
  flushed_ = false;
  if (input->picture) {
    input->picture->top_field_first =
        picture.pictureStruct == NV_ENC_PIC_STRUCT_FIELD_TOP_BOTTOM ? 1 : 0;
  }
  const std::uint32_t forced = NV_ENC_PIC_FLAG_FORCEIDR | NV_ENC_PIC_FLAG_FORCEINTRA;
  Deliver(encoder_->Put(std::move(input->picture), (picture.encodePicFlags & forced) != 0));
  return Promise();
}

// Access units go into the outputs in order, however pictures were reordered.
void Session::Deliver(std::vector<AccessUnit> units) {
  for (AccessUnit& unit : units) {
    OutputBuffer* output = unfilled_.front();
    unfilled_.pop_front();
    output->bytes = std::move(unit.bytes);
    output->type = unit.type;
    output->source = sources_.at(unit.picture);
    sources_.erase(unit.picture);
    output->since = Clock::now();
    output->number = ++units_;
  }
}

// Success says that all that were given can be locked.
NVENCSTATUS Session::Promise() {
  const bool gathers =
      !flushed_ && static_cast<int>(unread_.size()) <= Ledger::Get().Current().gather;
  if (!unfilled_.empty() || gathers) return NV_ENC_ERR_NEED_MORE_INPUT;
  for (OutputBuffer* output : unread_) output->promised = true;
  return NV_ENC_SUCCESS;
}

bool Session::Finished(const OutputBuffer& output) const {
  const Settings settings = Ledger::Get().Current();
  if (settings.stuck > 0 && output.number >= settings.stuck) return false;
  const bool followed = flushed_ || units_ - output.number >= settings.delay;
  const auto late = std::chrono::milliseconds(settings.lateMs);
  return Clock::now() >= output.since + late + (followed ? std::chrono::milliseconds(0) : kLatency);
}

NVENCSTATUS Session::WaitFor(OutputBuffer* output, bool wait, std::unique_lock<std::mutex>& gate) {
  static std::condition_variable never;  // time alone ends the wait
  const auto last = Clock::now() + kLongest;
  while (!Finished(*output)) {
    if (!wait) return NV_ENC_ERR_LOCK_BUSY;
    if (Clock::now() >= last) {
      Ledger::Get().Broke("nvEncLockBitstream: waited for what never came");
      return NV_ENC_ERR_LOCK_BUSY;
    }
    never.wait_for(gate, std::chrono::milliseconds(1));
  }
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Session::LockOutput(const Rules& rules, NV_ENC_LOCK_BITSTREAM* lock,
                                std::unique_lock<std::mutex>& gate) {
  if (const NVENCSTATUS bad = CheckLockOutput(rules, *lock); bad != NV_ENC_SUCCESS) return bad;
  OutputBuffer* output = FindOutput(rules, lock->outputBitstream);
  if (output == nullptr) return NV_ENC_ERR_INVALID_PARAM;
  if (output->state != OutputBuffer::State::kWaiting || !output->promised) {
    rules.Broke(output->state == OutputBuffer::State::kLocked
                    ? "locked twice"
                    : "ahead of a success of nvEncEncodePicture");
    return NV_ENC_ERR_INVALID_CALL;
  }
  if (unread_.front() != output && unread_.front()->failed) unread_.pop_front();
  if (unread_.front() != output) {
    rules.Broke("out of order");
    return NV_ENC_ERR_INVALID_CALL;
  }
  const NVENCSTATUS waited = WaitFor(output, lock->doNotWait == 0, gate);
  if (waited != NV_ENC_SUCCESS) return waited;
  unread_.pop_front();
  output->state = OutputBuffer::State::kLocked;
  output->input->inUse = false;
  Ledger::Get().Hold("output lock", 1);
  lock->bitstreamBufferPtr = output->bytes.data();
  lock->bitstreamSizeInBytes = static_cast<std::uint32_t>(output->bytes.size());
  lock->outputTimeStamp = output->source.inputTimeStamp;
  lock->outputDuration = output->source.inputDuration;
  lock->frameIdx = output->source.frameIdx;
  lock->pictureType = output->type;
  lock->pictureStruct = output->source.pictureStruct;
  lock->numSlices = 1;
  lock->frameAvgQP = 26;
  return NV_ENC_SUCCESS;
}

void Session::LockFailed() {
  if (!unread_.empty() && unread_.front()->promised) unread_.front()->failed = true;
}

NVENCSTATUS Session::UnlockOutput(const Rules& rules, void* handle) {
  OutputBuffer* output = FindOutput(rules, handle);
  if (output == nullptr) return NV_ENC_ERR_INVALID_PARAM;
  if (output->state != OutputBuffer::State::kLocked) {
    rules.Broke("not locked");
    return NV_ENC_ERR_INVALID_CALL;
  }
  output->state = OutputBuffer::State::kFree;
  // Whoever reads on reads this.
  output->bytes.assign(output->bytes.size(), static_cast<char>(InputBuffer::kFill));
  Ledger::Get().Hold("output lock", -1);
  return NV_ENC_SUCCESS;
}

void Session::CheckEnd(const Rules& rules) const {
  if (!flushed_) rules.Broke("ahead of the end of the stream");
  if (!inputs_.empty()) rules.Broke(fmt::format("{} input buffers are left", inputs_.size()));
  if (!outputs_.empty()) rules.Broke(fmt::format("{} bitstream buffers are left", outputs_.size()));
}

}  // namespace xv::vendor
