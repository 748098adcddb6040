#include "hw/cuda/cuda_session.h"

#include <fmt/format.h>

#include <utility>

#include "base/status_words.h"

namespace xv {

Status CudaSession::Check(Status status, const std::string& call) {
  if (status.Failed()) {
    failure_ = fmt::format("{} failed: {} (0x{:08X})", call, StatusWords(status),
                           static_cast<std::uint32_t>(status.code()));
  }
  return status;
}

Status CudaSession::Create(const CudaLibrary& library) {
  library_ = &library;
  Status status = library->NVCreateEncoder(&handle_);
  if (status.Failed()) handle_ = nullptr;
  if (status.Ok() && handle_ == nullptr) status = E_FAIL;
  return Check(status, "NVCreateEncoder");
}

Status CudaSession::SetUp() {
  const CudaEntryPoints& calls = **library_;
  RETURN_IF_FAILED(Check(calls.NVIsSupportedCodec(handle_, kCudaCodecH264), "NVIsSupportedCodec"));
  RETURN_IF_FAILED(Check(calls.NVSetCodec(handle_, kCudaCodecH264), "NVSetCodec"));
  return Check(calls.NVSetDefaultParam(handle_), "NVSetDefaultParam");
}

Status CudaSession::CountAdapters() {
  adapters_ = 0;
  const Status counted = (*library_)->NVGetParamValue(handle_, kCudaAdapterCount, &adapters_);
  if (counted.Failed()) adapters_ = 0;
  if (adapters_ > 0) return S_OK;
  failure_ = "there is no adapter for the CUDA encoder";
  return XV_E_VENDOR_LIBRARY;
}

Status CudaSession::ChooseAdapter() {
  RETURN_IF_FAILED(CountAdapters());
  const CudaEntryPoints& calls = **library_;
  // The library wants to have been asked; what it tells is of no use here.
  for (std::int32_t index = 0; index < adapters_; ++index) {
    CudaAdapter adapter;
    adapter.index = index;
    RETURN_IF_FAILED(Check(calls.NVGetParamValue(handle_, kCudaAdapterRecord, &adapter),
                           "NVGetParamValue(adapter)"));
  }
  std::int32_t chosen = -1;
  RETURN_IF_FAILED(Check(calls.NVGetParamValue(handle_, kCudaChosenAdapter, &chosen),
                         "NVGetParamValue(chosen adapter)"));
  return Check(calls.NVSetParamValue(handle_, kCudaAdapter, &chosen), "NVSetParamValue(adapter)");
}

Status CudaSession::Start(const CudaLibrary& library) {
  RETURN_IF_FAILED(Create(library));
  RETURN_IF_FAILED(SetUp());
  return ChooseAdapter();
}

void CudaSession::Destroy() {
  if (handle_ != nullptr) (void)(*library_)->NVDestroyEncoder(std::exchange(handle_, nullptr));
}

}  // namespace xv
