#include "support/vendor/mfx/encoder.h"

#include <fmt/format.h>

#include <atomic>
#include <cstring>

#include "support/vendor/mfx/param_rules.h"
#include "support/vendor/mfx/surface_memory.h"

namespace xv::mfx {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr const char* kEncode = "MFXVideoENCODE_EncodeFrameAsync";
constexpr auto kUnknown = static_cast<mfxU64>(MFX_TIMESTAMP_UNKNOWN);
constexpr auto kAlone = milliseconds(20);  // a task is done after it, whatever comes behind

void Broke(const std::string& line) { vendor::Ledger::Get().Broke(line); }

void ChangeLocked(mfxFrameSurface1* surface, int change) {
  std::atomic_ref<mfxU16> locked(surface->Data.Locked);
  if (change > 0) {
    locked.fetch_add(1);
  } else if (locked.fetch_sub(1) == 0) {
    Broke("a surface's lock count was changed by the client");
  }
}

nvcuvenc::H264Options OptionsOf(const mfxVideoParam& param) {
  const mfxInfoMFX& mfx = param.mfx;
  const mfxFrameInfo& info = mfx.FrameInfo;
  nvcuvenc::H264Options options;
  options.outWidth = info.CropW & ~1;
  options.outHeight = info.CropH & ~1;
  options.rateNumerator = static_cast<int>(info.FrameRateExtN);
  options.rateDenominator = static_cast<int>(info.FrameRateExtD);
  options.keyDistance = mfx.GopPicSize;
  options.referenceDistance = mfx.GopRefDist;
  options.fieldMode = info.PicStruct == MFX_PICSTRUCT_FIELD_TFF   ? 1
                      : info.PicStruct == MFX_PICSTRUCT_FIELD_BFF ? 2
                                                                  : 0;
  const bool high = mfx.CodecProfile >= MFX_PROFILE_AVC_HIGH;
  options.profile = high ? 100 : mfx.CodecProfile;
  if (mfx.CodecLevel != 0) options.level = mfx.CodecLevel;
  if (mfx.RateControlMethod == MFX_RATECONTROL_CQP) {
    options.quantiser = mfx.QPI;
  } else if (mfx.RateControlMethod == MFX_RATECONTROL_ICQ ||
             mfx.RateControlMethod == MFX_RATECONTROL_LA_ICQ) {
    options.quantiser = mfx.ICQQuality;
  } else {
    options.average = std::int64_t{1000} * mfx.BRCParamMultiplier * mfx.TargetKbps;
    options.peak = std::int64_t{1000} * mfx.BRCParamMultiplier * mfx.MaxKbps;
  }
  const mfxExtBuffer* more = FindExtension(param, MFX_EXTBUFF_CODING_OPTION);
  if (more != nullptr) {
    options.cabac = reinterpret_cast<const mfxExtCodingOption*>(more)->CAVLC != MFX_CODINGOPTION_ON;
  }
  options.format = AV_PIX_FMT_NV12;
  return options;
}

struct FrameCloser {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using FramePtr = std::unique_ptr<AVFrame, FrameCloser>;

FramePtr CopyOf(const SurfaceMemory& memory, const mfxFrameInfo& info) {
  FramePtr frame(av_frame_alloc());
  frame->format = AV_PIX_FMT_NV12;
  frame->width = info.CropW & ~1;
  frame->height = info.CropH & ~1;
  if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
  const std::uint8_t* planes[] = {memory.Luma(), memory.Chroma()};
  for (int plane = 0; plane < 2; ++plane) {
    for (int y = 0; y < frame->height >> plane; ++y) {
      std::memcpy(frame->data[plane] + static_cast<std::ptrdiff_t>(y) * frame->linesize[plane],
                  planes[plane] + static_cast<std::ptrdiff_t>(y) * memory.Pitch(),
                  static_cast<std::size_t>(frame->width));
    }
  }
  return frame;
}

mfxU16 TypeOf(const nvcuvenc::AccessUnit& unit) {
  if (unit.key) return MFX_FRAMETYPE_I | MFX_FRAMETYPE_REF | MFX_FRAMETYPE_IDR;
  if (unit.type == AV_PICTURE_TYPE_B) return MFX_FRAMETYPE_B;
  const int type = unit.type == AV_PICTURE_TYPE_I ? MFX_FRAMETYPE_I : MFX_FRAMETYPE_P;
  return static_cast<mfxU16>(type | MFX_FRAMETYPE_REF);
}

double PictureTicks(const mfxFrameInfo& info) {
  return 90000.0 * info.FrameRateExtD / info.FrameRateExtN;
}

}  // namespace

Encoder::Encoder(const mfxVideoParam& param, const mfxFrameAllocator* allocator)
    : param_(param),
      allocator_(allocator),
      video_(param.IOPattern == MFX_IOPATTERN_IN_VIDEO_MEMORY),
      h264_(OptionsOf(param)) {
  param_.NumExtParam = 0;
  param_.ExtParam = nullptr;
  if (video_) AllocateOwn();
  thread_ = std::thread([this] { Run(); });
}

Encoder::~Encoder() {
  {
    const std::lock_guard held(lock_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
  for (auto& [number, source] : sources_) {
    if (source.surface != nullptr) ChangeLocked(source.surface, -1);
  }
  if (own_.mids != nullptr && allocator_->Free(allocator_->pthis, &own_) != MFX_ERR_NONE) {
    Broke("the allocator did not free the runtime's own frames");
  }
}

void Encoder::AllocateOwn() {
  mfxFrameAllocRequest request{};
  request.Info = param_.mfx.FrameInfo;
  request.Type = MFX_MEMTYPE_FROM_ENCODE | MFX_MEMTYPE_INTERNAL_FRAME |
                 MFX_MEMTYPE_VIDEO_MEMORY_DECODER_TARGET;
  request.NumFrameMin = request.NumFrameSuggested = 3;
  request.AllocId = 0;
  if (allocator_->Alloc(allocator_->pthis, &request, &own_) != MFX_ERR_NONE ||
      own_.NumFrameActual < request.NumFrameMin) {
    throw std::runtime_error("the allocator gave no frames");
  }
}

// As where references go: a client that has given the same memory for them and for its pictures is
// found by what becomes of these.
void Encoder::UseOwn() const {
  for (int i = 0; i < own_.NumFrameActual; ++i) {
    mfxFrameSurface1 surface{};
    surface.Data.MemId = own_.mids[i];
    const SurfaceMemory memory(surface, allocator_, true);
    if (memory.Ok()) std::memset(const_cast<std::uint8_t*>(memory.Luma()), 0x5A, 64);
  }
}

std::vector<std::string> Encoder::Headers() const {
  std::vector<std::string> sets;
  for (const std::string& set : h264_.Headers()) sets.push_back(std::string("\0\0\0\1", 4) + set);
  return sets;
}

mfxStatus Encoder::CheckRoom(const mfxBitstream& bitstream) const {
  const mfxU32 told = 1000U * param_.mfx.BufferSizeInKB * param_.mfx.BRCParamMultiplier;
  const auto ordered = static_cast<mfxU32>(vendor::Ledger::Get().Current().roomFor);
  const mfxU32 room = bitstream.MaxLength - bitstream.DataOffset - bitstream.DataLength;
  return room < std::max(told, ordered) ? MFX_ERR_NOT_ENOUGH_BUFFER : MFX_ERR_NONE;
}

mfxStatus Encoder::Encode(const mfxEncodeCtrl* ctrl, mfxFrameSurface1* surface,
                          mfxBitstream* bitstream, mfxSyncPoint* sync) {
  const std::lock_guard held(lock_);
  *sync = nullptr;
  if (busy_++ < vendor::Ledger::Get().Current().busy) return MFX_WRN_DEVICE_BUSY;
  const mfxStatus room = CheckRoom(*bitstream);
  if (room != MFX_ERR_NONE) return room;
  busy_ = 0;
  if (surface != nullptr) {
    const mfxStatus taken = Take(ctrl, surface);
    if (taken != MFX_ERR_NONE) return taken;
  } else if (!ended_) {
    ended_ = true;
    h264_.End();
  }
  for (nvcuvenc::AccessUnit unit; h264_.Next(&unit);) units_.push_back(unit);
  changed_.notify_all();
  return Promise(bitstream, sync);
}

mfxStatus Encoder::Take(const mfxEncodeCtrl* ctrl, mfxFrameSurface1* surface) {
  if (ended_) Broke(fmt::format("{}: a picture behind the end of the stream", kEncode));
  for (const auto& [number, source] : sources_) {
    if (source.surface == surface) Broke("a surface that is in use is given again");
  }
  const SurfaceMemory memory(*surface, allocator_, video_);
  if (memory.Mapped()) Broke("a surface is given that is mapped");
  if (ended_ || !memory.Ok() || !AskStamp(surface->Data.TimeStamp)) {
    return MFX_ERR_UNDEFINED_BEHAVIOR;
  }
  const FramePtr frame = CopyOf(memory, param_.mfx.FrameInfo);
  if (!frame) return MFX_ERR_MEMORY_ALLOC;
  const int number = static_cast<int>(put_++);
  frame->pts = number;
  const bool key = ctrl != nullptr && (ctrl->FrameType & MFX_FRAMETYPE_IDR) != 0;
  if (key) frame->pict_type = AV_PICTURE_TYPE_I;
  ChangeLocked(surface, +1);
  stamps_[number] = surface->Data.TimeStamp;
  const bool keep = vendor::Ledger::Get().Current().keepLocked == put_;
  sources_[number] =
      Source{surface, memory.Hash(param_.mfx.FrameInfo), surface->Data.TimeStamp, keep};
  h264_.PutFrame(frame.get());
  return MFX_ERR_NONE;
}

// Stamps count 90000ths of a second: between pictures lies about the time of one.
bool Encoder::AskStamp(mfxU64 stamp) {
  const auto last = stamps_.find(static_cast<int>(put_) - 1);
  if (stamp == kUnknown || last == stamps_.end() || last->second == kUnknown) return true;
  const double pictures = static_cast<double>(static_cast<mfxI64>(stamp - last->second)) /
                          PictureTicks(param_.mfx.FrameInfo);
  if (pictures > 0.25 && pictures < 25) return true;
  Broke(fmt::format("{}: a stamp {} pictures behind the last one", kEncode, pictures));
  return false;
}

mfxStatus Encoder::Promise(mfxBitstream* bitstream, mfxSyncPoint* sync) {
  if (units_.empty()) return MFX_ERR_MORE_DATA;
  for (const auto& [other, task] : tasks_) {
    if (!task.done && task.bitstream == bitstream)
      Broke("a bitstream that is in use is given again");
  }
  Task task{units_.front(), bitstream, *bitstream, steady_clock::now(), put_, ++promised_, false};
  units_.pop_front();
  *sync = reinterpret_cast<mfxSyncPoint>(static_cast<std::uintptr_t>(promised_));
  tasks_.emplace(*sync, std::move(task));
  waiting_.push_back(*sync);
  return MFX_ERR_NONE;
}

bool Encoder::Ready(const Task& task) const {
  const vendor::Settings settings = vendor::Ledger::Get().Current();
  const auto age = steady_clock::now() - task.since;
  if (settings.stuck != 0 && task.number >= settings.stuck) return false;
  if (age < milliseconds(settings.lateMs)) return false;
  return ended_ || age >= kAlone || put_ - task.put >= settings.delay;
}

void Encoder::Fail() {
  const std::lock_guard held(lock_);
  failed_ = true;
}

void Encoder::Run() {
  std::unique_lock held(lock_);
  while (!stop_) {
    if (!failed_ && !waiting_.empty() && Ready(tasks_.at(waiting_.front()))) {
      Finish(&tasks_.at(waiting_.front()));
      waiting_.pop_front();
      changed_.notify_all();
    } else {
      changed_.wait_for(held, waiting_.empty() ? milliseconds(1000) : milliseconds(1));
    }
  }
}

void Encoder::Finish(Task* task) {
  task->done = true;
  Write(*task);
  const auto source = sources_.find(task->unit.number);
  if (source == sources_.end()) return;
  {
    const SurfaceMemory memory(*source->second.surface, allocator_, video_);
    if (!memory.Ok() || memory.Hash(param_.mfx.FrameInfo) != source->second.hash) {
      Broke(fmt::format("picture {} was changed while it was encoded", task->unit.number));
    }
    if (source->second.surface->Data.TimeStamp != source->second.stamp) {
      Broke("a surface's stamp was changed while it was encoded");
    }
  }
  UseOwn();
  Release(task->unit.number);
}

void Encoder::Release(int picture) {
  const auto source = sources_.find(picture);
  if (source == sources_.end() || source->second.keep) return;
  ChangeLocked(source->second.surface, -1);
  sources_.erase(source);
}

void Encoder::GiveUp(mfxSyncPoint sync) {
  const std::lock_guard held(lock_);
  const auto found = tasks_.find(sync);
  if (found == tasks_.end() || failed_) return;
  if (!found->second.done) Release(found->second.unit.number);
  std::erase(waiting_, sync);
  tasks_.erase(found);
}

void Encoder::Write(const Task& task) const {
  mfxBitstream& out = *task.bitstream;
  if (std::memcmp(&out, &task.before, sizeof out) != 0) {
    Broke("a bitstream was changed while it was in use");
  }
  const std::string& bytes = task.unit.bytes;
  const std::size_t end = std::size_t{out.DataOffset} + out.DataLength;
  if (end + bytes.size() > out.MaxLength) {
    throw std::runtime_error("an access unit is larger than it was told");
  }
  std::memcpy(out.Data + end, bytes.data(), bytes.size());
  out.DataLength += static_cast<mfxU32>(bytes.size());
  out.TimeStamp = stamps_.at(task.unit.number);
  out.DecodeTimeStamp = static_cast<mfxI64>(DecodeStamp(task.unit.decoded));
  out.FrameType = TypeOf(task.unit);
  out.PicStruct = param_.mfx.FrameInfo.PicStruct;
  out.DataFlag = MFX_BITSTREAM_COMPLETE_FRAME;
}

mfxU64 Encoder::DecodeStamp(std::int64_t decoded) const {
  const auto found = stamps_.find(static_cast<int>(std::max<std::int64_t>(decoded, 0)));
  if (found == stamps_.end() || found->second == kUnknown || decoded >= 0) {
    return found == stamps_.end() ? kUnknown : found->second;
  }
  const auto early =
      static_cast<mfxI64>(static_cast<double>(decoded) * PictureTicks(param_.mfx.FrameInfo));
  return found->second + static_cast<mfxU64>(early);
}

mfxStatus Encoder::Sync(mfxSyncPoint sync, mfxU32 waitMs) {
  std::unique_lock held(lock_);
  const auto found = tasks_.find(sync);
  if (found == tasks_.end()) {
    Broke("MFXVideoCORE_SyncOperation: a sync point that is not there, or was used");
    return MFX_ERR_UNDEFINED_BEHAVIOR;
  }
  const auto done = [&] { return found->second.done; };
  if (!changed_.wait_for(held, milliseconds(waitMs), done)) return MFX_WRN_IN_EXECUTION;
  tasks_.erase(found);
  return MFX_ERR_NONE;
}

}  // namespace xv::mfx
