#include "lists/list_comparison.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/text.h"
#include "catalogue/encoder_names.h"
#include "catalogue/ffmpeg_options.h"
#include "contracts/av_handles.h"
#include "lists/selection.h"
#include "values/value_syntax.h"

namespace xv {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

namespace {

// What the session reads itself, under these names; FFmpeg may have options of the same name that
// mean something else.
constexpr const char* kOwnAttributes[] = {"b",
                                          "bt",
                                          "g",
                                          "size",
                                          "ar",
                                          "ar_type",
                                          "aspect",
                                          "top",
                                          "tag",
                                          "threads",
                                          "dc",
                                          "interlace",
                                          "v422",
                                          "dv_format",
                                          "scaling_quality",
                                          "ignore_pts",
                                          "split_channels",
                                          "merge_tracks",
                                          "scc_capture",
                                          "anc_capture",
                                          "raw_video",
                                          "raw_audio",
                                          "start_timecode",
                                          "create_folder",
                                          "maxrate",
                                          "minrate",
                                          "bufsize",
                                          "qs_version",
                                          "qs_impl",
                                          "muxer_profile",
                                          "initial_delay_msec",
                                          "low_delay",
                                          "vbr_multiplex"};

// The number that a default stands for: itself, or the value of a word, or the sum of words.
double NumberOf(const OptionInfo& option, const std::string& text) {
  double sum = 0;
  bool words = false;
  std::string rest = text;
  std::replace(rest.begin(), rest.end(), '+', ',');
  for (const std::string& word : ReadList(rest)) {
    for (const OptionConstant& constant : option.constants) {
      if (constant.name != word) continue;
      sum += static_cast<double>(constant.value);
      words = true;
      break;
    }
  }
  if (words) return sum;
  if (text == "auto") return -1;
  if (text.substr(0, 2) == "0x") return static_cast<double>(ReadHex64(text));
  return ReadDouble(text);
}

bool SameDefault(const OptionInfo& option, const std::string& text) {
  if (option.type.empty()) return option.defaultValue == text;
  const std::string shown = ShownDefault(option);
  if (option.type == "string" || shown.empty() || text.empty()) return shown == text;
  return NumberOf(option, option.defaultValue) == NumberOf(option, text);
}

bool SameBound(const std::optional<double>& bound, const std::string& text) {
  return bound.has_value() ? RenderDouble(*bound) == text : text.empty();
}

void Compare(const std::string& where, const ListedAttribute& entry, const OptionInfo& option,
             std::vector<std::string>* out) {
  const auto say = [&](const char* what, const std::string& listed, const std::string& reported) {
    out->push_back(fmt::format("{} {}: {} is \"{}\", FFmpeg says \"{}\"", where, entry.name, what,
                               listed, reported));
  };
  if (!SameDefault(option, entry.defaultValue)) {
    say("default", entry.defaultValue, ShownDefault(option));
  }
  if (option.type == "bool") return;
  const auto text = [](const std::optional<double>& bound) {
    return bound ? RenderDouble(*bound) : std::string();
  };
  if (option.unit.empty() && !SameBound(option.minimum, entry.minimum)) {
    say("min", entry.minimum, text(option.minimum));
  }
  if (option.unit.empty() && !SameBound(option.maximum, entry.maximum)) {
    say("max", entry.maximum, text(option.maximum));
  }
  const std::string words = option.Words();
  if (!words.empty() && words != entry.values) say("values", entry.values, words);
}

void CompareAll(const std::string& where, const std::vector<ListedAttribute>& entries,
                const OptionInfos& options, std::vector<std::string>* out) {
  for (const ListedAttribute& entry : entries) {
    if (WordIndex(entry.name, kOwnAttributes) >= 0) continue;
    if (const OptionInfo* option = FindOption(options, entry.name)) {
      Compare(where, entry, *option, out);
    } else {
      out->push_back(fmt::format("{} {}: FFmpeg has no such option", where, entry.name));
    }
  }
}

}  // namespace

std::vector<std::string> CompareWithFFmpeg(const CoXMLNode& list) {
  std::vector<std::string> out;
  for (const char* kind : {"video", "audio"}) {
    const XMLNodePtr codecs = list.FindChild(std::string(kind) + "_codecs");
    if (!codecs) continue;
    for (const XMLNodePtr& codec : codecs->Children()) {
      const std::string id = codec->Text("id");
      const AVCodec* encoder = id.empty() ? nullptr : FindEncoder(id);
      if (encoder == nullptr) continue;
      CompareAll(id, AttributesOfFormat(*codec), ListEncoderOptions(*encoder), &out);
    }
  }
  const XMLNodePtr formats = list.FindChild("formats");
  if (!formats) return out;
  for (const XMLNodePtr& format : formats->Children()) {
    const std::string id = format->Text("id");
    const AVOutputFormat* muxer = av_guess_format(id.c_str(), nullptr, nullptr);
    if (muxer != nullptr) {
      CompareAll(id, AttributesOfFormat(*format), ListMuxerOptions(*muxer), &out);
    }
  }
  return out;
}

}  // namespace xv
