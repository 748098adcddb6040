// A stand-in for libcuda.so.1: devices, contexts, each thread's stack of them, memory of the host
// in place of a card's. What no client of an encoder needs answers that it is not supported.
#include <ffnvcodec/dynlink_cuda.h>
#include <fmt/format.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "support/vendor/ledger.h"

#define XV_EXPORT extern "C" __attribute__((visibility("default")))

namespace xv::vendor {
namespace {

// Codes that the packaged header does not name.
constexpr int kInvalidValue = 1;
constexpr int kNotInitialized = 3;
constexpr int kNoDevice = 100;
constexpr int kInvalidDevice = 101;
constexpr int kInvalidContext = 201;
constexpr int kNotSupported = 801;

struct Context {
  CUdevice device = 0;
  std::atomic<int> current{0};  // threads that have it on their stack
};

// The contexts of one thread, the current one last.
class ContextStack {
 public:
  ~ContextStack() {
    if (!stack_.empty()) Ledger::Get().Broke("a thread ended with a CUDA context current");
    while (!stack_.empty()) Pop();
  }
  void Push(Context* context) {
    stack_.push_back(context);
    ++context->current;
    Ledger::Get().Hold("current CUDA context", 1);
  }
  Context* Pop() {
    Context* top = stack_.back();
    stack_.pop_back();
    --top->current;
    Ledger::Get().Hold("current CUDA context", -1);
    return top;
  }
  Context* Top() const { return stack_.empty() ? nullptr : stack_.back(); }

 private:
  std::vector<Context*> stack_;
};

thread_local ContextStack contexts;
std::atomic<bool> initialized{false};
Context primary;
std::atomic<int> primaryUses{0};

enum class Need { kNothing, kInit, kContext };

int Missing(Need need, const char* name) {
  if (need == Need::kNothing) return 0;
  if (!initialized) {
    Ledger::Get().Broke(fmt::format("{}: ahead of cuInit", name));
    return kNotInitialized;
  }
  if (need == Need::kInit || contexts.Top() != nullptr) return 0;
  Ledger::Get().Broke(fmt::format("{}: no CUDA context is current", name));
  return kInvalidContext;
}

// One call. `ends`: it gives something up, also where it fails.
template <typename Body>
CUresult Enter(const char* name, Need need, bool ends, Body&& body) {
  Ledger& ledger = Ledger::Get();
  const CallStart start = ledger.Begin(name);
  std::int64_t forced = start.lost ? kNoDevice : 0;
  if (start.fault) forced = *start.fault;
  std::int64_t result = forced;
  if (forced == 0 || ends) {
    const int missing = Missing(need, name);
    const std::int64_t own = missing != 0 ? missing : body();
    if (forced == 0) result = own;
  }
  ledger.End({.name = name, .result = result, .structure = {}, .more = {}});
  return static_cast<CUresult>(result);
}

int MakeContext(CUcontext* out, CUdevice device) {
  if (out == nullptr) return kInvalidValue;
  if (device < 0 || device >= Ledger::Get().Current().devices) return kInvalidDevice;
  auto* context = new Context();
  context->device = device;
  Ledger::Get().ContextMade(context);
  contexts.Push(context);
  *out = reinterpret_cast<CUcontext>(context);
  return 0;
}

int EndContext(CUcontext given) {
  auto* context = reinterpret_cast<Context*>(given);
  if (!Ledger::Get().ContextLives(context)) {
    Ledger::Get().Broke("cuCtxDestroy: not a context");
    return kInvalidContext;
  }
  if (contexts.Top() == context) contexts.Pop();
  if (context->current != 0) Ledger::Get().Broke("cuCtxDestroy: current elsewhere");
  Ledger::Get().ContextGone(context);
  delete context;
  return 0;
}

int PushContext(CUcontext given) {
  auto* context = reinterpret_cast<Context*>(given);
  if (!Ledger::Get().ContextLives(context)) {
    Ledger::Get().Broke("cuCtxPushCurrent: not a context");
    return kInvalidContext;
  }
  contexts.Push(context);
  return 0;
}

int PopContext(CUcontext* out) {
  if (contexts.Top() == nullptr) {
    Ledger::Get().Broke("cuCtxPopCurrent: no context is current");
    return kInvalidContext;
  }
  Context* top = contexts.Pop();
  if (out != nullptr) *out = reinterpret_cast<CUcontext>(top);
  return 0;
}

int RetainPrimary(CUcontext* out) {
  if (primaryUses++ == 0) Ledger::Get().ContextMade(&primary);
  *out = reinterpret_cast<CUcontext>(&primary);
  return 0;
}

int ReleasePrimary() {
  if (primaryUses == 0) {
    Ledger::Get().Broke("cuDevicePrimaryCtxRelease: not retained");
    return kInvalidContext;
  }
  if (--primaryUses == 0) Ledger::Get().ContextGone(&primary);
  return 0;
}

int Attribute(int* value, CUdevice_attribute attribute) {
  if (value == nullptr) return kInvalidValue;
  *value = attribute == CU_DEVICE_ATTRIBUTE_COMPUTE_CAPABILITY_MAJOR   ? 7
           : attribute == CU_DEVICE_ATTRIBUTE_COMPUTE_CAPABILITY_MINOR ? 5
                                                                       : 1;
  return 0;
}

int DeviceIsThere(CUdevice device) {
  return device >= 0 && device < Ledger::Get().Current().devices ? 0 : kInvalidDevice;
}

int NameOf(char* name, int length, CUdevice device) {
  if (name == nullptr || length < 1) return kInvalidValue;
  std::snprintf(name, static_cast<std::size_t>(length), "Stand-in %d", device);
  return DeviceIsThere(device);
}

int Copy(const CUDA_MEMCPY2D& copy) {
  const auto* from =
      copy.srcMemoryType == CU_MEMORYTYPE_HOST
          ? static_cast<const char*>(copy.srcHost)
          : reinterpret_cast<const char*>(static_cast<std::uintptr_t>(copy.srcDevice));
  auto* to = copy.dstMemoryType == CU_MEMORYTYPE_HOST
                 ? static_cast<char*>(copy.dstHost)
                 : reinterpret_cast<char*>(static_cast<std::uintptr_t>(copy.dstDevice));
  for (std::size_t y = 0; y < copy.Height; ++y) {
    std::memcpy(to + (copy.dstY + y) * copy.dstPitch + copy.dstXInBytes,
                from + (copy.srcY + y) * copy.srcPitch + copy.srcXInBytes, copy.WidthInBytes);
  }
  return 0;
}

int Allocate(CUdeviceptr* out, std::size_t bytes) {
  *out = reinterpret_cast<std::uintptr_t>(std::malloc(bytes));
  Ledger::Get().Hold("CUDA memory", 1);
  return 0;
}

int Free(CUdeviceptr memory) {
  std::free(reinterpret_cast<void*>(static_cast<std::uintptr_t>(memory)));
  Ledger::Get().Hold("CUDA memory", -1);
  return 0;
}

const char* Words(int code) {
  return code == 0 ? "no error" : code == kNoDevice ? "no CUDA-capable device" : "an error";
}

}  // namespace
}  // namespace xv::vendor

using namespace xv::vendor;  // NOLINT: the exported functions stand in no namespace

XV_EXPORT CUresult cuInit(unsigned flags) {
  return Enter("cuInit", Need::kNothing, false, [&] {
    if (flags != 0) return kInvalidValue;
    initialized = true;
    return Ledger::Get().Current().devices > 0 ? 0 : kNoDevice;
  });
}

XV_EXPORT CUresult cuDriverGetVersion(int* version) {
  return Enter("cuDriverGetVersion", Need::kNothing, false, [&] {
    *version = 11040;
    return 0;
  });
}

XV_EXPORT CUresult cuDeviceGetCount(int* count) {
  return Enter("cuDeviceGetCount", Need::kInit, false, [&] {
    *count = Ledger::Get().Current().devices;
    return 0;
  });
}

XV_EXPORT CUresult cuDeviceGet(CUdevice* device, int ordinal) {
  return Enter("cuDeviceGet", Need::kInit, false, [&] {
    *device = ordinal;
    return DeviceIsThere(ordinal);
  });
}

XV_EXPORT CUresult cuDeviceGetName(char* name, int length, CUdevice device) {
  return Enter("cuDeviceGetName", Need::kInit, false, [&] { return NameOf(name, length, device); });
}

XV_EXPORT CUresult cuDeviceGetUuid(CUuuid* uuid, CUdevice device) {
  return Enter("cuDeviceGetUuid", Need::kInit, false, [&] {
    *uuid = {};
    return DeviceIsThere(device);
  });
}

XV_EXPORT CUresult cuDeviceGetAttribute(int* value, CUdevice_attribute attribute, CUdevice) {
  return Enter("cuDeviceGetAttribute", Need::kInit, false,
               [&] { return Attribute(value, attribute); });
}

XV_EXPORT CUresult cuDeviceComputeCapability(int* major, int* minor, CUdevice device) {
  return Enter("cuDeviceComputeCapability", Need::kInit, false, [&] {
    *major = 7;
    *minor = 5;
    return DeviceIsThere(device);
  });
}

XV_EXPORT CUresult cuCtxCreate_v2(CUcontext* context, unsigned, CUdevice device) {
  return Enter("cuCtxCreate", Need::kInit, false, [&] { return MakeContext(context, device); });
}

XV_EXPORT CUresult cuCtxDestroy_v2(CUcontext context) {
  return Enter("cuCtxDestroy", Need::kInit, true, [&] { return EndContext(context); });
}

XV_EXPORT CUresult cuCtxPushCurrent_v2(CUcontext context) {
  return Enter("cuCtxPushCurrent", Need::kInit, false, [&] { return PushContext(context); });
}

XV_EXPORT CUresult cuCtxPopCurrent_v2(CUcontext* context) {
  return Enter("cuCtxPopCurrent", Need::kInit, true, [&] { return PopContext(context); });
}

XV_EXPORT CUresult cuCtxGetCurrent(CUcontext* context) {
  return Enter("cuCtxGetCurrent", Need::kInit, false, [&] {
    *context = reinterpret_cast<CUcontext>(contexts.Top());
    return 0;
  });
}

XV_EXPORT CUresult cuCtxGetDevice(CUdevice* device) {
  return Enter("cuCtxGetDevice", Need::kContext, false, [&] {
    *device = contexts.Top()->device;
    return 0;
  });
}

XV_EXPORT CUresult cuDevicePrimaryCtxRetain(CUcontext* context, CUdevice) {
  return Enter("cuDevicePrimaryCtxRetain", Need::kInit, false,
               [&] { return RetainPrimary(context); });
}

XV_EXPORT CUresult cuDevicePrimaryCtxRelease(CUdevice) {
  return Enter("cuDevicePrimaryCtxRelease", Need::kInit, true, [] { return ReleasePrimary(); });
}

XV_EXPORT CUresult cuMemAlloc_v2(CUdeviceptr* memory, std::size_t bytes) {
  return Enter("cuMemAlloc", Need::kContext, false, [&] { return Allocate(memory, bytes); });
}

XV_EXPORT CUresult cuMemAllocPitch_v2(CUdeviceptr* memory, std::size_t* pitch, std::size_t width,
                                      std::size_t height, unsigned) {
  return Enter("cuMemAllocPitch", Need::kContext, false, [&] {
    *pitch = (width + 511) / 512 * 512;
    return Allocate(memory, *pitch * height);
  });
}

XV_EXPORT CUresult cuMemFree_v2(CUdeviceptr memory) {
  return Enter("cuMemFree", Need::kContext, true, [&] { return Free(memory); });
}

XV_EXPORT CUresult cuMemcpy2D_v2(const CUDA_MEMCPY2D* copy) {
  return Enter("cuMemcpy2D", Need::kContext, false, [&] { return Copy(*copy); });
}

XV_EXPORT CUresult cuMemcpy2DAsync_v2(const CUDA_MEMCPY2D* copy, CUstream) {
  return Enter("cuMemcpy2DAsync", Need::kContext, false, [&] { return Copy(*copy); });
}

XV_EXPORT CUresult cuGetErrorName(CUresult code, const char** text) {
  *text = Words(code);
  return CUDA_SUCCESS;
}

XV_EXPORT CUresult cuGetErrorString(CUresult code, const char** text) {
  *text = Words(code);
  return CUDA_SUCCESS;
}

// Names that loaders ask for, all or nothing.
#define XV_NOT_HERE(name) \
  XV_EXPORT int name() { return kNotSupported; }
XV_NOT_HERE(cuCtxSetLimit)
XV_NOT_HERE(cuDevicePrimaryCtxSetFlags)
XV_NOT_HERE(cuDevicePrimaryCtxGetState)
XV_NOT_HERE(cuDevicePrimaryCtxReset)
XV_NOT_HERE(cuMemAllocManaged)
XV_NOT_HERE(cuMemsetD8Async)
XV_NOT_HERE(cuMemcpy)
XV_NOT_HERE(cuMemcpyAsync)
XV_NOT_HERE(cuMemcpyHtoD_v2)
XV_NOT_HERE(cuMemcpyHtoDAsync_v2)
XV_NOT_HERE(cuMemcpyDtoH_v2)
XV_NOT_HERE(cuMemcpyDtoHAsync_v2)
XV_NOT_HERE(cuMemcpyDtoD_v2)
XV_NOT_HERE(cuMemcpyDtoDAsync_v2)
XV_NOT_HERE(cuStreamCreate)
XV_NOT_HERE(cuStreamQuery)
XV_NOT_HERE(cuStreamSynchronize)
XV_NOT_HERE(cuStreamDestroy_v2)
XV_NOT_HERE(cuStreamAddCallback)
XV_NOT_HERE(cuEventCreate)
XV_NOT_HERE(cuEventDestroy_v2)
XV_NOT_HERE(cuEventSynchronize)
XV_NOT_HERE(cuEventQuery)
XV_NOT_HERE(cuEventRecord)
XV_NOT_HERE(cuLaunchKernel)
XV_NOT_HERE(cuLinkCreate)
XV_NOT_HERE(cuLinkAddData)
XV_NOT_HERE(cuLinkComplete)
XV_NOT_HERE(cuLinkDestroy)
XV_NOT_HERE(cuModuleLoadData)
XV_NOT_HERE(cuModuleUnload)
XV_NOT_HERE(cuModuleGetFunction)
XV_NOT_HERE(cuModuleGetGlobal)
XV_NOT_HERE(cuTexObjectCreate)
XV_NOT_HERE(cuTexObjectDestroy)
XV_NOT_HERE(cuGLGetDevices_v2)
XV_NOT_HERE(cuGraphicsGLRegisterImage)
XV_NOT_HERE(cuGraphicsUnregisterResource)
XV_NOT_HERE(cuGraphicsMapResources)
XV_NOT_HERE(cuGraphicsUnmapResources)
XV_NOT_HERE(cuGraphicsSubResourceGetMappedArray)
XV_NOT_HERE(cuGraphicsResourceGetMappedPointer_v2)
XV_NOT_HERE(cuImportExternalMemory)
XV_NOT_HERE(cuDestroyExternalMemory)
XV_NOT_HERE(cuExternalMemoryGetMappedBuffer)
XV_NOT_HERE(cuExternalMemoryGetMappedMipmappedArray)
XV_NOT_HERE(cuMipmappedArrayGetLevel)
XV_NOT_HERE(cuMipmappedArrayDestroy)
XV_NOT_HERE(cuImportExternalSemaphore)
XV_NOT_HERE(cuDestroyExternalSemaphore)
XV_NOT_HERE(cuSignalExternalSemaphoresAsync)
XV_NOT_HERE(cuWaitExternalSemaphoresAsync)
XV_NOT_HERE(cuArray3DCreate_v2)
XV_NOT_HERE(cuArrayDestroy)
XV_NOT_HERE(cuEGLStreamProducerConnect)
XV_NOT_HERE(cuEGLStreamProducerDisconnect)
XV_NOT_HERE(cuEGLStreamConsumerDisconnect)
XV_NOT_HERE(cuEGLStreamProducerPresentFrame)
XV_NOT_HERE(cuEGLStreamProducerReturnFrame)
