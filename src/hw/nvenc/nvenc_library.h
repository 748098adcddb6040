#pragma once

#include <string>

#include "base/status.h"
#include "hw/nvenc/nvenc_api.h"
#include "platform/dynamic_library.h"

namespace xv {

// NVIDIA's encoder library, loaded at run time, and the functions that it gives for one version.
// One caller at a time.
class NvencLibrary {
 public:
  // Loads the library, once, and asks for the functions of `api`; a version that it refuses leaves
  // those that were there.
  //   XV_E_VENDOR_LIBRARY  missing, or not what it should be; Words tells.
  //   E_FAIL               it refuses the version: Words tells.
  Status Load(NvencApi api);
  void Close();

  bool IsLoaded() const { return library_.IsOpen(); }
  const NV_ENCODE_API_FUNCTION_LIST& functions() const { return functions_; }
  NvencApi api() const { return api_; }
  // The newest version that the driver speaks; 0.0 when it does not tell.
  NvencApi driverApi() const { return driverApi_; }
  // The newest that driver and header share; kNvencFirstApi when the driver does not tell.
  NvencApi NewestShared() const;
  const std::string& Words() const { return words_; }

 private:
  Status Open();
  Status TakeFunctions(const NV_ENCODE_API_FUNCTION_LIST& list, NvencApi api);

  DynamicLibrary library_;
  decltype(&NvEncodeAPICreateInstance) create_ = nullptr;
  NV_ENCODE_API_FUNCTION_LIST functions_{};
  NvencApi api_;
  NvencApi driverApi_{0, 0};
  std::string words_;
};

}  // namespace xv
