#include "catalogue/ffmpeg_options.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/opt.h>
}

#include "base/text.h"
#include "codec/muxer_defaults.h"
#include "contracts/av_handles.h"
#include "values/value_syntax.h"

namespace xv {
namespace {

std::string Text(const char* text) {
  return text == nullptr ? std::string() : std::string(Trim(text));
}

std::string TypeOf(const AVOption& option) {
  const bool hasUnit = option.unit != nullptr;
  switch (option.type) {
    case AV_OPT_TYPE_FLAGS:
      return hasUnit ? "flags" : "int";
    case AV_OPT_TYPE_INT:
      return hasUnit ? "option" : "int";
    case AV_OPT_TYPE_INT64:
      return hasUnit ? "option" : "int64";
    case AV_OPT_TYPE_DOUBLE:
    case AV_OPT_TYPE_FLOAT:
    case AV_OPT_TYPE_RATIONAL:
      return hasUnit ? "option" : "double";
    case AV_OPT_TYPE_STRING:
      return hasUnit ? "option" : "string";
    case AV_OPT_TYPE_BOOL:
      return "bool";
    default:
      return {};
  }
}

std::string CurrentValue(void* object, const AVOption& option) {
  std::uint8_t* value = nullptr;
  // FFmpeg logs a line whenever one of these is touched.
  if ((option.flags & AV_OPT_FLAG_DEPRECATED) != 0) return {};
  if (av_opt_get(object, option.name, 0, &value) < 0 || value == nullptr) return {};
  std::string text = reinterpret_cast<const char*>(value);
  av_free(value);
  return text;
}

void SetBounds(const AVOption& option, OptionInfo* info) {
  const bool number = info->type == "int" || info->type == "int64" || info->type == "double";
  if (!number) return;
  if (option.min > std::numeric_limits<std::int32_t>::min()) info->minimum = option.min;
  if (option.max < std::numeric_limits<std::int32_t>::max()) info->maximum = option.max;
}

// The constants of `object` that belong to the units of `options`.
void AddConstants(void* object, int flags, OptionInfos* options) {
  const AVOption* constant = nullptr;
  while ((constant = av_opt_next(object, constant)) != nullptr) {
    if (constant->type != AV_OPT_TYPE_CONST || constant->unit == nullptr) continue;
    if ((constant->flags & flags) != flags) continue;
    for (OptionInfo& info : *options) {
      if (info.unit != constant->unit) continue;
      info.constants.push_back({constant->name, Text(constant->help), constant->default_val.i64});
    }
  }
}

void Append(OptionInfos more, OptionInfos* options) {
  std::move(more.begin(), more.end(), std::back_inserter(*options));
}

// The word of an "option" with that value, "" for none.
std::string WordOf(const OptionInfo& option, double value) {
  for (const OptionConstant& constant : option.constants) {
    if (static_cast<double>(constant.value) == value) return constant.name;
  }
  return {};
}

// The words that make up a set of flags, "" for none and for a set that words do not make up.
std::string WordsOf(const OptionInfo& option, std::uint64_t value) {
  std::string out;
  for (const OptionConstant& constant : option.constants) {
    const auto bits = static_cast<std::uint64_t>(constant.value);
    if (bits == 0 || (value & bits) != bits) continue;
    out.append(out.empty() ? "" : "+").append(constant.name);
    value &= ~bits;
  }
  return value == 0 ? out : std::string();
}

// Numbers that stand for "not set" where FFmpeg has no word for it.
bool MeansNotSet(double value) {
  static constexpr std::array<double, 4> kNotSet = {-1, -32768,
                                                    std::numeric_limits<std::int32_t>::min(),
                                                    std::numeric_limits<std::int32_t>::max()};
  return std::find(kNotSet.begin(), kNotSet.end(), value) != kNotSet.end();
}

bool IsWithin(const OptionInfo& option, double value) {
  return value >= option.minimum.value_or(value) && value <= option.maximum.value_or(value);
}

}  // namespace

std::string OptionInfo::Words() const {
  std::string out;
  for (const OptionConstant& constant : constants) {
    out.append(out.empty() ? "" : ", ").append(constant.name);
  }
  return out;
}

OptionInfos ListOptions(void* object, int flags) {
  OptionInfos out;
  const AVOption* option = nullptr;
  while ((option = av_opt_next(object, option)) != nullptr) {
    if ((option->flags & flags) != flags || option->type == AV_OPT_TYPE_CONST) continue;
    OptionInfo info;
    info.name = option->name;
    info.help = Text(option->help);
    info.type = TypeOf(*option);
    info.defaultValue = CurrentValue(object, *option);
    if (info.type == "option" || info.type == "flags") info.unit = option->unit;
    SetBounds(*option, &info);
    out.push_back(std::move(info));
  }
  AddConstants(object, flags, &out);
  return out;
}

OptionInfos ListEncoderOptions(const AVCodec& codec) {
  const AvPtr<AVCodecContext> context(avcodec_alloc_context3(&codec));
  if (!context) return {};
  const bool video = codec.type == AVMEDIA_TYPE_VIDEO;
  const int flags =
      AV_OPT_FLAG_ENCODING_PARAM | (video ? AV_OPT_FLAG_VIDEO_PARAM : AV_OPT_FLAG_AUDIO_PARAM);
  OptionInfos out;
  OptionInfos shared = ListOptions(context.get(), flags);
  if (codec.priv_class != nullptr) {
    out = ListOptions(context->priv_data, flags);
    AddConstants(context->priv_data, flags, &shared);
  }
  Append(std::move(shared), &out);
  return out;
}

OptionInfos ListMuxerOptions(const AVOutputFormat& muxer) {
  AVFormatContext* raw = nullptr;
  if (avformat_alloc_output_context2(&raw, &muxer, nullptr, nullptr) < 0) return {};
  const AvPtr<AVFormatContext> context(raw);
  SetMuxerDefaults(*context);
  OptionInfos out;
  if (muxer.priv_class != nullptr) {
    out = ListOptions(context->priv_data, AV_OPT_FLAG_ENCODING_PARAM);
  }
  Append(ListOptions(context.get(), AV_OPT_FLAG_ENCODING_PARAM), &out);
  return out;
}

const OptionInfo* FindOption(const OptionInfos& options, std::string_view name) {
  const auto found = std::find_if(options.begin(), options.end(),
                                  [&](const OptionInfo& one) { return one.name == name; });
  return found == options.end() ? nullptr : &*found;
}

std::string ShownDefault(const OptionInfo& option) {
  const std::string& text = option.defaultValue;
  if (option.type == "flags") return WordsOf(option, ReadHex64(text));
  if (option.type == "string" || option.type == "bool") return text;
  const double value = ReadDouble(text);
  if (value == FF_PROFILE_UNKNOWN) return {};
  if (option.type == "option") {
    return ParseNumber(text).length == text.size() ? WordOf(option, value) : text;
  }
  if (MeansNotSet(value) || !IsWithin(option, value)) return {};
  return option.type == "double" ? RenderDouble(value) : text;
}

}  // namespace xv
