#include "codec/open_codec.h"

#include "codec/ffmpeg.h"
#include "codec/stream_attributes.h"

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
    if (!holder.node->Has(key)) return;  // ours, such as a derived "maxrate"
    if (FindRow(KnownAttributes(holder), key) == nullptr) holder.unusedOptions.emplace_back(key);
  });
}

// One attempt. On success the context moves into the holder.
bool TryOpen(StreamHolder& holder, const AVCodec& codec, AvPtr<AVCodecContext> context,
             AvDictionary options) {
  if (!context) return false;
  const int result = avcodec_open2(context.get(), &codec, options.Address());
  if (result < 0) {
    holder.failure = std::string(codec.name) + ": " + DescribeAvError(result);
    return false;
  }
  holder.failure.clear();
  NoteUnused(holder, options);
  holder.codec = std::move(context);
  return true;
}

std::vector<std::string> KeysOf(const AvDictionary& options) {
  std::vector<std::string> keys;
  options.ForEach([&](const char* key, const char*) { keys.emplace_back(key); });
  return keys;
}

// Those of `options` whose values the encoder can read.
AvDictionary ReadableOptions(const AvDictionary& options, const AvPtr<AVCodecContext>& context) {
  AvDictionary readable;
  options.ForEach([&](const char* key, const char* value) {
    const int set =
        context ? av_opt_set(context.get(), key, value, AV_OPT_SEARCH_CHILDREN) : AVERROR(ENOMEM);
    if (set >= 0 || set == AVERROR_OPTION_NOT_FOUND) readable.Set(key, value);
  });
  return readable;
}

// Attempts with fewer options: without those that the encoder cannot read, then without one of the
// others, last without any. What was left out counts as unused.
template <class Attempt>
bool OpenWithFewerOptions(StreamHolder& holder, const AvDictionary& options,
                          const ContextBuilder& build, const Attempt& attempt) {
  const auto opens = [&](const AvDictionary& with) {
    if (!attempt(with)) return false;
    for (const std::string& key : KeysOf(options)) {
      const bool leftOut = with.Find(key.c_str()) == nullptr;
      if (leftOut && holder.node->Has(key)) holder.unusedOptions.push_back(key);
    }
    return true;
  };
  const AvDictionary readable = ReadableOptions(options, build());
  const std::vector<std::string> keys = KeysOf(readable);
  if (keys.size() < KeysOf(options).size() && opens(readable)) return true;
  for (const std::string& key : keys) {
    AvDictionary fewer(readable);
    fewer.Remove(key.c_str());
    if (opens(fewer)) return true;
  }
  return opens(AvDictionary());
}

}  // namespace

Status OpenVideoCodec(StreamHolder& holder, const AVCodec& codec, const ContextBuilder& build,
                      const AvDictionary& options) {
  int cleared = 0;
  const auto attempt = [&](const AvDictionary& with) {
    AvPtr<AVCodecContext> context = build();
    if (context) context->flags &= ~cleared;
    return TryOpen(holder, codec, std::move(context), with);
  };
  if (attempt(options)) return S_OK;
  for (const int flag : {AV_CODEC_FLAG_INTERLACED_ME, AV_CODEC_FLAG_INTERLACED_DCT}) {
    const AvPtr<AVCodecContext> probe = build();
    if (!probe || (probe->flags & flag) == 0) continue;
    cleared |= flag;
    if (attempt(options)) return S_OK;
  }
  cleared = 0;
  if (OpenWithFewerOptions(holder, options, build, attempt)) return S_OK;
  cleared = AV_CODEC_FLAG_INTERLACED_ME | AV_CODEC_FLAG_INTERLACED_DCT;
  return OpenWithFewerOptions(holder, options, build, attempt) ? Status(S_OK) : Status(E_FAIL);
}

Status OpenAudioCodec(StreamHolder& holder, const AVCodec& codec, const ContextBuilder& build,
                      const AvDictionary& options) {
  if (TryOpen(holder, codec, build(), options)) return S_OK;
  for (const int channels : {6, 2, 1}) {
    AvPtr<AVCodecContext> context = build();
    if (!context || context->ch_layout.nb_channels <= channels) continue;
    av_channel_layout_uninit(&context->ch_layout);
    av_channel_layout_default(&context->ch_layout, channels);
    if (TryOpen(holder, codec, std::move(context), options)) return S_OK;
  }
  const auto attempt = [&](const AvDictionary& with) {
    return TryOpen(holder, codec, build(), with);
  };
  return OpenWithFewerOptions(holder, options, build, attempt) ? Status(S_OK) : Status(E_FAIL);
}

Status OpenPseudoCodec(StreamHolder& holder) {
  const PseudoCodecRecord* record = FindPseudoCodec(static_cast<std::uint32_t>(holder.pseudo));
  holder.failure = std::string(record == nullptr ? "?" : record->description) +
                   ": the vendor's encoder library is not available";
  return XV_E_VENDOR_LIBRARY;
}

}  // namespace xv
