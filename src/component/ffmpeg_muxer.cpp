#include "component/ffmpeg_muxer.h"

#include "base/guard.h"
#include "base/text.h"
#include "catalogue/muxer_name.h"
#include "codec/ffmpeg.h"
#include "component/muxer_profile.h"

namespace xv {
namespace {

// Keeps a record alive for who has a copy of it.
class RecordOwner final : public AutoObjBase<RecordOwner> {
 public:
  explicit RecordOwner(std::shared_ptr<const StreamRecord> record) : record_(std::move(record)) {}

 private:
  const std::shared_ptr<const StreamRecord> record_;
};

}  // namespace

HRESULT CCoXfMuxerFFM::Init(const char16_t* name, const char16_t* text) {
  return Guarded([&]() -> Status {
    const std::lock_guard guard(lock_);
    StartFFmpeg();
    file_ = nullptr;
    const std::string target = Utf8FromUtf16(name);
    if (target.empty()) return E_INVALIDARG;
    XMLParse::XMLNodePtr options;
    RETURN_IF_FAILED(XMLParse::NodeFromText("muxer", Utf8FromUtf16(text), &options));
    const std::string format = options->Text("format");
    const bool profiled = IsProfiledFormat(format);
    const auto muxer = profiled ? ProfiledMuxer(*options) : MuxerNameFor(target, format);
    if (!muxer) return Noted(E_INVALIDARG, "no such muxer_profile: " + options->Get(kMuxerProfile));
    auto file = std::make_unique<PacketFile>();
    const Status made = file->Allocate(target, *muxer, options);
    RETURN_IF_FAILED(Noted(made, file->Words()));
    file_ = std::move(file);
    return S_OK;
  });
}

HRESULT CCoXfMuxerFFM::AddStream(const XV_STREAM_INFO* info, std::int32_t* index, void*) {
  return Guarded([&]() -> Status {
    if (info == nullptr) return E_POINTER;
    const std::lock_guard guard(lock_);
    return file_ ? file_->AddStream(*info, index) : Status(E_UNEXPECTED);
  });
}

HRESULT CCoXfMuxerFFM::GetStream(std::int32_t index, XV_STREAM_INFO* info, IUnknown** owner) {
  return Guarded([&]() -> Status {
    if (info == nullptr) return E_POINTER;
    if (owner != nullptr) *owner = nullptr;
    const std::lock_guard guard(lock_);
    const auto record = file_ ? file_->Stream(index) : nullptr;
    if (!record) return XV_E_NOT_FOUND;
    *info = record->info;
    if (owner != nullptr) *owner = MakeRef<RecordOwner>(record).Detach();
    return S_OK;
  });
}

HRESULT CCoXfMuxerFFM::PutPacket(std::int32_t index, IXfPacket* packet, void*) {
  return Guarded([&]() -> Status {
    if (packet == nullptr) return E_POINTER;
    const std::lock_guard guard(lock_);
    if (!file_) return E_UNEXPECTED;
    const Status put = file_->Put(index, *packet);
    return put.Failed() ? Noted(put, file_->Words()) : put;
  });
}

HRESULT CCoXfMuxerFFM::Close() {
  return Guarded([&]() -> Status {
    const std::lock_guard guard(lock_);
    if (!file_) return S_FALSE;
    const Status closed = file_->Close();
    const std::string words = closed.Failed() ? file_->Words() : std::string();
    file_ = nullptr;
    return Noted(closed, words);
  });
}

}  // namespace xv
