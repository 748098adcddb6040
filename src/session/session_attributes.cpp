#include "session/session_attributes.h"

#include "base/text.h"
#include "captions/capture_options.h"
#include "contracts/av_handles.h"
#include "frames/converter_attributes.h"
#include "values/time_syntax.h"

namespace xv {
namespace {

constexpr AttributeRow kSession[] = {
    kFormat,
    kCreateFolder,
    kPlayWhileRec,
    kLowLevelIo,
    kRecovery,
    kSecondEncoder,
    kCaptureFile,
    kStartTimecode,
    kItsOffset,
    kSplitChannels,
    kMergeTracks,
    kWavPath,
    kDiskSpace,
    kVideoBuffers,
    kDropFrames,
    kTimeTolerance,
    kSoundTolerance,
    kIgnorePts,
    kEmbedCc,
    kEmbedPlacement,
    kRawVideo,
    kRawAudio,
    kRawAudioTrack,
    kSavePackets,
    kSdp,
    kIoTimeout,
    kMetadata,
    InNode(kScalingQuality, kSessionNode),
    kStrict,
    kProtocol,
    kMpegTimecode,
    kXfCodecs,
    kSccCapture,
    kSccPath,
    kCcMaxSkip,
    kAncCapture,
    kAncPath,
    kAncTags,
    kStopAtOnce,
    kThreads,
};

constexpr AttributeRow kSecond[] = {InNode(kFormat, kSecondNode), InNode(kProtocol, kSecondNode)};

}  // namespace

bool IsMuxerName(std::string_view text) {
  static constexpr const char* kOurs[] = {"", "null", "mov_dnxhd", "mpeg_nablet",
                                          "mpeg_nablet_udp"};
  return WordIndex(text, kOurs) >= 0 ||
         av_guess_format(std::string(text).c_str(), nullptr, nullptr) != nullptr;
}

bool IsStartTimecode(std::string_view text) {
  static constexpr const char* kWords[] = {"", "given", "auto", "disabled", "local_time"};
  return WordIndex(text, kWords) >= 0 || IsTimeCode(text);
}

bool IsStrictness(std::string_view text) {
  static constexpr const char* kWords[] = {"true",         "false",  "yes",       "no",
                                           "on",           "off",    "very",      "strict",
                                           "experimental", "normal", "unofficial"};
  const std::int64_t level = ReadInt(text);
  return WordIndex(text, kWords) >= 0 ||
         (level >= -2 && level <= 2 && text == std::to_string(level));
}

bool AllowsStandIns(const XMLParse::CoXMLNode& attributes) {
  static constexpr const char* kWords[] = {"false", "no", "off"};
  return WordIndex(attributes.Get(kStrict), kWords) >= 0;
}

std::string MuxerStrictness(const XMLParse::CoXMLNode& attributes) {
  static constexpr const char* kWords[] = {"", "true", "yes", "on", "false", "no", "off"};
  const std::string text = attributes.Get(kStrict);
  return WordIndex(text, kWords) >= 0 ? std::string() : text;
}

std::span<const AttributeRow> SessionAttributes() { return kSession; }
std::span<const AttributeRow> SecondOutputAttributes() { return kSecond; }

}  // namespace xv
