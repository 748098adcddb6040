#pragma once

#include <memory>
#include <string>

#include "base/status.h"
#include "hw/cuda/cuda_api.h"
#include "platform/dynamic_library.h"

namespace xv {

// The vendor's library: libnvcuvenc.so, else libcuvidenc.so (see vendor_folder.h). One caller at a
// time.
class CudaLibrary {
 public:
  //   XV_E_FILE_NOT_FOUND  neither can be loaded.
  //   E_UNEXPECTED         an entry point is missing; the library is let go.
  // Words tells more. S_FALSE when it is loaded already.
  Status Load();
  bool IsLoaded() const { return library_ != nullptr; }
  const std::string& Words() const { return words_; }
  // Of a library that is loaded.
  const CudaEntryPoints& operator*() const { return calls_; }
  const CudaEntryPoints* operator->() const { return &calls_; }

  // From here on the library stays loaded until the process ends. An encoder's thread may still be
  // on its way out of the library's code when its session is over, and nothing tells when it has
  // left.
  void KeepLoaded() const;

 private:
  Status LoadEntryPoints(DynamicLibrary& library);

  std::shared_ptr<DynamicLibrary> library_;
  CudaEntryPoints calls_{};
  std::string words_;
};

}  // namespace xv
