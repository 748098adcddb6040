#include "hw/nvenc/nvenc_library.h"

#include <algorithm>

#include "hw/vendor_folder.h"

namespace xv {
namespace {

constexpr const char* kLibraryName = "libnvidia-encode.so.1";

// The name of a function that this encoder calls and the list lacks; null when it is whole.
const char* MissingFunction(const NV_ENCODE_API_FUNCTION_LIST& list, NvencApi api) {
  const struct {
    bool there;
    const char* name;
  } needed[] = {
      {list.nvEncOpenEncodeSessionEx != nullptr, "nvEncOpenEncodeSessionEx"},
      {list.nvEncGetEncodeGUIDCount != nullptr, "nvEncGetEncodeGUIDCount"},
      {list.nvEncGetEncodeGUIDs != nullptr, "nvEncGetEncodeGUIDs"},
      {list.nvEncGetEncodePresetCount != nullptr, "nvEncGetEncodePresetCount"},
      {list.nvEncGetEncodePresetGUIDs != nullptr, "nvEncGetEncodePresetGUIDs"},
      {list.nvEncGetEncodePresetConfig != nullptr, "nvEncGetEncodePresetConfig"},
      {!api.HasTuning() || list.nvEncGetEncodePresetConfigEx != nullptr,
       "nvEncGetEncodePresetConfigEx"},
      {list.nvEncGetEncodeCaps != nullptr, "nvEncGetEncodeCaps"},
      {list.nvEncGetInputFormatCount != nullptr, "nvEncGetInputFormatCount"},
      {list.nvEncGetInputFormats != nullptr, "nvEncGetInputFormats"},
      {list.nvEncInitializeEncoder != nullptr, "nvEncInitializeEncoder"},
      {list.nvEncCreateInputBuffer != nullptr, "nvEncCreateInputBuffer"},
      {list.nvEncCreateBitstreamBuffer != nullptr, "nvEncCreateBitstreamBuffer"},
      {list.nvEncGetSequenceParams != nullptr, "nvEncGetSequenceParams"},
      {list.nvEncLockInputBuffer != nullptr, "nvEncLockInputBuffer"},
      {list.nvEncUnlockInputBuffer != nullptr, "nvEncUnlockInputBuffer"},
      {list.nvEncEncodePicture != nullptr, "nvEncEncodePicture"},
      {list.nvEncLockBitstream != nullptr, "nvEncLockBitstream"},
      {list.nvEncUnlockBitstream != nullptr, "nvEncUnlockBitstream"},
      {list.nvEncDestroyInputBuffer != nullptr, "nvEncDestroyInputBuffer"},
      {list.nvEncDestroyBitstreamBuffer != nullptr, "nvEncDestroyBitstreamBuffer"},
      {list.nvEncDestroyEncoder != nullptr, "nvEncDestroyEncoder"},
  };
  const auto* missing = std::ranges::find_if(needed, [](const auto& one) { return !one.there; });
  return missing == std::end(needed) ? nullptr : missing->name;
}

}  // namespace

Status NvencLibrary::Open() {
  RETURN_IF_FAILED(OpenVendorLibrary(library_, {kLibraryName}, &words_));
  create_ = reinterpret_cast<decltype(create_)>(library_.Symbol("NvEncodeAPICreateInstance"));
  if (create_ == nullptr) {
    words_ = std::string(kLibraryName) + " lacks NvEncodeAPICreateInstance";
    library_.Close();
    return XV_E_VENDOR_LIBRARY;
  }
  const auto newest = reinterpret_cast<decltype(&NvEncodeAPIGetMaxSupportedVersion)>(
      library_.Symbol("NvEncodeAPIGetMaxSupportedVersion"));
  std::uint32_t value = 0;
  driverApi_ = {0, 0};
  if (newest != nullptr && newest(&value) == NV_ENC_SUCCESS) driverApi_ = NvencApiFromDriver(value);
  return S_OK;
}

Status NvencLibrary::TakeFunctions(const NV_ENCODE_API_FUNCTION_LIST& list, NvencApi api) {
  if (const char* missing = MissingFunction(list, api)) {
    words_ = std::string(kLibraryName) + " has no " + missing + " for version " + api.Text();
    return XV_E_VENDOR_LIBRARY;
  }
  functions_ = list;
  api_ = api;
  words_.clear();
  return S_OK;
}

Status NvencLibrary::Load(NvencApi api) {
  if (!library_.IsOpen()) RETURN_IF_FAILED(Open());
  NV_ENCODE_API_FUNCTION_LIST list{};
  list.version = FunctionListVersion(api);
  const int code = create_(&list);
  if (code == NV_ENC_SUCCESS) return TakeFunctions(list, api);
  words_ = NvencErrorText("NvEncodeAPICreateInstance", code);
  return E_FAIL;
}

void NvencLibrary::Close() {
  functions_ = {};
  create_ = nullptr;
  library_.Close();
}

NvencApi NvencLibrary::NewestShared() const {
  return std::max(kNvencFirstApi, std::min(kNvencHeaderApi, driverApi_));
}

}  // namespace xv
