#include "support/host_frames.h"

#include <cmath>
#include <memory>

namespace xv::test {
namespace {

constexpr double kPi = 3.14159265358979323846;

bool IsPlanarLayout(std::uint32_t layout) {
  return layout == kFccI420 || layout == kFccYV12 || layout == kFccNV12;
}

void PutSample(std::vector<std::uint8_t>& out, double value, int bits) {
  const int width = bits == 16 ? 2 : bits == 32 ? 4 : 3;
  const auto sample =
      static_cast<std::int64_t>(std::llround(value * (std::pow(2.0, width * 8 - 1) - 1)));
  for (int i = 0; i < width; ++i) out.push_back(static_cast<std::uint8_t>(sample >> (8 * i)));
}

std::vector<std::uint8_t> Sound(const Feed& feed, int number) {
  std::vector<std::uint8_t> out;
  const auto begin = std::llround(number * feed.sampleRate / feed.rate);
  const auto end = std::llround((number + 1) * feed.sampleRate / feed.rate);
  for (auto i = begin; i < end; ++i) {
    for (int c = 0; c < feed.channels; ++c) {
      PutSample(
          out,
          0.25 * std::sin(2 * kPi * 997 * static_cast<double>(i) / feed.sampleRate + c * kPi / 2),
          feed.bits);
    }
  }
  return out;
}

// Packed 4:2:2: which component each byte of a group is, and of which pixel.
void DrawPacked(const Feed& feed, const SampleOf& sample, std::vector<std::uint8_t>& out) {
  const int first = feed.layout == kFccUYVY || feed.layout == kFccHDYC ? 1 : 0;
  const int u = feed.layout == kFccYVYU ? 2 : 1;
  for (int y = 0; y < feed.height; ++y) {
    for (int x = 0; x < feed.width; ++x) {
      const int chroma = x % 2 == 0 ? u : 3 - u;
      const int codes[2] = {sample(0, x, y), sample(chroma, x / 2, y)};
      out.push_back(static_cast<std::uint8_t>(codes[first]));
      out.push_back(static_cast<std::uint8_t>(codes[1 - first]));
    }
  }
}

// SMPTE's order of 10-bit samples, three in a word: Cb Y Cr Y.
void DrawV210(const Feed& feed, const SampleOf& sample, std::vector<std::uint8_t>& out) {
  for (int y = 0; y < feed.height; ++y) {
    std::vector<std::uint32_t> words(static_cast<std::size_t>((feed.width + 47) / 48 * 32));
    for (int i = 0; i < 2 * feed.width; ++i) {
      const int pixel = i / 2;
      const int code = i % 2 == 1 ? sample(0, pixel, y) : sample(1 + pixel % 2, pixel / 2, y);
      words[static_cast<std::size_t>(i / 3)] |= static_cast<std::uint32_t>(code) << (i % 3 * 10);
    }
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(words.data());
    out.insert(out.end(), bytes, bytes + 4 * words.size());
  }
}

void DrawPlanar(const Feed& feed, const SampleOf& sample, std::vector<std::uint8_t>& out) {
  const auto plane = [&](std::initializer_list<int> components, int divisor) {
    for (int y = 0; y < feed.height / divisor; ++y) {
      for (int x = 0; x < feed.width / divisor; ++x) {
        for (const int c : components) out.push_back(static_cast<std::uint8_t>(sample(c, x, y)));
      }
    }
  };
  plane({0}, 1);
  if (feed.layout == kFccNV12) return plane({1, 2}, 2);
  const int u = feed.layout == kFccYV12 ? 2 : 1;
  plane({u}, 2);
  plane({3 - u}, 2);
}

// Rows from the bottom where the height is positive.
void DrawRgb(const Feed& feed, const SampleOf& sample, std::vector<std::uint8_t>& out) {
  const int lines = std::abs(feed.height);
  for (int row = 0; row < lines; ++row) {
    const int y = feed.height > 0 ? lines - 1 - row : row;
    for (int x = 0; x < feed.width; ++x) {
      for (const int c : {2, 1, 0}) out.push_back(static_cast<std::uint8_t>(sample(c, x, y)));
      if (feed.layout != kFccRGB24) out.push_back(static_cast<std::uint8_t>(sample(3, x, y)));
    }
    while (out.size() % 4 != 0) out.push_back(0);
  }
}

}  // namespace

std::vector<std::uint8_t> DrawPicture(const Feed& feed, const SampleOf& sample) {
  std::vector<std::uint8_t> out;
  if (feed.layout == kFccV210) {
    DrawV210(feed, sample, out);
  } else if (IsPlanarLayout(feed.layout)) {
    DrawPlanar(feed, sample, out);
  } else if (feed.layout == kFccRGB24 || feed.layout == kFccRGB32 || feed.layout == kFccARGB32) {
    DrawRgb(feed, sample, out);
  } else {
    DrawPacked(feed, sample, out);
  }
  return out;
}

std::vector<std::uint8_t> FlatPicture(const Feed& feed, std::uint8_t luma) {
  const auto width = static_cast<std::size_t>(feed.width);
  const auto height = static_cast<std::size_t>(std::abs(feed.height));
  if (IsPlanarLayout(feed.layout)) {
    std::vector<std::uint8_t> picture(width * height * 3 / 2, 128);
    std::fill_n(picture.begin(), width * height, luma);
    return picture;
  }
  const bool chromaFirst = feed.layout == kFccUYVY || feed.layout == kFccHDYC;
  if (chromaFirst || feed.layout == kFccYUY2) {
    std::vector<std::uint8_t> picture(width * height * 2, 128);
    for (std::size_t i = chromaFirst ? 1 : 0; i < picture.size(); i += 2) picture[i] = luma;
    return picture;
  }
  const std::size_t pixel = feed.layout == kFccRGB24 ? 3 : 4;
  // Full-range grey whose video-range luma is `luma`.
  const auto grey = static_cast<std::uint8_t>(std::lround((luma - 16) * 255.0 / 219.0));
  return std::vector<std::uint8_t>((width * pixel + 3) / 4 * 4 * height, grey);
}

host::Ptr<IXvFrame> MakeFrame(const Feed& feed, int number,
                              std::shared_ptr<std::vector<std::uint8_t>> picture) {
  host::FrameBuilder builder;
  if (feed.width > 0) {
    if (!picture) {
      picture = std::make_shared<std::vector<std::uint8_t>>(
          FlatPicture(feed, static_cast<std::uint8_t>(40 + 5 * (number % 32))));
    }
    builder.Video(feed.layout, feed.width, feed.height, feed.rate, picture->data(), picture->size(),
                  picture);
    builder.Interlace(feed.interlace).Aspect(feed.aspectX, feed.aspectY);
  }
  if (feed.channels > 0) {
    const auto sound = std::make_shared<std::vector<std::uint8_t>>(Sound(feed, number));
    builder.Audio(feed.channels, feed.sampleRate, feed.bits, sound->data(), sound->size(), sound);
  }
  const double step = kTimeUnitsPerSecond / feed.rate;
  builder.Time(host::Ticks(std::llround(number * step)),
               host::Ticks(std::llround((number + 1) * step)));
  if (feed.timecode) {
    const int perSecond = static_cast<int>(std::lround(feed.rate));
    builder.Timecode(feed.timecodeHour, 0, static_cast<unsigned>(number / perSecond),
                     static_cast<unsigned>(number % perSecond), feed.dropFrame);
  }
  return std::move(builder).Build();
}

HRESULT PushFrames(host::Writer& writer, const Feed& feed, int count, int first) {
  for (int i = first; i < first + count; ++i) {
    const HRESULT result = writer.Put(MakeFrame(feed, i));
    if (result != S_OK) return result;
  }
  return S_OK;
}

HRESULT Record(host::Writer& writer, const std::string& target, const std::string& attributes,
               const Feed& feed, int count) {
  HRESULT result = writer.Start(target, attributes);
  if (result == S_OK) result = PushFrames(writer, feed, count);
  const HRESULT stopped = writer.Stop();
  return result == S_OK && Failed(stopped) ? stopped : result;
}

HRESULT Record(const std::string& target, const std::string& attributes, const Feed& feed,
               int count, std::string* noted) {
  host::Writer writer;
  const HRESULT result = Record(writer, target, attributes, feed, count);
  if (noted != nullptr) *noted = writer.LastError();
  return result;
}

}  // namespace xv::test
