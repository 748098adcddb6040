#include "codec/option_dictionary.h"

#include "codec/former_names.h"

#include <unordered_set>

extern "C" {
#include <libavutil/opt.h>
}

namespace xv {
namespace {

using OptionNames = std::unordered_set<std::string>;

void AddOptionNames(const AVClass* kind, OptionNames* names) {
  const AVOption* option = nullptr;
  while ((option = av_opt_next(&kind, option)) != nullptr) {
    if (option->type != AV_OPT_TYPE_CONST) names->insert(option->name);
  }
  void* iterator = nullptr;
  while (const AVClass* child = av_opt_child_class_iterate(kind, &iterator)) {
    AddOptionNames(child, names);
  }
}

OptionNames AllOptionNames() {
  OptionNames names;
  AddOptionNames(avcodec_get_class(), &names);
  AddOptionNames(avformat_get_class(), &names);
  return names;
}

}  // namespace

bool IsOptionOfFFmpeg(const std::string& name) {
  static const OptionNames names = AllOptionNames();
  return names.count(name) > 0 || !PresentNameOf(name).empty();
}

void DictForFFmpeg(const XMLParse::CoXMLNode& node, std::span<const AttributeRow> ours,
                   AvDictionary& target, int flags) {
  for (const auto& [name, value] : node.Attributes()) {
    const AttributeRow* row = FindRow(ours, name);
    if (row != nullptr && !row->toFFmpeg) continue;
    if (!IsOptionOfFFmpeg(name)) continue;
    target.Set(name.c_str(), value.c_str(), flags);
  }
}

void KeepFlagsOfContext(AvDictionary& options) {
  const char* flags = options.Find("flags");
  if (flags == nullptr || *flags == '\0' || *flags == '+' || *flags == '-') return;
  const std::string added = std::string("+") + flags;
  options.Set("flags", added.c_str());
}

}  // namespace xv
