#include "codec/stream_attributes.h"

#include <algorithm>

#include "base/text.h"
#include "contracts/av_handles.h"
#include "frames/colour_choice.h"
#include "frames/converter_attributes.h"
#include "hw/pseudo_codecs.h"

namespace xv {
namespace {

constexpr AttributeRow kVideo[] = {
    InNode(kCodec, kVideoNode),
    InNode(kCodecId, kVideoNode),
    InNode(kEnabled, kVideoNode),
    InNode(kBitrate, kVideoNode),
    kGopSize,
    InNode(kB, kVideoNode),
    kG,
    kAspect,
    kDisplayAspect,
    kAspectFit,
    kVideoSize,
    kSize,
    kVideoFormat,
    kDvFormat,
    kD10,
    kTop,
    kInterlace,
    kV422,
    kUseVpp,
    kSlices,
    kEncoderThreads,
    kIntraDc,
    kTag,
    kVTag,
    InNode(kStreamId, kVideoNode),
    kGopTimecode,
    kScalingQuality,
    kScalingSiting,
    kMatrix,
    kCrop,
    kRotate,
    kMirror,
    InNode(kStreamMetadata, kVideoNode),
};

constexpr AttributeRow kAudio[] = {
    InNode(kCodec, kAudioNode),
    InNode(kCodecId, kAudioNode),
    InNode(kEnabled, kAudioNode),
    InNode(kBitrate, kAudioNode),
    InNode(kB, kAudioNode),
    kSampleRate,
    kAr,
    kAc,
    InNode(kStreamId, kAudioNode),
    kTrackStreamId,
    kOffset,
    kTrackWavPath,
    InNode(kStreamMetadata, kAudioNode),
};

// Digits at the start of a text, above 0 and within a picture's sides; they are cut off.
bool TakeSide(std::string_view* text) {
  const ParsedInteger number = ParseInteger(*text);
  const bool digits = !text->empty() && text->front() >= '1' && text->front() <= '9';
  if (!digits || number.value > 32767) return false;
  text->remove_prefix(number.length);
  return true;
}

// Two numbers with one of `separators` between them, and `letters` behind.
bool IsPair(std::string_view text, std::string_view separators, std::string_view letters) {
  if (!TakeSide(&text) || text.empty() || separators.find(text.front()) == separators.npos) {
    return false;
  }
  text.remove_prefix(1);
  return TakeSide(&text) && text.find_first_not_of(letters) == text.npos;
}

}  // namespace

bool IsEncoderName(std::string_view text) {
  static constexpr const char* kOurs[] = {"", "null", "wav_file", "packets"};
  return WordIndex(text, kOurs) >= 0 || PseudoCodecFromText(text) != PseudoCodec::kNone ||
         avcodec_find_encoder_by_name(std::string(text).c_str()) != nullptr;
}

bool IsPictureSize(std::string_view text) {
  return text.empty() || IsPair(text, "xX*:", "ITBPitbp");
}

bool IsAspectRatio(std::string_view text) { return text.empty() || IsPair(text, ":/x", ""); }

bool IsDisplayAspect(std::string_view text) {
  const ParsedNumber number = ParseNumber(text);
  return IsAspectRatio(text) ||
         (number.length == text.size() && number.value > 0 && number.value < 100);
}

bool IsCodecTag(std::string_view text) { return text.empty() || text.size() == 4; }

bool IsThreadCount(std::string_view text) {
  const ParsedNumber number = ParseNumber(text);
  const bool whole = number.length == text.size() && number.value == std::floor(number.value);
  return EqualsNoCase(text, "auto") ||
         (!text.empty() && whole && number.value >= 0 && number.value <= kMostEncoderThreads);
}

bool IsInterlace(std::string_view text) {
  static constexpr const char* kWords[] = {"auto", "progressive", "top", "bottom"};
  return ReadTriState(text) >= 0 || WordIndex(text, kWords) >= 0;
}

bool IsAmount(std::string_view text) {
  const std::size_t length = ParseNumber(text).length;
  const std::string_view unit = text.substr(length);
  return text.empty() ||
         (length > 0 && unit.size() < 3 && unit.find_first_not_of("kKMGTiB") == unit.npos);
}

std::span<const AttributeRow> VideoAttributes() { return kVideo; }
std::span<const AttributeRow> AudioAttributes() { return kAudio; }

}  // namespace xv
