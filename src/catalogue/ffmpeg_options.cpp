#include "catalogue/ffmpeg_options.h"

#include <limits>
#include <memory>

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/opt.h>
}

#include "base/text.h"

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
  if (av_opt_get(object, option.name, 0, &value) < 0 || value == nullptr) return {};
  std::string text = reinterpret_cast<const char*>(value);
  av_free(value);
  return text;
}

void SetBounds(const AVOption& option, OptionInfo* info) {
  if (option.type == AV_OPT_TYPE_STRING || !info->unit.empty()) return;
  if (option.min > std::numeric_limits<std::int32_t>::min()) info->minimum = option.min;
  if (option.max < std::numeric_limits<std::int32_t>::max()) info->maximum = option.max;
}

}  // namespace

std::vector<OptionInfo> ListOptions(void* object, int flags) {
  std::vector<OptionInfo> out;
  std::vector<const AVOption*> constants;
  for (const AVOption* option = av_opt_next(object, nullptr); option != nullptr;
       option = av_opt_next(object, option)) {
    if ((option->flags & flags) != flags) continue;
    if (option->type == AV_OPT_TYPE_CONST) {
      constants.push_back(option);
      continue;
    }
    OptionInfo info;
    info.name = option->name;
    info.help = Text(option->help);
    info.type = TypeOf(*option);
    info.defaultValue = CurrentValue(object, *option);
    if (info.type == "option" || info.type == "flags") info.unit = option->unit;
    SetBounds(*option, &info);
    out.push_back(std::move(info));
  }
  for (const AVOption* constant : constants) {
    if (constant->unit == nullptr) continue;
    for (OptionInfo& info : out) {
      if (info.unit != constant->unit) continue;
      info.constants.push_back({constant->name, Text(constant->help), constant->default_val.i64});
    }
  }
  return out;
}

}  // namespace xv
