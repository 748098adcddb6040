#include "support/vendor/nvcuvenc/client_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace xv::nvcuvenc {
namespace {

struct Rule {
  int numbers;  // of 32 bits; 0: one of 64
  std::int64_t least, most;
};

const std::map<std::int32_t, Rule> kRules = {
    {kCudaOutputSize, {2, 16, 8192}},      {kCudaAspect, {3, 0, 32767}},
    {kCudaFieldMode, {1, 0, 2}},           {kCudaReferenceDistance, {1, 1, INT32_MAX}},
    {kCudaKeyDistance, {1, 1, INT32_MAX}}, {kCudaDynamicGop, {1, 0, 1}},
    {kCudaRateControl, {1, 0, 3}},         {kCudaAverageRate, {0, 1, INT64_MAX}},
    {kCudaPeakRate, {0, 1, INT64_MAX}},    {kCudaQuantiserI, {1, 0, 51}},
    {kCudaQuantiserP, {1, 0, 51}},         {kCudaQuantiserB, {1, 0, 51}},
    {kCudaFrameRate, {2, 1, INT32_MAX}},   {kCudaDeblock, {1, 0, 1}},
    {kCudaProfileLevel, {1, 66, 0xFFFF}},  {kCudaDeinterlace, {1, 0, 1}},
    {kCudaInputSize, {2, 16, 8192}},       {kCudaNoCabac, {1, 0, 1}},
    {kCudaNoHeaders, {1, 0, 1}},           {kCudaAdapter, {1, 0, 15}}};

std::int64_t First(const Values& values, std::int32_t id, std::int64_t usual) {
  const auto found = values.find(id);
  return found == values.end() ? usual : found->second.at(0);
}

std::string RuleOfNeighbours(std::int32_t id, std::int64_t value, const Values& before) {
  if (id != kCudaAdapter && id != kCudaInputSize && !before.contains(kCudaInputSize)) {
    return "ahead of the size of the input";
  }
  if (id == kCudaReferenceDistance &&
      value > std::max<std::int64_t>(First(before, kCudaKeyDistance, 32) - 1, 1)) {
    return "reaches beyond the next key picture";
  }
  const bool quantiser = id >= kCudaQuantiserI && id <= kCudaQuantiserB;
  if (quantiser && First(before, kCudaRateControl, 1) % 3 != 0) return "without such a control";
  if (id == kCudaPeakRate && value < First(before, kCudaAverageRate, 0)) {
    return "below the average rate";
  }
  return {};
}

}  // namespace

std::size_t SizeOfValue(std::int32_t id) {
  const auto found = kRules.find(id);
  if (found == kRules.end()) return 0;
  return found->second.numbers == 0 ? 8 : static_cast<std::size_t>(found->second.numbers) * 4;
}

std::vector<std::int64_t> ReadValue(std::int32_t id, const void* value) {
  std::vector<std::int64_t> numbers(std::max<std::size_t>(SizeOfValue(id) / 4, 1));
  if (SizeOfValue(id) == 8 && kRules.at(id).numbers == 0) {
    numbers.resize(1);
    std::memcpy(numbers.data(), value, 8);
    return numbers;
  }
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    std::int32_t number = 0;
    std::memcpy(&number, static_cast<const char*>(value) + 4 * i, 4);
    numbers[i] = number;
  }
  return numbers;
}

std::string RuleOfParameter(std::int32_t id, const std::vector<std::int64_t>& value,
                            const Values& before) {
  const Rule& rule = kRules.at(id);
  for (const std::int64_t number : value) {
    if (number < rule.least || number > rule.most) {
      return fmt::format("parameter {} is {}", id, number);
    }
  }
  if (before.contains(id)) return fmt::format("parameter {} is set twice", id);
  const std::string neighbours = RuleOfNeighbours(id, value.at(0), before);
  return neighbours.empty() ? neighbours : fmt::format("parameter {} {}", id, neighbours);
}

std::string RuleOfFrame(const CudaFrame& frame, const Values& values) {
  const std::vector<std::int64_t>& size = values.at(kCudaInputSize);
  if (frame.width != size.at(0) || frame.height > size.at(1) || frame.height < size.at(1) - 7) {
    return "a frame of another size";
  }
  if (frame.structure < 1 || frame.structure > 3) return "a frame without a structure";
  if ((frame.structure == 3) != (frame.progressive == 1) ||
      (frame.structure == 1) != (frame.topFieldFirst == 1)) {
    return "a frame whose flags contradict its structure";
  }
  if ((frame.last == 1) != (frame.pixels == nullptr)) return "pixels and the last frame";
  if (frame.layout < 0 || frame.layout > 1) return "a layout that is not packed 4:2:2";
  if (frame.pixels != nullptr && frame.pitch < 2 * frame.width) return "a pitch below the width";
  return {};
}

H264Options OptionsOf(const Values& values) {
  H264Options options;
  const std::vector<std::int64_t>& in = values.at(kCudaInputSize);
  const std::vector<std::int64_t>& out = values.at(kCudaOutputSize);
  options.inWidth = static_cast<int>(in[0]);
  options.outWidth = static_cast<int>(out[0]);
  options.outHeight = static_cast<int>(out[1]);
  if (const auto rate = values.find(kCudaFrameRate); rate != values.end()) {
    options.rateNumerator = static_cast<int>(rate->second[0]);
    options.rateDenominator = static_cast<int>(rate->second[1]);
  }
  options.average = First(values, kCudaAverageRate, 0);
  options.peak = First(values, kCudaPeakRate, 0);
  options.keyDistance = static_cast<int>(First(values, kCudaKeyDistance, 32));
  // libx264 makes 16 B pictures in a row.
  options.referenceDistance =
      static_cast<int>(std::min<std::int64_t>(First(values, kCudaReferenceDistance, 1), 17));
  options.fieldMode = static_cast<int>(First(values, kCudaFieldMode, 0));
  options.profile = static_cast<int>(First(values, kCudaProfileLevel, 77) & 0xFF);
  options.level = static_cast<int>(First(values, kCudaProfileLevel, 0xFF00) >> 8);
  options.quantiser = static_cast<int>(First(values, kCudaQuantiserP, -1));
  options.deblock = First(values, kCudaDeblock, 1) != 0;
  options.cabac = First(values, kCudaNoCabac, 0) == 0;
  options.headersInStream = First(values, kCudaNoHeaders, 0) == 0;
  return options;
}

}  // namespace xv::nvcuvenc
