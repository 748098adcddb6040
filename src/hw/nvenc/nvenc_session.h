#pragma once

#include <string>
#include <vector>

#include "base/status.h"
#include "hw/nvenc/cuda_device.h"
#include "hw/nvenc/nvenc_api.h"
#include "hw/nvenc/nvenc_library.h"
#include "hw/nvenc/nvenc_presets.h"

namespace xv {

// A session of NVENC on an adapter: the library, the device, the handle and the version that they
// speak. One caller at a time; all but Open within a CudaScope of `device`.
class NvencSession {
 public:
  NvencSession() = default;
  ~NvencSession() { Close(); }
  NvencSession(const NvencSession&) = delete;
  NvencSession& operator=(const NvencSession&) = delete;

  // Opens on version 7.0. Where the driver refuses that version, or has none of its presets, it
  // opens once more on the newest version that driver and header share.
  //   XV_E_VENDOR_LIBRARY  a library is missing or not usable.
  //   E_UNEXPECTED         the adapter does not encode this codec.
  //   E_FAIL               others, see Failure.
  Status Open(int adapter, bool hevc);
  // Once more on the newest version, for a driver that refuses what comes later. E_FAIL when the
  // session runs on that version already, or what Open gives; then there is no session.
  Status Reopen();
  void Close();

  bool IsOpen() const { return encoder_ != nullptr; }
  void* encoder() const { return encoder_; }
  const NV_ENCODE_API_FUNCTION_LIST& calls() const { return library_.functions(); }
  NvencApi api() const { return library_.api(); }
  NvencApi driverApi() const { return library_.driverApi(); }
  CudaDevice& device() { return device_; }
  const GUID& codec() const { return codec_; }

  // `otherwise` for any code but success; Failure then tells of it.
  Status Check(const char* call, int code, HRESULT otherwise = E_FAIL);
  // The last code is one by which a driver refuses a version or what belongs to it.
  bool Refused() const;

  // Whether the codec has this preset here.
  bool Lists(const NvencPreset& preset) const;
  Status FetchPreset(const NvencPreset& preset, NV_ENC_CONFIG* config);
  // An ability of the codec; -1 where the driver does not tell.
  int Ability(NV_ENC_CAPS ability);
  // E_FAIL when the codec takes no NV12.
  Status TakesNv12();
  Status Initialize(NV_ENC_INITIALIZE_PARAMS* params);

  // The call that failed last and its code, for a person; "" when none has.
  const std::string& Failure() const { return failure_; }
  void SetFailure(std::string text) { failure_ = std::move(text); }

 private:
  Status OpenOn(NvencApi api);
  Status OpenHandle();
  Status FindCodec();
  Status ListPresets();
  Status FindPresets();
  Status Load(NvencApi api);
  template <class T, class Count, class List>
  Status ReadList(const char* countCall, Count&& count, const char* listCall, List&& list,
                  std::vector<T>* out);

  NvencLibrary library_;
  CudaDevice device_;
  int adapter_ = 0;
  bool hevc_ = false;
  GUID codec_{};
  void* encoder_ = nullptr;
  std::vector<GUID> presets_;
  int lastCode_ = NV_ENC_SUCCESS;
  std::string failure_;
};

}  // namespace xv
