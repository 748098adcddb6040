#include "hw/nvenc/nvenc_session.h"

#include <algorithm>
#include <utility>

#include "hw/nvenc/nvenc_attributes.h"

namespace xv {

Status NvencSession::Check(const char* call, int code, HRESULT otherwise) {
  lastCode_ = code;
  if (code == NV_ENC_SUCCESS) return S_OK;
  failure_ = NvencErrorText(call, code);
  return otherwise;
}

bool NvencSession::Refused() const {
  constexpr int kRefusals[] = {NV_ENC_ERR_INVALID_VERSION, NV_ENC_ERR_UNSUPPORTED_PARAM,
                               NV_ENC_ERR_INVALID_PARAM, NV_ENC_ERR_UNIMPLEMENTED};
  return std::ranges::find(kRefusals, lastCode_) != std::end(kRefusals);
}

// A count, then as many values; the driver may give fewer.
template <class T, class Count, class List>
Status NvencSession::ReadList(const char* countCall, Count&& count, const char* listCall,
                              List&& list, std::vector<T>* out) {
  std::uint32_t there = 0;
  out->clear();
  RETURN_IF_FAILED(Check(countCall, count(&there)));
  if (there == 0) return S_OK;
  out->resize(there);
  std::uint32_t given = 0;
  const Status status = Check(listCall, list(out->data(), there, &given));
  out->resize(status.Failed() ? 0 : std::min(there, given));
  return status;
}

Status NvencSession::OpenHandle() {
  NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS params{};
  params.version = PlainVersion(api());
  params.deviceType = NV_ENC_DEVICE_TYPE_CUDA;
  params.device = device_.Context();
  params.apiVersion = api().Version();
  const int code = calls().nvEncOpenEncodeSessionEx(&params, &encoder_);
  const Status status = Check("nvEncOpenEncodeSessionEx", code);
  // A handle that comes with a failure is given back all the same.
  if (status.Failed() && encoder_ != nullptr) {
    calls().nvEncDestroyEncoder(std::exchange(encoder_, nullptr));
  }
  return status;
}

Status NvencSession::FindCodec() {
  codec_ = hevc_ ? NV_ENC_CODEC_HEVC_GUID : NV_ENC_CODEC_H264_GUID;
  std::vector<GUID> codecs;
  RETURN_IF_FAILED(ReadList(
      "nvEncGetEncodeGUIDCount",
      [&](auto* n) { return calls().nvEncGetEncodeGUIDCount(encoder_, n); }, "nvEncGetEncodeGUIDs",
      [&](auto* to, auto room, auto* n) {
        return calls().nvEncGetEncodeGUIDs(encoder_, to, room, n);
      },
      &codecs));
  const bool listed =
      std::ranges::any_of(codecs, [&](const GUID& guid) { return SameGuid(guid, codec_); });
  if (listed) return S_OK;
  failure_ = std::string("the adapter does not encode ") + (hevc_ ? "H.265" : "H.264");
  return E_UNEXPECTED;
}

Status NvencSession::ListPresets() {
  return ReadList(
      "nvEncGetEncodePresetCount",
      [&](auto* n) { return calls().nvEncGetEncodePresetCount(encoder_, codec_, n); },
      "nvEncGetEncodePresetGUIDs",
      [&](auto* to, auto room, auto* n) {
        return calls().nvEncGetEncodePresetGUIDs(encoder_, codec_, to, room, n);
      },
      &presets_);
}

// Lists the presets. A driver that has none of this version's counts as one that refuses it, unless
// there is no other version to try: the encoder's own defaults serve then.
Status NvencSession::FindPresets() {
  RETURN_IF_FAILED(ListPresets());
  for (int word = 0; word < nvenc::kPresetCount; ++word) {
    const NvencPreset preset = PresetOfWord(word, api());
    if (!Lists(preset)) continue;
    NV_ENC_CONFIG config{};
    return FetchPreset(preset, &config);
  }
  if (api() >= library_.NewestShared()) return S_OK;
  return Check("nvEncGetEncodePresetGUIDs", NV_ENC_ERR_UNSUPPORTED_PARAM);
}

bool NvencSession::Lists(const NvencPreset& preset) const {
  return std::ranges::any_of(presets_,
                             [&](const GUID& guid) { return SameGuid(guid, preset.guid); });
}

Status NvencSession::FetchPreset(const NvencPreset& preset, NV_ENC_CONFIG* config) {
  auto answer = std::make_unique<NV_ENC_PRESET_CONFIG>();
  answer->version = PresetConfigVersion(api());
  answer->presetCfg.version = ConfigVersion(api());
  if (api().HasTuning()) {
    RETURN_IF_FAILED(Check("nvEncGetEncodePresetConfigEx",
                           calls().nvEncGetEncodePresetConfigEx(encoder_, codec_, preset.guid,
                                                                preset.tuning, answer.get())));
  } else {
    RETURN_IF_FAILED(
        Check("nvEncGetEncodePresetConfig",
              calls().nvEncGetEncodePresetConfig(encoder_, codec_, preset.guid, answer.get())));
  }
  *config = answer->presetCfg;
  config->version = ConfigVersion(api());
  return S_OK;
}

int NvencSession::Ability(NV_ENC_CAPS ability) {
  NV_ENC_CAPS_PARAM params{};
  params.version = PlainVersion(api());
  params.capsToQuery = ability;
  int value = 0;
  const int code = calls().nvEncGetEncodeCaps(encoder_, codec_, &params, &value);
  return code == NV_ENC_SUCCESS ? value : -1;
}

Status NvencSession::TakesNv12() {
  std::vector<NV_ENC_BUFFER_FORMAT> formats;
  RETURN_IF_FAILED(ReadList(
      "nvEncGetInputFormatCount",
      [&](auto* n) { return calls().nvEncGetInputFormatCount(encoder_, codec_, n); },
      "nvEncGetInputFormats",
      [&](auto* to, auto room, auto* n) {
        return calls().nvEncGetInputFormats(encoder_, codec_, to, room, n);
      },
      &formats));
  if (std::ranges::find(formats, NV_ENC_BUFFER_FORMAT_NV12) != formats.end()) return S_OK;
  failure_ = "nvEncGetInputFormats: the encoder takes no NV12";
  return E_FAIL;
}

Status NvencSession::Initialize(NV_ENC_INITIALIZE_PARAMS* params) {
  return Check("nvEncInitializeEncoder", calls().nvEncInitializeEncoder(encoder_, params));
}

// A version that the library refuses counts as refused.
Status NvencSession::Load(NvencApi api) {
  const Status status = library_.Load(api);
  if (status.Failed()) failure_ = library_.Words();
  lastCode_ = status == Status(E_FAIL) ? NV_ENC_ERR_INVALID_VERSION : NV_ENC_SUCCESS;
  return status.Failed() ? Status(XV_E_VENDOR_LIBRARY) : status;
}

Status NvencSession::OpenOn(NvencApi api) {
  RETURN_IF_FAILED(Load(api));
  const Status created = device_.Create(adapter_);
  if (created.Failed()) {
    failure_ = device_.Words();
    return created;
  }
  const CudaScope scope(device_);
  if (scope.status().Failed()) {
    failure_ = device_.Words();
    return scope.status();
  }
  RETURN_IF_FAILED(OpenHandle());
  RETURN_IF_FAILED(FindCodec());
  return FindPresets();
}

Status NvencSession::Open(int adapter, bool hevc) {
  Close();
  adapter_ = adapter;
  hevc_ = hevc;
  failure_.clear();
  const Status status = OpenOn(kNvencFirstApi);
  if (status.Ok()) return status;
  if (Refused() && library_.NewestShared() > kNvencFirstApi) return Reopen();
  Close();
  return status;
}

Status NvencSession::Reopen() {
  const NvencApi newest = library_.NewestShared();
  const bool again = IsOpen() && api() == newest;
  Close();
  if (again) return E_FAIL;
  const Status status = OpenOn(newest);
  if (status.Failed()) Close();
  return status;
}

void NvencSession::Close() {
  if (encoder_ != nullptr) {
    const CudaScope scope(device_);
    calls().nvEncDestroyEncoder(std::exchange(encoder_, nullptr));
  }
  presets_.clear();
  device_.Close();
}

}  // namespace xv
