#include "hw/cuda/cuda_library.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "hw/vendor_folder.h"

namespace xv {
namespace {

// Tells a library from others, however often each was opened.
void* Identity(const DynamicLibrary& library) { return library.Symbol("NVCreateEncoder"); }

template <class Function>
void** Target(Function*& function) {
  return reinterpret_cast<void**>(&function);
}

}  // namespace

#define XV_ENTRY_POINT(name) \
  { #name, Target(calls_.name) }

Status CudaLibrary::LoadEntryPoints(DynamicLibrary& library) {
  return library.Load({XV_ENTRY_POINT(NVCreateEncoder), XV_ENTRY_POINT(NVDestroyEncoder),
                       XV_ENTRY_POINT(NVIsSupportedCodec),
                       XV_ENTRY_POINT(NVIsSupportedCodecProfile), XV_ENTRY_POINT(NVSetCodec),
                       XV_ENTRY_POINT(NVGetCodec), XV_ENTRY_POINT(NVIsSupportedParam),
                       XV_ENTRY_POINT(NVSetParamValue), XV_ENTRY_POINT(NVGetParamValue),
                       XV_ENTRY_POINT(NVSetDefaultParam), XV_ENTRY_POINT(NVCreateHWEncoder),
                       XV_ENTRY_POINT(NVGetSPSPPS), XV_ENTRY_POINT(NVEncodeFrame),
                       XV_ENTRY_POINT(NVGetHWEncodeCaps), XV_ENTRY_POINT(NVRegisterCB)});
}

#undef XV_ENTRY_POINT

Status CudaLibrary::Load() {
  if (IsLoaded()) return S_FALSE;
  auto library = std::make_shared<DynamicLibrary>();
  if (OpenVendorLibrary(*library, {"libnvcuvenc.so", "libcuvidenc.so"}, &words_).Failed()) {
    return XV_E_FILE_NOT_FOUND;
  }
  if (LoadEntryPoints(*library).Failed()) {
    words_ = library->Words();
    return E_UNEXPECTED;
  }
  library_ = std::move(library);
  return S_OK;
}

void CudaLibrary::KeepLoaded() const {
  static std::mutex lock;
  // Never destroyed, so that it outlives every thread.
  static auto& kept = *new std::vector<std::shared_ptr<DynamicLibrary>>();
  const std::lock_guard guard(lock);
  const auto isThis = [this](const auto& one) { return Identity(*one) == Identity(*library_); };
  if (std::none_of(kept.begin(), kept.end(), isThis)) kept.push_back(library_);
}

}  // namespace xv
