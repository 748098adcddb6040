#include "audio/channel_fold.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace xv {
namespace {

constexpr float kMinus3dB = 0.70710678F;
constexpr int kSurround = 6;

// Index of each channel of a 5.1 set.
enum { kFrontLeft, kFrontRight, kCentre, kLowFrequency, kBackLeft, kBackRight };

void Store(float value, float* target) { *target = std::clamp(value, -1.0F, 1.0F); }
void Store(float value, std::int16_t* target) {
  *target = static_cast<std::int16_t>(std::lrint(std::clamp(value, -32768.0F, 32767.0F)));
}

template <class T>
struct Planes {
  explicit Planes(XvChannelsBuffer& buffer)
      : count(buffer.ChannelCount()), samples(static_cast<int>(buffer.Available() / sizeof(T))) {
    for (int i = 0; i < count; ++i) channel[i] = reinterpret_cast<T*>(buffer.ChannelPointer(i, 0));
  }
  T* channel[XvChannelsBuffer::kMaxChannels];
  int count;
  int samples;
};

template <class T>
void SurroundToStereo(const Planes<T>& p) {
  for (int i = 0; i < p.samples; ++i) {
    const float centre = kMinus3dB * static_cast<float>(p.channel[kCentre][i]);
    for (const int side : {0, 1}) {
      Store(static_cast<float>(p.channel[kFrontLeft + side][i]) + centre +
                kMinus3dB * static_cast<float>(p.channel[kBackLeft + side][i]),
            &p.channel[side][i]);
    }
  }
}

template <class T>
void AverageToMono(const Planes<T>& p) {
  for (int i = 0; i < p.samples; ++i) {
    float sum = 0;
    for (int c = 0; c < p.count; ++c) sum += static_cast<float>(p.channel[c][i]);
    Store(sum / static_cast<float>(p.count), &p.channel[0][i]);
  }
}

// Sums are clipped once, at the end, so that the order of the channels does not matter.
template <class T>
void AddModulo(const Planes<T>& p, int count) {
  for (int i = 0; i < p.samples; ++i) {
    for (int t = 0; t < count; ++t) {
      float sum = 0;
      for (int c = t; c < p.count; c += count) sum += static_cast<float>(p.channel[c][i]);
      Store(sum, &p.channel[t][i]);
    }
  }
}

template <class T>
void Fold(XvChannelsBuffer& buffer, int count) {
  const Planes<T> planes(buffer);
  if (planes.count == kSurround && count == 2) {
    SurroundToStereo(planes);
  } else if (count == 1 && (planes.count == kSurround || planes.count == 3)) {
    AverageToMono(planes);
  } else {
    AddModulo(planes, count);
  }
}

}  // namespace

bool FoldChannels(XvChannelsBuffer& buffer, int count, bool isFloat) {
  if (count < 1) return false;
  if (count >= buffer.ChannelCount() || buffer.Available() == 0) {
    static_cast<void>(buffer.SetChannels(count, true));  // a failure has emptied the buffer
    return false;
  }
  if (isFloat) {
    Fold<float>(buffer, count);
  } else {
    Fold<std::int16_t>(buffer, count);
  }
  static_cast<void>(buffer.SetChannels(count, false));
  return true;
}

}  // namespace xv
