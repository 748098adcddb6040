#pragma once

#include <string>

#include "base/status.h"
#include "hw/cuda/cuda_library.h"

namespace xv {

// An encoder of the library up to its parameters, destroyed with the object. One caller at a time.
class CudaSession {
 public:
  CudaSession() = default;
  ~CudaSession() { Destroy(); }
  CudaSession(const CudaSession&) = delete;
  CudaSession& operator=(const CudaSession&) = delete;

  // Of an object that holds none. What NVCreateEncoder answers; E_FAIL when it gives no encoder.
  // The library outlives the session.
  Status Create(const CudaLibrary& library);
  // Create, and makes it an encoder of H.264 with the library's defaults on the adapter that the
  // library chooses. XV_E_VENDOR_LIBRARY when there is no adapter.
  Status Start(const CudaLibrary& library);
  // Of the last Start.
  std::int32_t AdapterCount() const { return adapters_; }
  void Destroy();

  bool IsOpen() const { return handle_ != nullptr; }
  CudaHandle handle() const { return handle_; }

  // Gives the status of the library's `call` on, and keeps the words of a failure.
  Status Check(Status status, const std::string& call);
  // For a person: the call that failed last.
  const std::string& Failure() const { return failure_; }

 private:
  Status SetUp();
  Status CountAdapters();
  Status ChooseAdapter();

  const CudaLibrary* library_ = nullptr;
  CudaHandle handle_ = nullptr;
  std::int32_t adapters_ = 0;
  std::string failure_;
};

}  // namespace xv
