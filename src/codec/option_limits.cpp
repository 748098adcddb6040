#include "codec/option_limits.h"

#include <fmt/format.h>

#include <limits>

#include "codec/ffmpeg_words.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace xv {
namespace {

constexpr double kAnyAbove = std::numeric_limits<std::int32_t>::max();

// Rate control of the MPEG family asserts that a quantiser is a number above zero, and reads its
// motion vectors outside of the picture below a range of zero.
constexpr OptionLimit kMpegLimits[] = {
    {"qcomp", -10, 10},
    {"qdiff", 0, 1024},
    {"me_range", 0, kAnyAbove},
};

// It calls the quantiser of the MPEG family without the tables of its trellis.
constexpr OptionLimit kDnxhdLimits[] = {{"trellis", 0, 0}};

// A lower end above its upper one is another assertion.
struct Range {
  const char* lower;
  const char* upper;
};
constexpr Range kMpegRanges[] = {{"lmin", "lmax"}, {"mblmin", "mblmax"}};

// Flags of a muxer's option that it does not stand together.
struct FlagPair {
  const char* option;
  const char* one;
  const char* other;
};
constexpr FlagPair kFatalFlags[] = {{"movflags", "rtphint", "isml"}};

bool IsMpegFamily(const AVCodec& codec) {
  const AVClass* const kind = codec.priv_class;
  return kind != nullptr && av_opt_find(const_cast<AVClass**>(&kind), "mpv_flags", nullptr, 0,
                                        AV_OPT_SEARCH_FAKE_OBJ) != nullptr;
}

double ValueOf(void* object, const char* name) {
  double value = 0;
  (void)av_opt_get_double(object, name, AV_OPT_SEARCH_CHILDREN, &value);
  return value;
}

bool HasFlag(void* object, const char* option, const char* flag) {
  void* holder = nullptr;
  const AVOption* found = av_opt_find2(object, option, nullptr, 0, AV_OPT_SEARCH_CHILDREN, &holder);
  if (found == nullptr || found->unit == nullptr) return false;
  const AVOption* word = av_opt_find(holder, flag, found->unit, 0, 0);
  std::int64_t value = 0;
  if (word == nullptr || av_opt_get_int(holder, option, 0, &value) < 0) return false;
  return (value & word->default_val.i64) != 0;
}

void SetAll(const AvDictionary& options, void* object) {
  const FFmpegWords quiet;
  options.ForEach([&](const char* key, const char* value) {
    (void)av_opt_set(object, key, value, AV_OPT_SEARCH_CHILDREN);
  });
}

void TakeOut(AvDictionary& options, const char* name, const std::string& why, Refusals* out) {
  if (options.Find(name) == nullptr) return;
  options.Remove(name);
  out->emplace(name, why);
}

}  // namespace

std::span<const OptionLimit> LimitsOf(const AVCodec& codec) {
  if (IsMpegFamily(codec)) return kMpegLimits;
  if (codec.id == AV_CODEC_ID_DNXHD) return kDnxhdLimits;
  return {};
}

Refusals TakeOutFatalOptions(AvDictionary& options, AVCodecContext& trial) {
  Refusals refusals;
  const AVCodec& codec = *trial.codec;
  SetAll(options, &trial);
  for (const OptionLimit& limit : LimitsOf(codec)) {
    const double value = ValueOf(&trial, limit.name);
    if (value >= limit.least && value <= limit.most) continue;
    const std::string most = limit.most > limit.least ? fmt::format(" to {}", limit.most) : "";
    TakeOut(options, limit.name, fmt::format("{} stands {}{} only", codec.name, limit.least, most),
            &refusals);
  }
  for (const Range& range : kMpegRanges) {
    if (!IsMpegFamily(codec)) break;
    const double lower = ValueOf(&trial, range.lower), upper = ValueOf(&trial, range.upper);
    if (lower <= upper) continue;
    const std::string why =
        fmt::format("{}={} is above {}={}", range.lower, lower, range.upper, upper);
    TakeOut(options, range.lower, why, &refusals);
    TakeOut(options, range.upper, why, &refusals);
  }
  return refusals;
}

Refusals TakeOutFatalOptions(AvDictionary& options, const AVOutputFormat& format) {
  Refusals refusals;
  for (const FlagPair& pair : kFatalFlags) {
    if (options.Find(pair.option) == nullptr) continue;
    AVFormatContext* raw = nullptr;
    if (avformat_alloc_output_context2(&raw, &format, nullptr, nullptr) < 0) break;
    const AvPtr<AVFormatContext> trial(raw);
    SetAll(options, trial.get());
    if (!HasFlag(trial.get(), pair.option, pair.one)) continue;
    if (!HasFlag(trial.get(), pair.option, pair.other)) continue;
    TakeOut(options, pair.option, fmt::format("{} and {} exclude each other", pair.one, pair.other),
            &refusals);
  }
  return refusals;
}

}  // namespace xv
