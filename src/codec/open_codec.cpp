#include "codec/open_codec.h"

#include <algorithm>
#include <iterator>

#include "codec/ffmpeg.h"
#include "codec/ffmpeg_words.h"
#include "codec/former_names.h"
#include "codec/option_limits.h"
#include "codec/stream_attributes.h"
#include "props/nearest_name.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace xv {
namespace {

std::span<const AttributeRow> KnownAttributes(const StreamHolder& holder) {
  return holder.type == AVMEDIA_TYPE_VIDEO ? VideoAttributes() : AudioAttributes();
}

// What the encoder left in the dictionary and we do not read ourselves either.
void NoteUnused(StreamHolder& holder, const AvDictionary& left) {
  left.ForEach([&](const char* key, const char*) {
    const std::string name = NameInNode(*holder.node, key);
    if (name.empty()) return;  // ours, such as a derived "maxrate"
    if (FindRow(KnownAttributes(holder), name) == nullptr) holder.unusedOptions.push_back(name);
  });
}

void NoteRefused(StreamHolder& holder, const std::string& key, const std::string& why) {
  const std::string name = NameInNode(*holder.node, key);
  if (name.empty()) return;
  holder.unusedOptions.push_back(name);
  holder.refusals[name] = why;
}

// One attempt. On success the context moves into the holder. What the encoder would not stand is
// told, and taken out, anew each time: with fewer options it may be others.
bool TryOpen(StreamHolder& holder, const AVCodec& codec, AvPtr<AVCodecContext> context,
             AvDictionary options, const ContextBuilder& build) {
  if (!context) return false;
  MarkAsOurs(*context);
  Refusals fatal;
  if (!LimitsOf(codec).empty()) {
    const AvPtr<AVCodecContext> trial = build();
    if (!trial) return false;
    fatal = TakeOutFatalOptions(options, *trial);
  }
  const FFmpegWords words;
  const int result = avcodec_open2(context.get(), &codec, options.Address());
  if (result < 0) {
    holder.failure = words.Explain(codec.name, result);
    return false;
  }
  holder.failure.clear();
  NoteUnused(holder, options);
  for (const auto& [key, why] : fatal) NoteRefused(holder, key, why);
  holder.codec = std::move(context);
  return true;
}

std::vector<std::string> KeysOf(const AvDictionary& options) {
  std::vector<std::string> keys;
  options.ForEach([&](const char* key, const char*) { keys.emplace_back(key); });
  return keys;
}

std::vector<std::string> KeysMissing(const std::vector<std::string>& keys,
                                     const AvDictionary& options) {
  std::vector<std::string> missing;
  for (const std::string& key : keys) {
    if (options.Find(key.c_str()) == nullptr) missing.push_back(key);
  }
  return missing;
}

// Those of `options` whose values the encoder can read.
AvDictionary ReadableOptions(const AvDictionary& options, const AvPtr<AVCodecContext>& context) {
  AvDictionary readable;
  const FFmpegWords quiet;
  options.ForEach([&](const char* key, const char* value) {
    const int set =
        context ? av_opt_set(context.get(), key, value, AV_OPT_SEARCH_CHILDREN) : AVERROR(ENOMEM);
    if (set >= 0 || set == AVERROR_OPTION_NOT_FOUND) readable.Set(key, value);
  });
  return readable;
}

// Options whose value is a choice by name: without it the recording is another one.
constexpr std::string_view kChoices[] = {"preset", "profile", "tune"};

// The names that the option has; x264's and x265's presets and profiles are known to them alone.
std::vector<std::string> NamesOfChoice(const AVCodecContext& context, const std::string& key) {
  std::vector<std::string> names;
  if (key == "preset") {
    names = {"ultrafast", "superfast", "veryfast", "faster",   "fast",
             "medium",    "slow",      "slower",   "veryslow", "placebo"};
  }
  if (key == "profile") names = {"baseline", "main", "high", "high10", "high422", "high444"};
  void* object = const_cast<AVCodecContext*>(&context);
  void* holder = nullptr;
  const AVOption* option =
      av_opt_find2(object, key.c_str(), nullptr, 0, AV_OPT_SEARCH_CHILDREN, &holder);
  if (option == nullptr || option->unit == nullptr) return names;
  names.clear();
  const AVOption* word = nullptr;
  while ((word = av_opt_next(holder, word)) != nullptr) {
    const bool ofOption = word->unit != nullptr && std::string_view(word->unit) == option->unit;
    if (word->type == AV_OPT_TYPE_CONST && ofOption) names.emplace_back(word->name);
  }
  return names;
}

// What stands in for a choice that the encoder does not have is not what was asked for.
Status CheckChoices(StreamHolder& holder, const AVCodec& codec, const ContextBuilder& build,
                    const std::vector<std::string>& refused) {
  for (const std::string& key : refused) {
    const bool choice =
        std::find(std::begin(kChoices), std::end(kChoices), key) != std::end(kChoices);
    if (!choice || !holder.strict) continue;
    const AvPtr<AVCodecContext> context = build();
    if (!context) return E_OUTOFMEMORY;
    const std::string value = holder.node->Text(key);
    holder.failure = std::string(codec.name) + " has no " + key + " " + value +
                     DidYouMean(value, NamesOfChoice(*context, key));
    holder.codec.reset();
    return XV_E_NOT_FOUND;
  }
  return S_OK;
}

// Attempts with fewer options: without those that the encoder cannot read, then without one of the
// others, last without any. What was left out counts as unused.
//   E_FAIL          no attempt opens.
//   XV_E_NOT_FOUND  as CheckChoices.
template <class Attempt>
Status OpenWithFewerOptions(StreamHolder& holder, const AVCodec& codec, const AvDictionary& options,
                            const ContextBuilder& build, const Attempt& attempt) {
  const std::string why = holder.failure;
  const std::vector<std::string> all = KeysOf(options);
  std::vector<std::string> refused;
  const auto opens = [&](const AvDictionary& with) {
    if (!attempt(with)) return false;
    refused = KeysMissing(all, with);
    for (const std::string& key : refused) NoteRefused(holder, key, why);
    return true;
  };
  const AvDictionary readable = ReadableOptions(options, build());
  const std::vector<std::string> unreadable = KeysMissing(all, readable);
  RETURN_IF_FAILED(CheckChoices(holder, codec, build, unreadable));
  bool opened = !unreadable.empty() && opens(readable);
  for (const std::string& key : KeysOf(readable)) {
    if (opened) break;
    AvDictionary fewer(readable);
    fewer.Remove(key.c_str());
    opened = opens(fewer);
  }
  if (!opened && !opens(AvDictionary())) return E_FAIL;
  return CheckChoices(holder, codec, build, refused);
}

}  // namespace

Status OpenVideoCodec(StreamHolder& holder, const AVCodec& codec, const ContextBuilder& build,
                      AvDictionary options) {
  RenameFormerOptions(options, build().get());
  int cleared = 0;
  const auto attempt = [&](const AvDictionary& with) {
    AvPtr<AVCodecContext> context = build();
    if (context) context->flags &= ~cleared;
    return TryOpen(holder, codec, std::move(context), with, build);
  };
  if (attempt(options)) return S_OK;
  for (const int flag : {AV_CODEC_FLAG_INTERLACED_ME, AV_CODEC_FLAG_INTERLACED_DCT}) {
    const AvPtr<AVCodecContext> probe = build();
    if (!probe || (probe->flags & flag) == 0) continue;
    cleared |= flag;
    if (attempt(options)) return S_OK;
  }
  cleared = 0;
  const Status opened = OpenWithFewerOptions(holder, codec, options, build, attempt);
  if (opened != Status(E_FAIL)) return opened;
  cleared = AV_CODEC_FLAG_INTERLACED_ME | AV_CODEC_FLAG_INTERLACED_DCT;
  return OpenWithFewerOptions(holder, codec, options, build, attempt);
}

Status OpenAudioCodec(StreamHolder& holder, const AVCodec& codec, const ContextBuilder& build,
                      AvDictionary options) {
  RenameFormerOptions(options, build().get());
  if (TryOpen(holder, codec, build(), options, build)) return S_OK;
  for (const int channels : {6, 2, 1}) {
    AvPtr<AVCodecContext> context = build();
    if (!context || context->ch_layout.nb_channels <= channels) continue;
    av_channel_layout_uninit(&context->ch_layout);
    av_channel_layout_default(&context->ch_layout, channels);
    if (TryOpen(holder, codec, std::move(context), options, build)) return S_OK;
  }
  const auto attempt = [&](const AvDictionary& with) {
    return TryOpen(holder, codec, build(), with, build);
  };
  return OpenWithFewerOptions(holder, codec, options, build, attempt);
}

}  // namespace xv
