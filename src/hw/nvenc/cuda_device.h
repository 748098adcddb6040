#pragma once

#include <memory>
#include <string>

#include "base/status.h"
#include "platform/dynamic_library.h"

struct CUctx_st;

namespace xv {

struct CudaCalls;

// A CUDA device and a context on it, which an encoding session needs in place of memory of its own.
// Calls to the session are made between Enter and Leave (see CudaScope). One caller at a time.
class CudaDevice {
 public:
  CudaDevice();
  ~CudaDevice();
  CudaDevice(const CudaDevice&) = delete;
  CudaDevice& operator=(const CudaDevice&) = delete;

  // Starts the driver and makes a context on device `adapter`, from 0, current on no thread.
  //   S_FALSE              it has one already.
  //   XV_E_VENDOR_LIBRARY  no driver; Words tells.
  //   E_FAIL               the driver refused; Words tells.
  Status Create(int adapter);
  // Destroys the context; the driver stays loaded.
  void Close();

  Status Enter();
  void Leave();

  // The context's handle, null without one.
  CUctx_st* Context() const { return context_; }
  const std::string& Name() const { return name_; }
  const std::string& Words() const { return words_; }

 private:
  Status Load();
  Status MakeContext(int adapter);
  Status Check(const char* call, int result);

  DynamicLibrary library_;
  std::unique_ptr<CudaCalls> calls_;
  CUctx_st* context_ = nullptr;
  std::string name_;
  std::string words_;
};

// The device's context is current on this thread for the scope's time.
class CudaScope {
 public:
  explicit CudaScope(CudaDevice& device) : device_(device), status_(device.Enter()) {}
  ~CudaScope() {
    if (status_.Ok()) device_.Leave();
  }
  CudaScope(const CudaScope&) = delete;
  CudaScope& operator=(const CudaScope&) = delete;
  Status status() const { return status_; }

 private:
  CudaDevice& device_;
  Status status_;
};

}  // namespace xv
