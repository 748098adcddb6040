#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>

#include "xvrecord/cea608_text.h"
#include "xvrecord/host_items.h"
#include "xvrecord/input.h"
#include "xvrecord/layout.h"

namespace xvrecord {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kSampleRate = 48000;
constexpr int kPictures = 32;  // drawn once, then shown in turn
constexpr double kTone = 1000.0;

struct TestOptions {
  int width = 1920;
  int height = 1080;
  double rate = 25;
  std::uint32_t layout = xv::kFccUYVY;
  std::uint32_t interlace = xv::eXvI_Progressive;
  int channels = 2;
  double seconds = 10;
  bool captions = false;
};

[[noreturn]] void Refuse(const std::string& key, const std::string& value) {
  throw UsageError("test: does not know " + key + "=" + value + ".");
}

double NumberOf(const std::string& key, const std::string& value, double least, double most) {
  std::size_t used = 0;
  double number = NAN;
  try {
    number = std::stod(value, &used);
  } catch (const std::exception&) {
  }
  if (used != value.size() || !(number >= least && number <= most)) Refuse(key, value);
  return number;
}

void ReadSize(const std::string& value, TestOptions* options) {
  const std::size_t cross = value.find('x');
  if (cross == std::string::npos) Refuse("size", value);
  options->width = static_cast<int>(NumberOf("size", value.substr(0, cross), 2, 16384)) & ~1;
  options->height = static_cast<int>(NumberOf("size", value.substr(cross + 1), 2, 16384)) & ~1;
}

// 29.97 and its kin mean the exact rates of the NTSC family.
double ExactRate(double rate) {
  const double ntsc = std::round(rate * 1001 / 1000) * 1000 / 1001;
  return std::fabs(rate - std::round(rate)) > 0.005 && std::fabs(rate - ntsc) < 0.01 ? ntsc : rate;
}

TestOptions ReadOptions(const std::string& text) {
  TestOptions options;
  std::istringstream stream(text);
  for (std::string pair; std::getline(stream, pair, ',');) {
    const std::size_t equals = pair.find('=');
    const std::string key = pair.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : pair.substr(equals + 1);
    if (key == "size") {
      ReadSize(value, &options);
    } else if (key == "rate") {
      options.rate = ExactRate(NumberOf(key, value, 1, 1000));
    } else if (key == "format") {
      options.layout = LayoutFromName(value);
      if (options.layout == 0) Refuse(key, value);
    } else if (key == "interlace") {
      static const std::map<std::string, std::uint32_t> kOrders = {{"top", xv::eXvI_TopFirst},
                                                                   {"bottom", xv::eXvI_BottomFirst},
                                                                   {"no", xv::eXvI_Progressive}};
      const auto found = kOrders.find(value);
      if (found == kOrders.end()) Refuse(key, value);
      options.interlace = found->second;
    } else if (key == "channels") {
      options.channels = static_cast<int>(NumberOf(key, value, 0, 32));
    } else if (key == "captions") {
      if (value != "on" && value != "off") Refuse(key, value);
      options.captions = value == "on";
    } else if (key == "seconds") {
      options.seconds = NumberOf(key, value, 0, 1e9);
    } else if (!pair.empty()) {
      Refuse(key, value);
    }
  }
  return options;
}

// 75 percent colour bars (Y, Cb, Cr of BT.601) over a moving grey ramp. In an interlaced picture
// the second field is half a step further.
constexpr std::uint8_t kBars[8][3] = {{180, 128, 128}, {162, 44, 142}, {131, 156, 44},
                                      {112, 72, 58},   {84, 184, 198}, {65, 100, 212},
                                      {35, 212, 114},  {16, 128, 128}};

void DrawPicture(const TestOptions& options, int number, AVFrame* picture) {
  const int barLines = options.height * 2 / 3;
  for (int y = 0; y < options.height; ++y) {
    std::uint8_t* luma = picture->data[0] + static_cast<std::ptrdiff_t>(y) * picture->linesize[0];
    std::uint8_t* blue = picture->data[1] + static_cast<std::ptrdiff_t>(y) * picture->linesize[1];
    std::uint8_t* red = picture->data[2] + static_cast<std::ptrdiff_t>(y) * picture->linesize[2];
    const bool secondField = options.interlace != xv::eXvI_Progressive &&
                             (y & 1) == (options.interlace == xv::eXvI_TopFirst ? 1 : 0);
    const int shift = (number * 2 + (secondField ? 1 : 0)) * options.width / (kPictures * 2);
    for (int x = 0; x < options.width; ++x) {
      const std::uint8_t* bar = kBars[x * 8 / options.width];
      const int ramp = (x + shift) % options.width * 220 / options.width + 16;
      luma[x] = y < barLines ? bar[0] : static_cast<std::uint8_t>(ramp);
      if ((x & 1) != 0) continue;
      blue[x / 2] = y < barLines ? bar[1] : 128;
      red[x / 2] = y < barLines ? bar[2] : 128;
    }
  }
}

class TestInput final : public Input {
 public:
  explicit TestInput(const TestOptions& options) : options_(options), packer_(options.layout) {
    const int count = std::min(kPictures, std::max(1, Frames()));
    AVFrame* canvas = av_frame_alloc();
    canvas->format = AV_PIX_FMT_YUV422P;
    canvas->width = options_.width;
    canvas->height = options_.height;
    canvas->interlaced_frame = options_.interlace != xv::eXvI_Progressive;
    canvas->top_field_first = options_.interlace == xv::eXvI_TopFirst;
    canvas->colorspace = options_.height > 576 ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
    canvas->sample_aspect_ratio = {1, 1};
    if (av_frame_get_buffer(canvas, 0) < 0) throw InputError("test: has no memory for pictures.");
    packer_.Describe(*canvas, &props_.vid);
    props_.vid.dblRate = options_.rate;
    for (int i = 0; i < count; ++i) {
      DrawPicture(options_, i, canvas);
      pictures_.push_back(packer_.Pack(*canvas));
    }
    av_frame_free(&canvas);
    if (options_.channels > 0) props_.aud = {options_.channels, kSampleRate, 16, 0};
  }

  double Duration() const override { return options_.seconds; }

  bool Next(InputFrame* out) override {
    if (number_ >= Frames()) return false;
    *out = {};
    out->props = props_;
    const double step = xv::kTimeUnitsPerSecond / options_.rate;
    out->time.rtStart = std::llround(number_ * step);
    out->time.rtStop = std::llround((number_ + 1) * step);
    out->video = pictures_[static_cast<std::size_t>(number_) % pictures_.size()];
    if (options_.channels > 0) out->audio = Tone();
    if (options_.captions) Caption(out);
    ++number_;
    return true;
  }

 private:
  int Frames() const { return static_cast<int>(std::llround(options_.seconds * options_.rate)); }

  // "TEST CAPTION 1" is sent from the start on, and so on every two seconds.
  void Caption(InputFrame* out) {
    const int period = static_cast<int>(std::lround(2 * options_.rate));
    if (number_ % period == 0) text_.Say("TEST CAPTION " + std::to_string(number_ / period + 1));
    out->captions = xv::ConstructsForPair(text_.NextPair(), options_.rate);
  }

  // A sine, each channel a little quieter than the one before.
  Block Tone() {
    const std::int64_t begin = std::llround(number_ * kSampleRate / options_.rate);
    const std::int64_t end = std::llround((number_ + 1) * kSampleRate / options_.rate);
    const auto channels = static_cast<std::size_t>(options_.channels);
    const auto block = pool_.Get(static_cast<std::size_t>(end - begin) * channels * 2);
    std::size_t at = 0;
    for (std::int64_t i = begin; i < end; ++i) {
      const double wave =
          std::sin(2 * kPi * kTone * static_cast<double>(i % kSampleRate) / kSampleRate);
      for (std::size_t c = 0; c < channels; ++c) {
        const auto value =
            static_cast<std::int16_t>(std::lround(wave * 8000.0 / static_cast<double>(c + 1)));
        (*block)[at++] = static_cast<std::uint8_t>(value & 0xFF);
        (*block)[at++] = static_cast<std::uint8_t>(value >> 8 & 0xFF);
      }
    }
    return {block, block->data(), block->size()};
  }

  TestOptions options_;
  LayoutPacker packer_;
  BlockPool pool_;
  xv::XV_AV_PROPS props_{};
  std::vector<Block> pictures_;
  xv::Cea608Text text_;
  int number_ = 0;
};

}  // namespace

std::unique_ptr<Input> OpenTest(const std::string& options, std::uint32_t layout) {
  TestOptions read = ReadOptions(options);
  if (layout != 0) read.layout = layout;
  return std::make_unique<TestInput>(read);
}

}  // namespace xvrecord
