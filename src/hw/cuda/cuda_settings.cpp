#include "hw/cuda/cuda_settings.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "hw/cuda/cuda_attributes.h"
#include "hw/frame_rate.h"
#include "media/validity.h"

namespace xv {
namespace {

constexpr std::int32_t kUsualKeyDistance = 32;

struct Preset {
  std::int32_t width;
  std::int32_t height;
  std::array<std::int32_t, 3> aspect;
};

// In the order of cuda_words::kPreset.
constexpr Preset kPresets[] = {{320, 240, {1, 1, 1}},    {320, 240, {1, 1, 1}},
                               {1920, 1080, {1, 1, 1}},  {1920, 1080, {1, 1, 1}},
                               {1440, 1080, {16, 9, 0}}, {720, 480, {1, 1, 1}}};

// Reads the node, and knows what was read.
class Reader {
 public:
  explicit Reader(const XMLParse::CoXMLNode& node) : node_(node) {}

  template <class T>
  auto Get(const Attribute<T>& key) {
    read_.push_back(key.name);
    return node_.Get(key);
  }
  bool Has(const AttributeRow& key) const { return node_.Has(key); }
  std::string Text(const AttributeRow& key) const { return node_.TextOf(key); }
  std::vector<std::string> NotRead() const {
    std::vector<std::string> names;
    for (const AttributeRow& row : CudaAttributes()) {
      const bool wasRead = std::find(read_.begin(), read_.end(), row.name) != read_.end();
      if (!wasRead && node_.Has(row)) names.emplace_back(row.name);
    }
    return names;
  }

 private:
  const XMLParse::CoXMLNode& node_;
  std::vector<std::string_view> read_;
};

// The list of parameters while it is made.
class Settings {
 public:
  Settings(Reader& reader, HwOpenReport& report) : reader_(reader), report_(report) {}

  void Sizes(const XV_VID_PROPS& vid);
  void FromPreset(const Preset& preset);
  void FromAttributes(const XV_VID_PROPS& vid);
  void Rates(double pictureRate);
  std::vector<CudaSetting> Take() { return std::move(list_); }

 private:
  void Add(CudaParam id, std::int32_t first, std::int32_t second = 0, std::int32_t third = 0) {
    list_.push_back({id, std::array{first, second, third}});
  }
  void AddRate(CudaParam id, std::int64_t rate) {
    if (rate > 0) list_.push_back({id, rate});
  }
  template <class T>
  void AddKey(CudaParam id, const Attribute<T>& key) {
    Add(id, static_cast<std::int32_t>(reader_.Get(key)));
  }
  void Structure();
  void ProfileAndLevel();
  void RateControl();
  // Of an attribute that was given: the encoder gets another value.
  void NameAdjusted(const AttributeRow& key, std::string_view why) {
    if (!reader_.Has(key)) return;
    report_.adjusted.push_back(fmt::format("{}={} ({})", key.name, reader_.Text(key), why));
  }

  Reader& reader_;
  HwOpenReport& report_;
  std::vector<CudaSetting> list_;
};

void Settings::FromPreset(const Preset& preset) {
  Add(kCudaOutputSize, preset.width, preset.height);
  Add(kCudaAspect, preset.aspect[0], preset.aspect[1], preset.aspect[2]);
}

void Settings::Structure() {
  const std::int32_t asked = reader_.Get(kCudaG);
  const std::int32_t keyDistance = asked < 1 ? kUsualKeyDistance : asked;
  Add(kCudaKeyDistance, keyDistance);
  const std::int32_t references = reader_.Get(kCudaBf);
  const std::int32_t used = std::max(1, std::min(references, keyDistance - 1));
  if (used != references) NameAdjusted(kCudaBf, fmt::format("1 to g - 1: {} is used", used));
  Add(kCudaReferenceDistance, used);
  AddKey(kCudaDynamicGop, kCudaDynamicGopKey);
}

void Settings::ProfileAndLevel() {
  constexpr std::int32_t kIdc[] = {66, 77, 100};
  const int index = reader_.Get(kCudaProfile);
  const std::int32_t profile = kIdc[index < 0 ? 1 : index];
  const std::string text = reader_.Get(kCudaLevel);
  const std::int32_t level = IsCudaLevel(text) ? (text[0] - '0') * 10 + (text[2] - '0') : 0xFF;
  Add(kCudaProfileLevel, profile | level << 8);
}

void Settings::RateControl() {
  const int control = reader_.Get(kCudaRcType);
  Add(kCudaRateControl, control);
  const bool quantised = control == 0 || control == 3;  // "cqp", "vbr_minq"
  if (!quantised) return;
  AddKey(kCudaQuantiserI, kCudaQpI);
  AddKey(kCudaQuantiserP, kCudaQpP);
  AddKey(kCudaQuantiserB, kCudaQpB);
}

void Settings::FromAttributes(const XV_VID_PROPS& vid) {
  Add(kCudaOutputSize, vid.nWidth, CudaHeight(vid));
  if (vid.nAspectX > 0 && vid.nAspectY > 0) Add(kCudaAspect, vid.nAspectX, vid.nAspectY);
  const bool fields = vid.eInterlace == eXvI_TopFirst || vid.eInterlace == eXvI_BottomFirst;
  Add(kCudaFieldMode, fields ? static_cast<std::int32_t>(vid.eInterlace) : 0);
  Structure();
  ProfileAndLevel();
  RateControl();
  AddKey(kCudaDeblock, kCudaDeblockKey);
  AddKey(kCudaNoCabac, kCudaDisableCabac);
  AddKey(kCudaNoHeaders, kCudaDisableHeaders);
  AddKey(kCudaDeinterlace, kCudaDeinterlaceKey);
}

void Settings::Sizes(const XV_VID_PROPS& vid) {
  Add(kCudaInputSize, vid.nWidth, vid.nHeight);
  const int preset = reader_.Get(kCudaPresetKey);
  if (preset >= 0) {
    FromPreset(kPresets[preset]);
  } else {
    FromAttributes(vid);
  }
}

void Settings::Rates(double pictureRate) {
  const HwRate rate = HwFrameRate(pictureRate);
  if (rate.numerator > 0) {
    Add(kCudaFrameRate, static_cast<std::int32_t>(rate.numerator),
        static_cast<std::int32_t>(rate.denominator));
  }
  const std::int64_t average = reader_.Get(kCudaB);
  std::int64_t peak = reader_.Get(kCudaMaxRate);
  if (peak < average) {
    peak = average <= INT64_MAX / 2 ? average * 2 : INT64_MAX;
    NameAdjusted(kCudaMaxRate, fmt::format("below b: {} is used", peak));
  }
  AddRate(kCudaAverageRate, average);
  AddRate(kCudaPeakRate, peak);
}

}  // namespace

std::string_view CudaParamName(CudaParam id) {
  struct Name {
    CudaParam id;
    std::string_view text;
  };
  static constexpr Name kNames[] = {{kCudaOutputSize, "size of the output"},
                                    {kCudaAspect, "aspect"},
                                    {kCudaFieldMode, "field order"},
                                    {kCudaReferenceDistance, kCudaBf.name},
                                    {kCudaKeyDistance, kCudaG.name},
                                    {kCudaDynamicGop, kCudaDynamicGopKey.name},
                                    {kCudaRateControl, kCudaRcType.name},
                                    {kCudaAverageRate, kCudaB.name},
                                    {kCudaPeakRate, kCudaMaxRate.name},
                                    {kCudaQuantiserI, kCudaQpI.name},
                                    {kCudaQuantiserP, kCudaQpP.name},
                                    {kCudaQuantiserB, kCudaQpB.name},
                                    {kCudaFrameRate, "frame rate"},
                                    {kCudaDeblock, kCudaDeblockKey.name},
                                    {kCudaProfileLevel, "profile and level"},
                                    {kCudaDeinterlace, kCudaDeinterlaceKey.name},
                                    {kCudaInputSize, "size of the input"},
                                    {kCudaNoCabac, kCudaDisableCabac.name},
                                    {kCudaNoHeaders, kCudaDisableHeaders.name}};
  const auto* found = std::find_if(std::begin(kNames), std::end(kNames),
                                   [=](const Name& name) { return name.id == id; });
  return found == std::end(kNames) ? std::string_view() : found->text;
}

XV_VID_PROPS CudaProperties(const XV_VID_PROPS& vid) {
  XV_VID_PROPS out = vid;
  out.nHeight = vid.nHeight < 0 ? -vid.nHeight : vid.nHeight;
  if (out.fccColor == 0) out.fccColor = kFccUYVY;
  const int order = InterlaceOrder(vid);
  out.eInterlace = order > 0 ? eXvI_TopFirst : order < 0 ? eXvI_BottomFirst : eXvI_Progressive;
  return out;
}

std::int32_t CudaHeight(const XV_VID_PROPS& vid) {
  if (vid.eInterlace == eXvI_Progressive) return vid.nHeight;
  if (vid.nHeight == 486) return 480;
  return vid.nHeight % 4 == 0 ? vid.nHeight : vid.nHeight & ~7;
}

std::vector<CudaSetting> CudaSettings(const XV_VID_PROPS& vid, const XMLParse::CoXMLNode& node,
                                      HwOpenReport* report) {
  Reader reader(node);
  Settings settings(reader, *report);
  settings.Sizes(vid);
  settings.Rates(vid.dblRate);
  report->unused = reader.NotRead();
  return settings.Take();
}

}  // namespace xv
