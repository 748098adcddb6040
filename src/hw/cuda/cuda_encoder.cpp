#include "hw/cuda/cuda_encoder.h"

#include <fmt/format.h>

#include <chrono>
#include <utility>
#include <vector>

#include "hw/cuda/cuda_headers.h"
#include "hw/cuda/cuda_settings.h"
#include "media/validity.h"

namespace xv {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLongestWait{3000};
// How long between two looks at the number that was finished last, which nothing announces.
constexpr milliseconds kLook{10};
constexpr int kDecodingAhead = 2;  // pictures

std::int32_t LayoutOf(std::uint32_t tag) {
  if (tag == kFccUYVY || tag == kFccHDYC) return 0;
  if (tag == kFccYUY2) return 1;
  return tag == kFccYV12 ? 2 : 3;
}

}  // namespace

CUDAEncoder::CUDAEncoder() : packets_(std::make_shared<CudaPackets>()) { (void)library_.Load(); }

CUDAEncoder::~CUDAEncoder() { Close(); }

bool CUDAEncoder::IsSupported() {
  CudaLibrary library;
  CudaSession session;
  return library.Load().Ok() && session.Create(library) == Status(S_OK);
}

Status CUDAEncoder::Check(Status status, const std::string& call) {
  if (session_.Check(status, call).Failed()) failure_ = session_.Failure();
  return status;
}

std::shared_ptr<CudaPackets> CUDAEncoder::Packets() const {
  const std::lock_guard guard(packetsLock_);
  return packets_;
}

Status CUDAEncoder::Open(const HwOpenRequest& request, HwOpenReport* report) {
  if (session_.IsOpen()) return S_FALSE;
  failure_.clear();
  if (library_.Load().Failed()) {
    failure_ = library_.Words();
    return XV_E_VENDOR_LIBRARY;
  }
  if (request.node == nullptr || !VideoPropsValid(request.vid, true) || request.vid.nWidth < 1) {
    failure_ = "the properties of the pictures are not valid";
    return E_INVALIDARG;
  }
  const Status status = TryOpen(request, report);
  if (status.Failed()) Close();
  return status;
}

Status CUDAEncoder::TryOpen(const HwOpenRequest& request, HwOpenReport* report) {
  if (!IsSupported()) return Check(E_FAIL, "NVCreateEncoder");
  RETURN_IF_FAILED(StartSession());
  vid_ = CudaProperties(request.vid);
  RETURN_IF_FAILED(SetParameters(request, report));
  return StartHardware();
}

Status CUDAEncoder::StartSession() {
  const Status status = session_.Start(library_);
  if (status.Failed()) failure_ = session_.Failure();
  return status;
}

Status CUDAEncoder::SetParameters(const HwOpenRequest& request, HwOpenReport* report) {
  HwOpenReport unseen;
  for (const CudaSetting& setting :
       CudaSettings(vid_, *request.node, report == nullptr ? &unseen : report)) {
    const std::string call =
        fmt::format("NVSetParamValue({}, {})", setting.id, CudaParamName(setting.id));
    RETURN_IF_FAILED(
        Check(library_->NVSetParamValue(session_.handle(), setting.id, setting.Data()), call));
  }
  return S_OK;
}

Status CUDAEncoder::StartHardware() {
  auto packets = std::make_shared<CudaPackets>();
  listener_ = std::make_unique<CudaListener>(packets);
  {
    const std::lock_guard guard(packetsLock_);
    packets_ = std::move(packets);
  }
  const CudaHandle encoder = session_.handle();
  RETURN_IF_FAILED(Check(library_->NVRegisterCB(encoder, CudaCallbackRecord(), listener_->Token()),
                         "NVRegisterCB"));
  library_.KeepLoaded();
  RETURN_IF_FAILED(Check(library_->NVCreateHWEncoder(encoder), "NVCreateHWEncoder"));
  stamps_ = StampOrder(kDecodingAhead);
  return S_OK;
}

Status CUDAEncoder::GetRawHeaders(std::uint8_t* into, std::size_t* size) {
  if (!session_.IsOpen()) return E_UNEXPECTED;
  std::int32_t written = 0;
  const auto room = static_cast<std::int32_t>(std::min<std::size_t>(*size, INT32_MAX));
  const Status got = library_->NVGetSPSPPS(session_.handle(), into, room, &written);
  const bool usable = got.Ok() && written >= 0 && written <= room;
  *size = usable ? static_cast<std::size_t>(written) : 0;
  return usable ? Status(S_OK) : Check(E_FAIL, "NVGetSPSPPS");
}

Status CUDAEncoder::GetHeaders(std::uint8_t* into, std::size_t* size) {
  std::vector<std::uint8_t> raw(*size);
  std::size_t rawSize = raw.size();
  const Status got = GetRawHeaders(raw.data(), &rawSize);
  if (got.Failed()) *size = 0;
  RETURN_IF_FAILED(got);
  return Check(CudaHeadersToAnnexB({raw.data(), rawSize}, into, size), "NVGetSPSPPS");
}

CudaFrame CUDAEncoder::FrameOf(const ImageView* picture) const {
  CudaFrame frame;
  frame.width = vid_.nWidth;
  frame.height = CudaHeight(vid_);
  const std::ptrdiff_t step = picture == nullptr ? 0 : picture->step[0];
  frame.pitch = step < 1 ? vid_.nRowBytes : static_cast<std::int32_t>(step);
  frame.layout = LayoutOf(vid_.fccColor);
  frame.structure = static_cast<std::int32_t>(vid_.eInterlace);
  frame.topFieldFirst = vid_.eInterlace == eXvI_TopFirst;
  frame.progressive = vid_.eInterlace == eXvI_Progressive;
  frame.last = picture == nullptr;
  frame.pixels = picture == nullptr ? nullptr : picture->data[0];
  return frame;
}

Status CUDAEncoder::Send(const ImageView* picture) {
  const CudaFrame frame = FrameOf(picture);
  return Check(library_->NVEncodeFrame(session_.handle(), &frame, 0, nullptr), "NVEncodeFrame");
}

Status CUDAEncoder::EncodeFrame(const ImageView* picture, std::int64_t pts, Ref<HwPacket>* out) {
  if (!session_.IsOpen() || !VideoPropsValid(vid_, true)) return E_UNEXPECTED;
  if (picture == nullptr) return Drain(out);
  RETURN_IF_FAILED(Send(picture));
  stamps_.Push(pts);
  ++sent_;
  if (Packets()->TakeLoss()) {
    failure_ = "there was no memory for an access unit";
    return E_OUTOFMEMORY;
  }
  return out == nullptr ? Status(S_OK) : ReadPacket(false, out);
}

Status CUDAEncoder::ReadPacket(bool flush, Ref<HwPacket>* out) {
  if (out == nullptr) return E_POINTER;
  if (!library_.IsLoaded()) return XV_E_VENDOR_LIBRARY;
  auto taken = Packets()->TakeFirst();
  if (!taken) return flush ? Status(XV_E_NOTHING_MORE) : Status(S_FALSE);
  taken->packet->pts = stamps_.Presentation(taken->number);
  taken->packet->dts = stamps_.NextDecoding();
  *out = std::move(taken->packet);
  return S_OK;
}

std::optional<std::int32_t> CUDAEncoder::LastFinished() const {
  std::int32_t number = -1;
  const Status asked = library_->NVGetParamValue(session_.handle(), kCudaLastFinished, &number);
  return asked.Failed() ? std::nullopt : std::optional(number);
}

bool CUDAEncoder::HasAllComeOut() const {
  return gaveUp_ || (Packets()->IsEmpty() && Packets()->Begun() >= sent_);
}

void CUDAEncoder::SendEnd() {
  if (!endSent_) endResult_ = Send(nullptr);
  endSent_ = true;
}

Status CUDAEncoder::Ending() {
  const Status end = std::exchange(endResult_, Status());
  return end.Failed() ? end : Status(XV_E_NOTHING_MORE);
}

Status CUDAEncoder::GiveUp() {
  gaveUp_ = true;
  if (endResult_.Failed()) return Ending();
  failure_ = fmt::format("the encoder held back what was left of {} pictures for {} ms", sent_,
                         kLongestWait.count());
  return XV_E_TIMEOUT;
}

Status CUDAEncoder::Drain(Ref<HwPacket>* out) {
  SendEnd();
  if (out == nullptr) return Ending();
  const auto deadline = steady_clock::now() + kLongestWait;
  while (true) {
    const bool late = gaveUp_ || steady_clock::now() >= deadline;
    Packets()->CompleteLast(LastFinished(), late);
    const Status status = ReadPacket(true, out);
    if (status.Ok()) return status;
    if (HasAllComeOut()) return Ending();
    if (Packets()->IsInterrupted()) return E_ABORT;
    if (late) return GiveUp();
    Packets()->WaitForEnd(kLook);
  }
}

void CUDAEncoder::Interrupt() { Packets()->Interrupt(); }

void CUDAEncoder::Close() {
  session_.Destroy();
  listener_.reset();
  vid_ = {};
  sent_ = 0;
  endSent_ = false;
  endResult_ = S_OK;
  gaveUp_ = false;
}

}  // namespace xv
