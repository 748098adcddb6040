#include "hw/nvenc/cuda_device.h"

#include <ffnvcodec/dynlink_cuda.h>

#include <array>
#include <mutex>
#include <utility>

#include "hw/vendor_folder.h"

namespace xv {

struct CudaCalls {
  tcuInit* init = nullptr;
  tcuDeviceGetCount* count = nullptr;
  tcuDeviceGet* get = nullptr;
  tcuDeviceGetName* name = nullptr;
  tcuCtxCreate_v2* create = nullptr;
  tcuCtxPushCurrent_v2* push = nullptr;
  tcuCtxPopCurrent_v2* pop = nullptr;
  tcuCtxDestroy_v2* destroy = nullptr;
  tcuGetErrorName* errorName = nullptr;
};

namespace {

// Held while the driver starts and makes a context: two threads that start it at once are what
// drivers get wrong.
std::mutex& CreationLock() {
  static std::mutex lock;
  return lock;
}

template <class T>
LibrarySymbol Symbol(const char* name, T** target) {
  return {name, reinterpret_cast<void**>(target)};
}

}  // namespace

CudaDevice::CudaDevice() : calls_(std::make_unique<CudaCalls>()) {}

CudaDevice::~CudaDevice() { Close(); }

Status CudaDevice::Check(const char* call, int result) {
  if (result == CUDA_SUCCESS) return S_OK;
  const char* name = nullptr;
  calls_->errorName(static_cast<CUresult>(result), &name);
  words_ = std::string(call) + ": " + (name != nullptr ? name : "an unknown error") + " (" +
           std::to_string(result) + ")";
  return E_FAIL;
}

Status CudaDevice::Load() {
  if (library_.IsOpen()) return S_OK;
  RETURN_IF_FAILED(OpenVendorLibrary(library_, {"libcuda.so.1"}, &words_));
  const Status loaded = library_.Load(
      {Symbol("cuInit", &calls_->init), Symbol("cuDeviceGetCount", &calls_->count),
       Symbol("cuDeviceGet", &calls_->get), Symbol("cuDeviceGetName", &calls_->name),
       Symbol("cuCtxCreate_v2", &calls_->create), Symbol("cuCtxPushCurrent_v2", &calls_->push),
       Symbol("cuCtxPopCurrent_v2", &calls_->pop), Symbol("cuCtxDestroy_v2", &calls_->destroy),
       Symbol("cuGetErrorName", &calls_->errorName)});
  if (loaded.Ok()) return S_OK;
  words_ = "libcuda.so.1: " + library_.Words();
  library_.Close();
  return loaded;
}

Status CudaDevice::MakeContext(int adapter) {
  RETURN_IF_FAILED(Check("cuInit", calls_->init(0)));
  int count = 0;
  RETURN_IF_FAILED(Check("cuDeviceGetCount", calls_->count(&count)));
  if (adapter < 0 || adapter >= count) {
    words_ = "there is no adapter " + std::to_string(adapter) + ": the driver has " +
             std::to_string(count);
    return E_FAIL;
  }
  CUdevice device = 0;
  RETURN_IF_FAILED(Check("cuDeviceGet", calls_->get(&device, adapter)));
  std::array<char, 256> name{};
  RETURN_IF_FAILED(Check("cuDeviceGetName", calls_->name(name.data(), name.size() - 1, device)));
  name_ = name.data();
  // A wait for the device must not spin.
  RETURN_IF_FAILED(
      Check("cuCtxCreate", calls_->create(&context_, CU_CTX_SCHED_BLOCKING_SYNC, device)));
  Leave();
  return S_OK;
}

Status CudaDevice::Create(int adapter) {
  if (context_ != nullptr) return S_FALSE;
  const std::scoped_lock lock(CreationLock());
  words_.clear();
  RETURN_IF_FAILED(Load());
  return MakeContext(adapter);
}

void CudaDevice::Close() {
  if (context_ != nullptr) calls_->destroy(std::exchange(context_, nullptr));
}

Status CudaDevice::Enter() {
  if (context_ == nullptr) return E_UNEXPECTED;
  return Check("cuCtxPushCurrent", calls_->push(context_));
}

void CudaDevice::Leave() {
  CUcontext popped = nullptr;
  calls_->pop(&popped);
}

}  // namespace xv
