#include "hw/quicksync/quick_encoder.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "hw/quicksync/quick_attributes.h"
#include "hw/quicksync/quick_headers.h"
#include "hw/stamps.h"

namespace xv {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// All processes that restart sessions know it by this name, misspelt as it is.
constexpr const char* kMutexName = "_QZ_QSEncoder_Reinit_Mutext_";

constexpr milliseconds kRoomPatience{1000};
constexpr milliseconds kEndPatience{3000};
constexpr milliseconds kMutexStep{1};
constexpr milliseconds kSyncStep{1};
constexpr mfxU32 kSyncMs = 10;
// Access units under way from which on reading waits, and from which on it waits for more.
constexpr std::size_t kPendingToWait = 4;
constexpr std::size_t kPendingToStay = 32;
constexpr int kReadRounds = 32;
constexpr int kMostRestartsInVain = 3;
constexpr int kWidestPicture = 0xFFF0;

bool HasPicture(const XV_VID_PROPS& vid) {
  const int height = std::abs(vid.nHeight);
  return vid.fccColor == kFccNV12 && vid.nWidth > 0 && height > 0 && vid.nWidth <= kWidestPicture &&
         height <= kWidestPicture - 16;
}

// A wait for an access unit that failed: a new session encodes its picture again.
bool NeedsRestart(mfxStatus code) { return code < MFX_ERR_NONE && code != MFX_ERR_MORE_DATA; }

bool IsAccepted(mfxStatus code) {
  return code >= MFX_ERR_NONE && code != MFX_WRN_DEVICE_BUSY && code != MFX_WRN_IN_EXECUTION;
}

// The mutex of all processes, asked for until it is held or the wait is interrupted.
class MachineLock {
 public:
  explicit MachineLock(NamedMutex& mutex) : mutex_(mutex) {}
  MachineLock(const MachineLock&) = delete;
  MachineLock& operator=(const MachineLock&) = delete;
  ~MachineLock() {
    if (held_) mutex_.Unlock();
  }

  Status Take(StopSignal& stop) {
    while (!(held_ = mutex_.TryLock())) {
      if (stop.WaitFor(kMutexStep)) return E_ABORT;
    }
    return S_OK;
  }

 private:
  NamedMutex& mutex_;
  bool held_ = false;
};

}  // namespace

// How a submission goes on while the device is busy.
struct QSEncoder::Rounds {
  int count;
  milliseconds step;
  bool locks;  // takes the machine's mutex for each call

  static constexpr Rounds Stream() { return {128, milliseconds(10), true}; }
  static constexpr Rounds Again() { return {511, milliseconds(1), false}; }
};

// --- opening ---

// A session in software has no memory of a device, whatever the one before it had.
Status QSEncoder::InitEncoder() {
  if (!session_.hardware()) {
    settings_.gpuMemory = false;
    settings_.param.IOPattern = MFX_IOPATTERN_IN_SYSTEM_MEMORY;
  }
  RETURN_IF_FAILED(surfaces_.Build(session_, settings_));
  LinkedParam param(settings_);
  RETURN_IF_FAILED(
      session_.Check("MFXVideoENCODE_Init", MFXVideoENCODE_Init(session_.handle(), param.get())));
  result_ = settings_.param;
  return session_.Check("MFXVideoENCODE_GetVideoParam",
                        MFXVideoENCODE_GetVideoParam(session_.handle(), &result_));
}

Status QSEncoder::OpenAll(const HwOpenRequest& request, HwOpenReport* report) {
  const Status named = machine_.Open(kMutexName);
  if (named.Failed()) {
    session_.SetFailure(std::string("/dev/shm/") + kMutexName + " cannot be opened");
    return E_FAIL;
  }
  RETURN_IF_FAILED(session_.Open(request.node->Get(quick::kForceGpu)));
  AttributeReader reader(*request.node);
  settings_ = MakeQuickSettings(request.vid, session_.hardware(), reader);
  RETURN_IF_FAILED(InitEncoder());
  if (report == nullptr) return S_OK;
  NameCorrections(settings_.param, result_, reader);
  *report = {};
  reader.AddUnused(QuickAttributes(), &report->unused);
  report->adjusted = reader.Adjusted();
  return S_OK;
}

Status QSEncoder::Open(const HwOpenRequest& request, HwOpenReport* report) {
  if (session_.IsOpen()) return S_FALSE;
  if (request.node == nullptr || !HasPicture(request.vid)) {
    session_.SetFailure("the encoder does not take pictures of this layout or size");
    return E_INVALIDARG;
  }
  Close();
  stop_.Clear();
  const Status status = OpenAll(request, report);
  if (status.Failed()) Close();
  timeBase_ = request.timeBase;
  return status;
}

Status QSEncoder::GetHeaders(std::uint8_t* into, std::size_t* size) {
  if (session_.IsOpen()) return ReadParameterSets(session_, settings_, into, size);
  *size = 0;
  return E_UNEXPECTED;
}

void QSEncoder::Close() {
  if (session_.IsOpen()) (void)MFXVideoENCODE_Close(session_.handle());
  session_.Close();
  lists_.Clear();
  saved_.clear();
  surfaces_.Clear();
  machine_.Close();
  settings_ = {};
  result_ = {};
  stamps_ = StampOrder();
  framesIn_ = 0;
  lastStamp_ = -1;
  restarts_ = restartsInVain_ = 0;
  syncFailed_ = drained_ = finished_ = false;
}

// --- pictures in ---

Status QSEncoder::CheckPicture(const ImageView& picture) {
  const mfxFrameInfo& info = settings_.param.mfx.FrameInfo;
  if (picture.tag == kFccNV12 && picture.width == info.CropW && picture.height == info.CropH) {
    return S_OK;
  }
  session_.SetFailure("a picture of another size or layout than the session was opened with");
  return E_INVALIDARG;
}

// Where the encoder does not tell, an access unit that is not compressed.
std::size_t QSEncoder::PacketBytes() const {
  const std::size_t told = std::size_t{Multiplied(result_, result_.mfx.BufferSizeInKB)} << 10;
  const mfxFrameInfo& info = settings_.param.mfx.FrameInfo;
  return told > 0 ? told : std::size_t{info.Width} * info.Height * 3 / 2;
}

// Waits until one is free, as long as access units come.
Status QSEncoder::TakeFrame(std::unique_ptr<CInputFrame>* frame) {
  auto end = Clock::now() + kRoomPatience;
  while (true) {
    for (auto& freed : lists_.TakeFreed()) surfaces_.PutBack(std::move(freed));
    if (lists_.FramesInWork() < surfaces_.Limit()) *frame = surfaces_.Take();
    if (*frame != nullptr) return S_OK;
    const mfxStatus code = SyncOldest(kSyncMs);
    if (NeedsRestart(code)) RETURN_IF_FAILED(Restart());
    if (code == MFX_ERR_NONE) end = Clock::now() + kRoomPatience;
    if (code != MFX_ERR_NONE && stop_.WaitFor(kSyncStep)) return E_ABORT;
    if (Clock::now() >= end) break;
  }
  session_.SetFailure("the encoder keeps all " + std::to_string(surfaces_.Limit()) +
                      " pictures that it was given");
  return XV_E_STILL_LOCKED;
}

Status QSEncoder::FillFrame(const ImageView& picture, std::uint64_t clock, CInputFrame& frame) {
  frame.surface.Data.TimeStamp = clock;
  return session_.Check("writing into a surface", surfaces_.CopyIn(picture, frame));
}

// S_OK also while the device is busy: `code` tells how the last call ended.
Status QSEncoder::Submit(mfxFrameSurface1* surface, const Rounds& rounds, COutputPkt& packet,
                         mfxStatus* code) {
  do {
    MachineLock lock(machine_);
    if (rounds.locks) RETURN_IF_FAILED(lock.Take(stop_));
    *code = MFXVideoENCODE_EncodeFrameAsync(session_.handle(), nullptr, surface, &packet.stream,
                                            &packet.sync);
    if (*code == MFX_ERR_NOT_ENOUGH_BUFFER && packet.Grow().Failed()) {
      session_.SetFailure(QuickErrorText("MFXVideoENCODE_EncodeFrameAsync", *code));
      return E_OUTOFMEMORY;
    }
  } while (*code == MFX_ERR_NOT_ENOUGH_BUFFER);
  return S_OK;
}

// The last round of a device that stays busy ends with a new session.
Status QSEncoder::WaitOutBusy(const Rounds& rounds, bool last, bool* restart) {
  const mfxStatus code = SyncOldest(0);
  *restart = NeedsRestart(code) || last;
  if (last) session_.SetFailure("MFXVideoENCODE_EncodeFrameAsync: the device stays busy");
  if (*restart || code == MFX_ERR_NONE) return S_OK;
  return stop_.WaitFor(rounds.step) ? E_ABORT : S_OK;
}

// `drained`: the runtime wants more pictures, or at the end has none any more.
Status QSEncoder::Send(mfxFrameSurface1* surface, const Rounds& rounds, bool* restart,
                       bool* drained) {
  auto packet = lists_.TakePacket(PacketBytes());
  packet->Reset(framesIn_);
  mfxStatus code = MFX_WRN_DEVICE_BUSY;
  for (int round = 1; code == MFX_WRN_DEVICE_BUSY && !*restart; ++round) {
    RETURN_IF_FAILED(Submit(surface, rounds, *packet, &code));
    if (code != MFX_WRN_DEVICE_BUSY) break;
    RETURN_IF_FAILED(WaitOutBusy(rounds, round >= rounds.count, restart));
  }
  *restart = *restart || IsDeviceFailure(code);
  *drained = code == MFX_ERR_MORE_DATA;
  const bool promised = IsAccepted(code) && packet->sync != nullptr;
  if (promised) {
    ++framesIn_;
    lists_.AddPending(std::move(packet));
  } else {
    lists_.PutFree(std::move(packet));
  }
  const Status status = *drained ? S_OK : session_.Check("MFXVideoENCODE_EncodeFrameAsync", code);
  return *restart ? Status(S_OK) : status;
}

Status QSEncoder::EncodePicture(const ImageView& picture, std::int64_t pts) {
  RETURN_IF_FAILED(CheckPicture(picture));
  drained_ = finished_ = false;
  if (syncFailed_ || !saved_.empty()) RETURN_IF_FAILED(Restart());
  std::unique_ptr<CInputFrame> frame;
  RETURN_IF_FAILED(TakeFrame(&frame));
  const std::uint64_t clock = ToClock90(ToHundredNanoseconds(pts, timeBase_));
  const Status filled = FillFrame(picture, clock, *frame);
  if (filled.Failed()) {
    surfaces_.PutBack(std::move(frame));
    return filled;
  }
  CInputFrame* added = lists_.AddFrame(std::move(frame));
  bool restart = false;
  bool wantsMore = false;
  const Status sent = Send(&added->surface, Rounds::Stream(), &restart, &wantsMore);
  if (sent.Failed()) {
    surfaces_.PutBack(lists_.TakeBackLast());
    return sent;
  }
  lastStamp_ = pts == AV_NOPTS_VALUE ? lastStamp_ + 1 : pts;
  stamps_.Push(lastStamp_);
  return restart ? Restart() : ReadAhead();
}

Status QSEncoder::EncodeFrame(const ImageView* picture, std::int64_t pts, Ref<HwPacket>* out) {
  *out = nullptr;
  if (!session_.IsOpen()) return E_UNEXPECTED;
  try {
    const Status status = picture != nullptr ? EncodePicture(*picture, pts) : Drain();
    return status.Failed() ? status : Give(out);
  } catch (const std::bad_alloc&) {
    session_.SetFailure("memory is full");
    return E_OUTOFMEMORY;
  }
}

// --- access units out ---

void QSEncoder::Collect(const COutputPkt& packet) {
  const mfxBitstream& stream = packet.stream;
  auto unit = MakeRef<HwPacket>(stream.DataLength);
  std::memcpy(unit->end(), stream.Data + stream.DataOffset, stream.DataLength);
  unit->AddChunk(stream.DataLength);
  unit->type = stream.FrameType;
  unit->key = (stream.FrameType & MFX_FRAMETYPE_I) != 0;
  unit->complete = true;
  unit->pts = FromHundredNanoseconds(FromClock90(stream.TimeStamp), timeBase_);
  if (packet.sequence == 0) {
    const mfxFrameInfo& info = settings_.param.mfx.FrameInfo;
    stamps_.SetDelay(
        DecodingLead(stream.TimeStamp, static_cast<std::uint64_t>(stream.DecodeTimeStamp),
                     {static_cast<int>(info.FrameRateExtD), static_cast<int>(info.FrameRateExtN)}));
  }
  lists_.AddComplete(std::move(unit), stream.TimeStamp);
}

// MFX_ERR_NONE when an access unit has come, MFX_ERR_MORE_DATA when none is under way. What has
// failed once is not asked again.
mfxStatus QSEncoder::SyncOldest(mfxU32 waitMs) {
  if (syncFailed_) return MFX_ERR_DEVICE_FAILED;
  const COutputPkt* packet = lists_.OldestPending();
  if (packet == nullptr) return MFX_ERR_MORE_DATA;
  const mfxStatus code = MFXVideoCORE_SyncOperation(session_.handle(), packet->sync, waitMs);
  syncFailed_ = session_.Check("MFXVideoCORE_SyncOperation", code).Failed();
  if (code != MFX_ERR_NONE) return code;
  Collect(*packet);
  lists_.PutFree(lists_.TakeOldestPending());
  return code;
}

// What is ready, without a wait while few are under way.
Status QSEncoder::ReadAhead() {
  mfxStatus code = MFX_WRN_IN_EXECUTION;
  for (int round = 0; round < kReadRounds && code == MFX_WRN_IN_EXECUTION; ++round) {
    if (round > 0 && lists_.PendingCount() <= kPendingToStay) break;
    if (round > 0 && stop_.WaitFor(kSyncStep)) return E_ABORT;
    code = SyncOldest(lists_.PendingCount() >= kPendingToWait ? kSyncMs : 0);
  }
  return NeedsRestart(code) ? Restart() : Status(S_OK);
}

Status QSEncoder::Give(Ref<HwPacket>* out) {
  *out = lists_.TakeComplete();
  if (!*out) return S_FALSE;
  restartsInVain_ = 0;
  HwPacket& unit = **out;
  const std::int64_t decoding = stamps_.NextDecoding();
  if (unit.pts == AV_NOPTS_VALUE) unit.pts = decoding;
  unit.dts = std::min(decoding, unit.pts);
  return S_OK;
}

// What is complete comes also after a failure.
Status QSEncoder::ReadPacket(Ref<HwPacket>* out) {
  *out = nullptr;
  if (session_.IsOpen() && !lists_.HasComplete()) (void)SyncOldest(0);
  return session_.IsOpen() || lists_.HasComplete() ? Give(out) : Status(E_UNEXPECTED);
}

Status QSEncoder::EndWith(Status status) {
  if (status.Failed() && !(status == Status(E_ABORT))) finished_ = true;
  return status;
}

// All that the runtime had has come.
Status QSEncoder::EndOfDrain() {
  lists_.ReleaseAll();
  if (lists_.HasComplete()) return S_OK;
  finished_ = true;
  const std::size_t missing = lists_.UndeliveredCount();
  if (missing == 0) return XV_E_NOTHING_MORE;
  session_.SetFailure("the encoder has left out " + std::to_string(missing) + " pictures");
  return E_FAIL;
}

Status QSEncoder::DrainStep(bool* progress) {
  bool restart = syncFailed_ || !saved_.empty();
  if (!drained_ && !restart) {
    const Status sent = Send(nullptr, Rounds::Stream(), &restart, &drained_);
    drained_ = drained_ || sent.Failed();  // what was promised before still comes
    RETURN_IF_FAILED(sent);
  }
  const mfxStatus code = restart ? MFX_ERR_DEVICE_FAILED : SyncOldest(kSyncMs);
  *progress = code == MFX_ERR_NONE;
  if (NeedsRestart(code)) {
    drained_ = false;
    return EndWith(Restart());
  }
  if (code == MFX_ERR_MORE_DATA) return drained_ ? EndOfDrain() : Status(S_OK);
  return !*progress && stop_.WaitFor(kSyncStep) ? E_ABORT : S_OK;
}

Status QSEncoder::Drain() {
  auto end = Clock::now() + kEndPatience;
  while (!lists_.HasComplete()) {
    if (finished_) return XV_E_NOTHING_MORE;
    bool progress = false;
    RETURN_IF_FAILED(DrainStep(&progress));
    if (progress) end = Clock::now() + kEndPatience;
    if (Clock::now() < end || lists_.HasComplete()) continue;
    session_.SetFailure("MFXVideoCORE_SyncOperation: no access unit came within 3 seconds");
    return EndWith(E_FAIL);
  }
  return S_OK;
}

// --- a new session ---

// Ahead of those that the last session was not given any more. The number of those that could not
// be read.
int QSEncoder::SavePictures() {
  int lost = 0;
  std::vector<SavedPicture> pictures;
  for (CInputFrame* frame : lists_.Undelivered()) {
    SavedPicture picture;
    picture.clock = frame->surface.Data.TimeStamp;
    const bool read = surfaces_.CopyOut(*frame, &picture.bytes, &picture.view) == MFX_ERR_NONE;
    if (read) pictures.push_back(std::move(picture));
    if (!read) ++lost;
  }
  saved_.insert(saved_.begin(), std::make_move_iterator(pictures.begin()),
                std::make_move_iterator(pictures.end()));
  return lost;
}

Status QSEncoder::ResubmitFirst() {
  std::unique_ptr<CInputFrame> frame = surfaces_.Take();
  if (frame == nullptr) {
    session_.SetFailure("a new session has too few surfaces");
    return E_FAIL;
  }
  RETURN_IF_FAILED(FillFrame(saved_.front().view, saved_.front().clock, *frame));
  CInputFrame* added = lists_.AddFrame(std::move(frame));
  bool restart = false;
  bool wantsMore = false;
  const Status sent = Send(&added->surface, Rounds::Again(), &restart, &wantsMore);
  if (sent.Ok() && !restart) return S_OK;
  surfaces_.PutBack(lists_.TakeBackLast());
  return sent.Failed() ? sent : Status(E_FAIL);
}

Status QSEncoder::Resubmit() {
  framesIn_ = lists_.Released();
  while (!saved_.empty()) {
    RETURN_IF_FAILED(ResubmitFirst());
    saved_.pop_front();
  }
  return S_OK;
}

// The words of the failure that led here stay where nothing new fails.
Status QSEncoder::Restart() {
  if (++restartsInVain_ > kMostRestartsInVain) return E_FAIL;
  MachineLock lock(machine_);
  RETURN_IF_FAILED(lock.Take(stop_));
  ++restarts_;
  syncFailed_ = false;
  const int lost = SavePictures();
  (void)MFXVideoENCODE_Close(session_.handle());
  const Status started = session_.Restart();
  lists_.ForgetUnfinished();
  lists_.DropFrames();
  surfaces_.Clear();
  RETURN_IF_FAILED(started);
  RETURN_IF_FAILED(InitEncoder());
  RETURN_IF_FAILED(Resubmit());
  if (lost == 0) return S_OK;
  session_.SetFailure(std::to_string(lost) + " pictures were lost with the device");
  return E_FAIL;
}

}  // namespace xv
