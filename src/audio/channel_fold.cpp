#include "audio/channel_fold.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <numeric>
#include <vector>

namespace xv {
namespace {

constexpr float kMinus3dB = 0.70710678F;

// Where a channel is heard.
enum Place { kLeft, kRight, kCentre, kLow, kBackLeft, kBackRight, kBack, kSideLeft, kSideRight };

constexpr int kMostPlaces = 8;
constexpr std::array<Place, kMostPlaces> kPlaces[kMostPlaces + 1] = {
    {},
    {kCentre},
    {kLeft, kRight},
    {kLeft, kRight, kCentre},
    {kLeft, kRight, kCentre, kBack},
    {kLeft, kRight, kCentre, kBackLeft, kBackRight},
    {kLeft, kRight, kCentre, kLow, kBackLeft, kBackRight},
    {kLeft, kRight, kCentre, kLow, kBack, kSideLeft, kSideRight},
    {kLeft, kRight, kCentre, kLow, kBackLeft, kBackRight, kSideLeft, kSideRight},
};

// By target, then by source.
using Weights = std::vector<std::vector<float>>;

struct Set {
  int count;
  // -1 where there is no such channel.
  int Find(Place place) const {
    const auto* const first = kPlaces[count].data();
    const auto* const found = std::find(first, first + count, place);
    return found == first + count ? -1 : static_cast<int>(found - first);
  }
};

// The channels that take what `target` has no channel of its own for: the first pair, or single
// one, that exists.
std::vector<int> Heirs(Place place, const Set& target) {
  std::vector<std::vector<Place>> choices;
  switch (place) {
    case kBackLeft:
      choices = {{kSideLeft}, {kBack}, {kLeft}};
      break;
    case kBackRight:
      choices = {{kSideRight}, {kBack}, {kRight}};
      break;
    case kSideLeft:
      choices = {{kBackLeft}, {kBack}, {kLeft}};
      break;
    case kSideRight:
      choices = {{kBackRight}, {kBack}, {kRight}};
      break;
    case kBack:
      choices = {{kBackLeft, kBackRight}, {kSideLeft, kSideRight}, {kLeft, kRight}};
      break;
    case kCentre:
      choices = {{kLeft, kRight}};
      break;
    default:
      break;
  }
  for (const std::vector<Place>& choice : choices) {
    std::vector<int> heirs;
    for (const Place heir : choice) heirs.push_back(target.Find(heir));
    if (std::ranges::find(heirs, -1) == heirs.end()) return heirs;
  }
  return {};
}

Weights PlacedWeights(const Set& source, const Set& target) {
  Weights weights(static_cast<std::size_t>(target.count),
                  std::vector<float>(static_cast<std::size_t>(source.count)));
  for (std::size_t i = 0; i < static_cast<std::size_t>(source.count); ++i) {
    const Place place = kPlaces[source.count][i];
    if (const int own = target.Find(place); own >= 0) {
      weights[static_cast<std::size_t>(own)][i] = 1;
      continue;
    }
    for (const int heir : Heirs(place, target)) {
      weights[static_cast<std::size_t>(heir)][i] = kMinus3dB;
    }
  }
  return weights;
}

// Both sides of the stereo fold, scaled so that full scale everywhere is full scale.
Weights MonoWeights(const Set& source) {
  const Weights stereo = PlacedWeights(source, {2});
  std::vector<float> mono(stereo[0].size());
  std::ranges::transform(stereo[0], stereo[1], mono.begin(), std::plus<float>());
  const float sum = std::accumulate(mono.begin(), mono.end(), 0.0F);
  for (float& weight : mono) weight /= sum;
  return {mono};
}

// Channels whose places nobody knows: channel i onto channel i modulo `to`, into one the average.
Weights ModuloWeights(int from, int to) {
  Weights weights(static_cast<std::size_t>(to), std::vector<float>(static_cast<std::size_t>(from)));
  for (int i = 0; i < from; ++i) {
    weights[static_cast<std::size_t>(i % to)][static_cast<std::size_t>(i)] =
        to == 1 ? 1.0F / static_cast<float>(from) : 1.0F;
  }
  return weights;
}

Weights WeightsFor(int from, int to) {
  if (from > kMostPlaces) return ModuloWeights(from, to);
  return to == 1 ? MonoWeights({from}) : PlacedWeights({from}, {to});
}

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

// Sums are clipped once, at the end.
template <class T>
void Fold(XvChannelsBuffer& buffer, int count) {
  const Planes<T> p(buffer);
  const Weights weights = WeightsFor(p.count, count);
  std::vector<float> sums(static_cast<std::size_t>(count));
  for (int i = 0; i < p.samples; ++i) {
    for (std::size_t t = 0; t < sums.size(); ++t) {
      sums[t] = 0;
      for (std::size_t c = 0; c < weights[t].size(); ++c) {
        sums[t] += weights[t][c] * static_cast<float>(p.channel[c][i]);
      }
    }
    for (std::size_t t = 0; t < sums.size(); ++t) Store(sums[t], &p.channel[t][i]);
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
