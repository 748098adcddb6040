#include "codec/former_names.h"

#include "values/value_syntax.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace xv {
namespace {

struct FormerName {
  const char* former;
  const char* present;
  const char* flag = nullptr;  // what was a switch is a flag of the present option
};

constexpr FormerName kFormerNames[] = {
    {"aq_mode", "aq-mode"},
    {"b_pyramid", "b-pyramid"},
    {"cmp_func", "cmp"},
    {"er", "error-resilient"},
    {"flags", "hls_flags"},
    {"pl_type", "hls_playlist_type"},
    {"predm", "prediction_order_method"},
    {"resend_headers", "mpegts_flags", "+resend_headers"},
    {"use_localtime", "strftime"},
    {"use_localtime_mkdir", "strftime_mkdir"},
};

bool Knows(void* object, const char* name) {
  return av_opt_find(object, name, nullptr, 0, AV_OPT_SEARCH_CHILDREN) != nullptr;
}

void Rename(const FormerName& name, AvDictionary& options) {
  const std::string value = options.Find(name.former);
  const char* const there = options.Find(name.present);
  if (name.flag == nullptr) {
    if (there != nullptr) return;
    options.Set(name.present, value.c_str());
  } else if (ReadBool(value)) {
    options.Set(name.present, (std::string(there == nullptr ? "" : there) + name.flag).c_str());
  }
  options.Remove(name.former);
}

}  // namespace

std::string_view PresentNameOf(std::string_view name) {
  for (const FormerName& one : kFormerNames) {
    if (name == one.former) return one.present;
  }
  return {};
}

void RenameFormerOptions(AvDictionary& options, void* object) {
  for (const FormerName& one : kFormerNames) {
    if (object == nullptr || options.Find(one.former) == nullptr) continue;
    if (!Knows(object, one.former) && Knows(object, one.present)) Rename(one, options);
  }
}

std::string NameInNode(const XMLParse::CoXMLNode& node, const std::string& key) {
  if (node.Has(key)) return key;
  for (const FormerName& one : kFormerNames) {
    if (key == one.present && node.Has(one.former)) return one.former;
  }
  return {};
}

}  // namespace xv
