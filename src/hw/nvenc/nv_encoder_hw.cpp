#include "hw/nvenc/nv_encoder_hw.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "hw/nvenc/access_unit.h"
#include "hw/nvenc/nvenc_attributes.h"

namespace xv {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kLongestWait{3000};
constexpr milliseconds kStep{1};

bool HasPicture(const XV_VID_PROPS& vid) {
  return vid.nWidth > 0 && EncodedHeight(vid.nHeight) > 0 && SizeIsPlausible(vid) &&
         IsNvencLayout(vid.fccColor);
}

NV_ENC_PIC_STRUCT PictureStruct(const NV_ENC_CONFIG& config, int fieldOrder) {
  if (config.frameFieldMode == NV_ENC_PARAMS_FRAME_FIELD_MODE_FRAME) return NV_ENC_PIC_STRUCT_FRAME;
  return fieldOrder > 0 ? NV_ENC_PIC_STRUCT_FIELD_TOP_BOTTOM : NV_ENC_PIC_STRUCT_FIELD_BOTTOM_TOP;
}

}  // namespace

Status NVEncoderHW::EnterDevice(const CudaScope& scope) {
  if (scope.status().Failed()) session_.SetFailure(session_.device().Words());
  return scope.status();
}

// --- opening ---

// Without a choice the first adapter is tried twice: a driver that sleeps may refuse the first
// call.
Status NVEncoderHW::OpenSession(int adapter, bool hevc) {
  const Status status = session_.Open(std::max(adapter, 0), hevc);
  if (status.Ok() || adapter >= 0 || status == Status(XV_E_VENDOR_LIBRARY)) return status;
  return session_.Open(0, hevc);
}

Status NVEncoderHW::CheckRaster(const XV_VID_PROPS& vid, const NvencAbilities& abilities) {
  const int width = vid.nWidth;
  const int height = EncodedHeight(vid.nHeight);
  const auto most = [&](NV_ENC_CAPS ability) {
    const int value = abilities.Of(ability);
    return value > 0 ? value : std::max(width, height);
  };
  const int mostWidth = most(NV_ENC_CAPS_WIDTH_MAX);
  const int mostHeight = most(NV_ENC_CAPS_HEIGHT_MAX);
  if (width <= mostWidth && height <= mostHeight) return S_OK;
  session_.SetFailure("the encoder takes pictures up to " + std::to_string(mostWidth) + "x" +
                      std::to_string(mostHeight) + ": these have " + std::to_string(width) + "x" +
                      std::to_string(height));
  return E_FAIL;
}

Status NVEncoderHW::ChoosePreset(int word, const NvencAbilities& abilities,
                                 NvencChosenPreset* chosen) {
  chosen->word = word;
  chosen->preset = PresetOfWord(word, session_.api());
  chosen->listed = session_.Lists(chosen->preset);
  if (IsLosslessWord(word) && abilities.Lacks(NV_ENC_CAPS_SUPPORT_LOSSLESS_ENCODE)) {
    chosen->listed = false;
  }
  if (chosen->listed) return session_.FetchPreset(chosen->preset, &chosen->config);
  chosen->preset = PresetOfWord(nvenc::kPresetDefault, session_.api());
  return S_OK;
}

// Attributes, preset and abilities become settings, and the session is initialised with them.
Status NVEncoderHW::Configure(const HwOpenRequest& request, HwOpenReport* report) {
  const CudaScope scope(session_.device());
  RETURN_IF_FAILED(EnterDevice(scope));
  NvencReader reader(*request.node);
  reader.Get(nvenc::kForceGpu);
  const NvencAbilities abilities = ReadAbilities(session_);
  RETURN_IF_FAILED(CheckRaster(request.vid, abilities));
  NvencChosenPreset chosen;
  RETURN_IF_FAILED(ChoosePreset(reader.Get(nvenc::kPreset), abilities, &chosen));
  settings_ =
      MakeNvencSettings({request.vid, request.hevc, session_.api(), chosen, abilities}, reader);
  if (report != nullptr) *report = {reader.Unused(), reader.Adjusted()};
  RETURN_IF_FAILED(session_.TakesNv12());
  settings_.params.encodeConfig = &settings_.config;
  return session_.Initialize(&settings_.params);
}

Status NVEncoderHW::OpenAll(const HwOpenRequest& request, HwOpenReport* report) {
  RETURN_IF_FAILED(OpenSession(request.node->Get(nvenc::kForceGpu), request.hevc));
  Status status = Configure(request, report);
  if (status.Failed() && session_.Refused() && session_.Reopen().Ok()) {
    status = Configure(request, report);
  }
  RETURN_IF_FAILED(status);
  const CudaScope scope(session_.device());
  RETURN_IF_FAILED(EnterDevice(scope));
  return ring_.Allocate(session_, settings_.RingSize(), settings_.BufferWidth(),
                        settings_.BufferHeight());
}

Status NVEncoderHW::Open(const HwOpenRequest& request, HwOpenReport* report) {
  if (session_.IsOpen()) return S_FALSE;
  if (request.node == nullptr || !HasPicture(request.vid)) {
    session_.SetFailure("the encoder does not take pictures of this layout or size");
    return E_INVALIDARG;
  }
  stop_.Clear();
  const Status status = OpenAll(request, report);
  if (status.Failed()) {
    Close();
    return status;
  }
  vid_ = request.vid;
  nextFrame_ = 0;
  stamps_ = StampOrder(settings_.DecodingDelay());
  return S_OK;
}

Status NVEncoderHW::GetHeaders(std::uint8_t* into, std::size_t* size) {
  const std::size_t room = std::exchange(*size, 0);
  if (!session_.IsOpen()) return E_UNEXPECTED;
  const CudaScope scope(session_.device());
  RETURN_IF_FAILED(EnterDevice(scope));
  std::uint32_t written = 0;
  NV_ENC_SEQUENCE_PARAM_PAYLOAD payload{};
  payload.version = PlainVersion(session_.api());
  payload.inBufferSize = static_cast<std::uint32_t>(room);
  payload.spsppsBuffer = into;
  payload.outSPSPPSPayloadSize = &written;
  RETURN_IF_FAILED(session_.Check("nvEncGetSequenceParams", session_.calls().nvEncGetSequenceParams(
                                                                session_.encoder(), &payload)));
  *size = std::min<std::size_t>(written, room);
  return S_OK;
}

// --- pictures in ---

Status NVEncoderHW::CheckPicture(const ImageView& picture) {
  if (picture.tag == vid_.fccColor && picture.width == vid_.nWidth &&
      EncodedHeight(picture.height) == EncodedHeight(vid_.nHeight)) {
    return S_OK;
  }
  session_.SetFailure("a picture of another size or layout than the session was opened with");
  return E_INVALIDARG;
}

// Waits for an output where all entries are taken. An encoder that holds back more pictures than
// there are entries gets another one: no wait would end.
Status NVEncoderHW::TakeEntry(XvNvEntry** entry) {
  *entry = ring_.TakeFree();
  if (*entry != nullptr) return S_OK;
  RETURN_IF_FAILED(ring_.FirstReady() != nullptr ? Read(true) : ring_.Grow(session_));
  *entry = ring_.TakeFree();
  if (*entry != nullptr) return S_OK;
  session_.SetFailure("nvEncLockBitstream: no access unit came within 3 seconds");
  return E_UNEXPECTED;
}

Status NVEncoderHW::FillInput(const ImageView& picture, XvNvEntry* entry, std::uint32_t* pitch) {
  const auto& calls = session_.calls();
  NV_ENC_LOCK_INPUT_BUFFER lock{};
  lock.version = PlainVersion(session_.api());
  lock.inputBuffer = entry->input.inputBuffer;
  RETURN_IF_FAILED(session_.Check("nvEncLockInputBuffer",
                                  calls.nvEncLockInputBuffer(session_.encoder(), &lock)));
  Status status = E_UNEXPECTED;
  if (lock.bufferDataPtr != nullptr) {
    status =
        picture_.WriteNv12(picture, static_cast<std::uint8_t*>(lock.bufferDataPtr),
                           static_cast<int>(lock.pitch), static_cast<int>(entry->input.height));
    if (status.Failed()) session_.SetFailure("the picture could not be converted to NV12");
  } else {
    session_.SetFailure("nvEncLockInputBuffer: no memory came with it");
  }
  *pitch = lock.pitch;
  const int code = calls.nvEncUnlockInputBuffer(session_.encoder(), lock.inputBuffer);
  return status.Failed() ? status : session_.Check("nvEncUnlockInputBuffer", code);
}

// An encoder that is busy is asked again.
Status NVEncoderHW::SendPicture(NV_ENC_PIC_PARAMS* params) {
  const auto end = Clock::now() + kLongestWait;
  int code = session_.calls().nvEncEncodePicture(session_.encoder(), params);
  while (code == NV_ENC_ERR_ENCODER_BUSY && Clock::now() < end) {
    if (stop_.WaitFor(kStep)) return E_ABORT;
    code = session_.calls().nvEncEncodePicture(session_.encoder(), params);
  }
  if (code == NV_ENC_SUCCESS) ring_.MarkReady();
  if (code == NV_ENC_ERR_NEED_MORE_INPUT) return S_OK;
  return session_.Check("nvEncEncodePicture", code,
                        code == NV_ENC_ERR_OUT_OF_MEMORY ? E_OUTOFMEMORY : E_FAIL);
}

Status NVEncoderHW::Submit(XvNvEntry* entry, std::uint32_t pitch, std::int64_t pts) {
  NV_ENC_PIC_PARAMS params{};
  params.version = PictureVersion(session_.api());
  params.inputWidth = settings_.params.encodeWidth;
  params.inputHeight = settings_.params.encodeHeight;
  params.inputPitch = pitch;
  params.inputBuffer = entry->input.inputBuffer;
  params.outputBitstream = entry->output.bitstreamBuffer;
  params.bufferFmt = entry->input.bufferFmt;
  params.pictureStruct = PictureStruct(settings_.config, settings_.fieldOrder);
  params.inputTimeStamp = static_cast<std::uint64_t>(pts);
  params.inputDuration = 1;
  params.frameIdx = static_cast<std::uint32_t>(nextFrame_);
  ring_.PutBusy(entry);
  const Status status = SendPicture(&params);
  if (status.Failed()) {
    ring_.TakeBack();
    return status;
  }
  ++nextFrame_;
  stamps_.Push(pts);
  return S_OK;
}

Status NVEncoderHW::EncodePicture(const ImageView& picture, std::int64_t pts) {
  RETURN_IF_FAILED(CheckPicture(picture));
  endSent_ = endFailed_ = false;
  XvNvEntry* entry = nullptr;
  RETURN_IF_FAILED(TakeEntry(&entry));
  std::uint32_t pitch = 0;
  const Status filled = FillInput(picture, entry, &pitch);
  if (filled.Failed()) {
    ring_.PutFree(entry);
    return filled;
  }
  RETURN_IF_FAILED(Submit(entry, pitch, pts));
  return read_.empty() ? Read(false) : Status(S_OK);
}

// The next of what was read, unless the call failed: then it comes with a later one.
Status NVEncoderHW::Give(Status status, Ref<HwPacket>* out) {
  if (status.Failed() || read_.empty()) return status;
  *out = std::move(read_.front());
  read_.pop_front();
  return S_OK;
}

Status NVEncoderHW::EncodeFrame(const ImageView* picture, std::int64_t pts, Ref<HwPacket>* out) {
  *out = nullptr;
  if (!session_.IsOpen()) return E_UNEXPECTED;
  const CudaScope scope(session_.device());
  Status status = EnterDevice(scope);
  if (picture == nullptr) return Give(read_.empty() ? Drain(status) : Status(S_OK), out);
  if (status.Ok()) status = EncodePicture(*picture, pts);
  return Give(status, out);
}

// --- access units out ---

Status NVEncoderHW::SendEnd() {
  NV_ENC_PIC_PARAMS params{};
  params.version = PictureVersion(session_.api());
  params.encodePicFlags = NV_ENC_PIC_FLAG_EOS;
  endSent_ = true;
  const Status status = SendPicture(&params);
  endFailed_ = status.Failed();
  if (status.Ok()) ring_.MarkReady();
  return status.Failed() && !(status == Status(E_ABORT)) ? Status(E_FAIL) : status;
}

// A device that stays out of reach ends the stream.
Status NVEncoderHW::Drain(Status entered) {
  if (entered.Failed()) {
    return std::exchange(endFailed_, true) ? Status(XV_E_NOTHING_MORE) : entered;
  }
  if (!endSent_) RETURN_IF_FAILED(SendEnd());
  return Read(true);
}

Status NVEncoderHW::ReadPacket(Ref<HwPacket>* out) {
  *out = nullptr;
  if (!session_.IsOpen()) return E_UNEXPECTED;
  if (!read_.empty()) return Give(S_OK, out);
  const CudaScope scope(session_.device());
  RETURN_IF_FAILED(EnterDevice(scope));
  const Status status = Read(false);
  return status == Status(XV_E_NOTHING_MORE) ? Status(S_FALSE) : Give(status, out);
}

// S_FALSE when the output is not ready, with `wait` within the longest wait.
Status NVEncoderHW::LockOutput(bool wait, XvNvEntry* entry, NV_ENC_LOCK_BITSTREAM* lock) {
  const auto end = Clock::now() + kLongestWait;
  while (true) {
    *lock = {};
    lock->version = PlainVersion(session_.api());
    lock->doNotWait = 1;
    lock->outputBitstream = entry->output.bitstreamBuffer;
    const int code = session_.calls().nvEncLockBitstream(session_.encoder(), lock);
    if (code != NV_ENC_ERR_LOCK_BUSY) return session_.Check("nvEncLockBitstream", code);
    if (!wait || Clock::now() >= end) return S_FALSE;
    if (stop_.WaitFor(kStep)) return E_ABORT;
  }
}

Status NVEncoderHW::TakeOutput(const NV_ENC_LOCK_BITSTREAM& lock, std::int64_t dts) {
  if (lock.bitstreamBufferPtr == nullptr) {
    session_.SetFailure("nvEncLockBitstream: no memory came with it");
    return E_UNEXPECTED;
  }
  const std::size_t size = lock.bitstreamSizeInBytes;
  if (size == 0) return S_FALSE;
  try {
    read_.push_back(MakeRef<HwPacket>(size));
  } catch (const std::bad_alloc&) {
    session_.SetFailure("no memory for an access unit");
    return E_OUTOFMEMORY;
  }
  HwPacket& packet = *read_.back();
  std::memcpy(packet.end(), lock.bitstreamBufferPtr, size);
  packet.AddChunk(size);
  packet.pts = static_cast<std::int64_t>(lock.outputTimeStamp);
  packet.dts = dts;
  const bool idr = HoldsIdrSlice({packet.data(), packet.size()});
  packet.type = static_cast<std::uint32_t>(idr ? NV_ENC_PIC_TYPE_IDR : lock.pictureType);
  packet.key = packet.type == NV_ENC_PIC_TYPE_I || packet.type == NV_ENC_PIC_TYPE_IDR;
  packet.complete = true;
  return S_OK;
}

// The first busy entry's access unit, in the order of submission. Its entry is free then; one that
// cannot be unlocked is lost until Close, and so is one that cannot be locked at the second try.
Status NVEncoderHW::Read(bool wait) {
  if (!ring_.HasBusy() || (endFailed_ && ring_.FirstReady() == nullptr)) return XV_E_NOTHING_MORE;
  if (stop_.IsSet()) return E_ABORT;
  XvNvEntry* entry = ring_.FirstReady();
  if (entry == nullptr) return S_FALSE;
  NV_ENC_LOCK_BITSTREAM lock{};
  const Status locked = LockOutput(wait, entry, &lock);
  if (locked == Status(S_FALSE) || locked == Status(E_ABORT)) return locked;
  if (locked.Failed() && !std::exchange(entry->failed, true)) return locked;
  ring_.PopBusy();
  const std::int64_t dts = stamps_.NextDecoding();
  if (locked.Failed()) return locked;
  entry->failed = false;
  const Status taken = TakeOutput(lock, dts);
  const Status unlocked = session_.Check(
      "nvEncUnlockBitstream",
      session_.calls().nvEncUnlockBitstream(session_.encoder(), entry->output.bitstreamBuffer));
  if (unlocked.Ok()) ring_.PutFree(entry);
  return unlocked.Failed() ? unlocked : taken;
}

// --- closing ---

void NVEncoderHW::Close() {
  if (session_.IsOpen()) {
    const CudaScope scope(session_.device());
    // A driver wants to have flushed before its buffers go.
    if (nextFrame_ > 0 && !endSent_) static_cast<void>(SendEnd().Ok());
    ring_.Destroy(session_);
  }
  session_.Close();
  vid_ = {};
  nextFrame_ = -1;
  endSent_ = endFailed_ = false;
  read_.clear();
}

}  // namespace xv
