#include "audio/sample_convert.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace xv {
namespace {

constexpr float kScale16 = 32768.0F;
constexpr float kScale24 = 8388608.0F;
constexpr double kScale32 = 2147483648.0;

// Comparisons are written so that a NaN passes through; rounding makes it 0.
template <class Real>
Real Clamp(Real value, Real low, Real high) {
  value = value < low ? low : value;
  return value > high ? high : value;
}

std::int16_t S16Of(float value) {
  return static_cast<std::int16_t>(std::lrint(Clamp(value * kScale16, -32768.0F, 32767.0F)));
}

std::int32_t S24At(const std::uint8_t* p) {
  const std::uint32_t word = static_cast<std::uint32_t>(p[0]) << 8 |
                             static_cast<std::uint32_t>(p[1]) << 16 |
                             static_cast<std::uint32_t>(p[2]) << 24;
  return static_cast<std::int32_t>(word) >> 8;
}

template <class T>
T Load(const std::uint8_t* p) {
  T value;
  std::memcpy(&value, p, sizeof value);
  return value;
}

// One channel out of interleaved samples: `step` bytes apart.
template <class Target, class Read>
void Gather(const std::uint8_t* source, std::int64_t step, std::int32_t samples,
            std::uint8_t* plane, Read read) {
  for (std::int32_t i = 0; i < samples; ++i) {
    const Target value = read(source + i * step);
    std::memcpy(plane + static_cast<std::int64_t>(i) * static_cast<std::int64_t>(sizeof value),
                &value, sizeof value);
  }
}

float FloatFromS32(std::int32_t value) {
  return static_cast<float>(static_cast<double>(value) / kScale32);
}

void GatherFloats(const std::uint8_t* source, int sourceBytes, bool isFloat, std::int64_t step,
                  std::int32_t samples, std::uint8_t* plane) {
  if (sourceBytes == 2) {
    Gather<float>(source, step, samples, plane, [](const std::uint8_t* p) {
      return static_cast<float>(Load<std::int16_t>(p)) / kScale16;
    });
  } else if (sourceBytes == 3) {
    Gather<float>(source, step, samples, plane,
                  [](const std::uint8_t* p) { return static_cast<float>(S24At(p)) / kScale24; });
  } else if (isFloat) {
    Gather<float>(source, step, samples, plane, Load<float>);
  } else {
    Gather<float>(source, step, samples, plane,
                  [](const std::uint8_t* p) { return FloatFromS32(Load<std::int32_t>(p)); });
  }
}

void GatherS16(const std::uint8_t* source, int sourceBytes, bool isFloat, std::int64_t step,
               std::int32_t samples, std::uint8_t* plane) {
  if (sourceBytes == 2) {
    Gather<std::int16_t>(source, step, samples, plane, Load<std::int16_t>);
  } else if (sourceBytes == 3) {
    Gather<std::int16_t>(source, step, samples, plane, [](const std::uint8_t* p) {
      return static_cast<std::int16_t>(S24At(p) >> 8);
    });
  } else if (isFloat) {
    Gather<std::int16_t>(source, step, samples, plane,
                         [](const std::uint8_t* p) { return S16Of(Load<float>(p)); });
  } else {
    Gather<std::int16_t>(source, step, samples, plane, [](const std::uint8_t* p) {
      return S16Of(FloatFromS32(Load<std::int32_t>(p)));
    });
  }
}

template <class Target>
Target TargetFromS16(std::int16_t value) {
  if constexpr (std::is_same_v<Target, std::uint8_t>) {
    const int rounded = (value + 128) >> 8;
    return static_cast<std::uint8_t>((rounded > 127 ? 127 : rounded) + 128);
  } else if constexpr (std::is_same_v<Target, std::int16_t>) {
    return value;
  } else if constexpr (std::is_same_v<Target, std::int32_t>) {
    return static_cast<std::int32_t>(value) * 65536;
  } else {
    return static_cast<Target>(value) / static_cast<Target>(kScale16);
  }
}

template <class Target>
Target TargetFromFloat(float value) {
  if constexpr (std::is_same_v<Target, std::uint8_t>) {
    return static_cast<std::uint8_t>(
        static_cast<std::uint8_t>(std::lrint(Clamp(value * 128.0F, -128.0F, 127.0F))) + 128U);
  } else if constexpr (std::is_same_v<Target, std::int16_t>) {
    return S16Of(value);
  } else if constexpr (std::is_same_v<Target, std::int32_t>) {
    return static_cast<std::int32_t>(
        std::lrint(Clamp(static_cast<double>(value) * kScale32, -kScale32, kScale32 - 1)));
  } else {
    return static_cast<Target>(value);
  }
}

template <class Target>
void WriteAs(const std::uint8_t* source, int sourceBytes, std::int32_t samples,
             std::uint8_t* target, int stride) {
  const std::int64_t step = static_cast<std::int64_t>(stride) * static_cast<int>(sizeof(Target));
  const Target silence = std::is_same_v<Target, std::uint8_t> ? static_cast<Target>(128) : Target{};
  for (std::int32_t i = 0; i < samples; ++i) {
    Target value = silence;
    if (source != nullptr) {
      value = sourceBytes == 2 ? TargetFromS16<Target>(Load<std::int16_t>(source + i * 2LL))
                               : TargetFromFloat<Target>(Load<float>(source + i * 4LL));
    }
    std::memcpy(target + i * step, &value, sizeof value);
  }
}

}  // namespace

int HostSampleBytes(int bits) { return ((std::abs(bits) + 7) & ~7) / 8; }

int StoredSampleBytes(int bits) {
  const int bytes = HostSampleBytes(bits);
  return bytes == 3 ? 4 : bytes;
}

void Deinterleave(const XV_AUD_PROPS& format, const std::uint8_t* data, std::int32_t samples,
                  std::uint8_t* const* planes, int targetBytes) {
  const int sourceBytes = HostSampleBytes(format.nBitsPerSample);
  const bool isFloat = format.nBitsPerSample < 0;
  const std::int64_t step = static_cast<std::int64_t>(sourceBytes) * format.nChannels;
  const auto gather = targetBytes == 2 ? GatherS16 : GatherFloats;
  for (int channel = 0; channel < format.nChannels; ++channel) {
    if (planes[channel] == nullptr) continue;
    gather(data + static_cast<std::int64_t>(channel) * sourceBytes, sourceBytes, isFloat, step,
           samples, planes[channel]);
  }
}

bool WriteSamples(const std::uint8_t* source, int sourceBytes, std::int32_t samples,
                  AVSampleFormat format, std::uint8_t* target, int stride) {
  switch (av_get_packed_sample_fmt(format)) {
    case AV_SAMPLE_FMT_U8:
      WriteAs<std::uint8_t>(source, sourceBytes, samples, target, stride);
      return true;
    case AV_SAMPLE_FMT_S16:
      WriteAs<std::int16_t>(source, sourceBytes, samples, target, stride);
      return true;
    case AV_SAMPLE_FMT_S32:
      WriteAs<std::int32_t>(source, sourceBytes, samples, target, stride);
      return true;
    case AV_SAMPLE_FMT_FLT:
      WriteAs<float>(source, sourceBytes, samples, target, stride);
      return true;
    case AV_SAMPLE_FMT_DBL:
      WriteAs<double>(source, sourceBytes, samples, target, stride);
      return true;
    default:
      return false;
  }
}

}  // namespace xv
