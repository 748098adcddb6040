#include "component/trace_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "base/text.h"
#include "media/validity.h"

namespace xv {
namespace {

constexpr char kNoStamp[] = "none";
constexpr const char* kMediaTypes[] = {"Empty", "Video", "Audio", "Subtitles", "Data"};
constexpr const char* kFieldOrders[] = {"A", "iT", "iB", "p", "INV", "OF", "ER"};
constexpr const char* kAspectFits[] = {"", "I", "L", "C", "N"};

template <std::size_t N>
const char* Clamped(const char* const (&names)[N], std::uint32_t index) {
  return names[std::min<std::size_t>(index, N - 1)];
}

const char* MediaTypeName(std::uint32_t type) {
  return type < std::size(kMediaTypes) ? kMediaTypes[type] : "###Err###(eXfMediaType)";
}

template <class... Args>
char* Print(char* buffer, fmt::format_string<Args...> format, Args&&... args) {
  *fmt::format_to_n(buffer, kTraceText - 1, format, std::forward<Args>(args)...).out = '\0';
  return buffer;
}

// A stamp as its number; one that is not known is -1.
std::int64_t Number(std::int64_t stamp) { return stamp == kNoTime ? -1 : stamp; }

std::int64_t Difference(std::int64_t stamp, std::int64_t base) {
  return stamp == kNoTime ? kNoTime : stamp - base;
}

// A maker's record need not end its text.
std::string TagOf(const XV_STREAM_INFO& info) {
  const std::u16string_view all(info.tag, std::size(info.tag));
  return Utf8FromUtf16(all.substr(0, all.find(u'\0')));
}

std::string Aspect(const XV_VID_PROPS& vid) {
  if (vid.nAspectX == 0 || vid.nAspectY == 0) return {};
  return fmt::format(" ({}:{}{})", vid.nAspectX, vid.nAspectY,
                     Clamped(kAspectFits, vid.eAspectFit));
}

// Letters of the layout; a number that is none has dots.
std::string Letters(std::uint32_t fourcc) {
  std::string text;
  for (int shift = 0; shift < 32; shift += 8) {
    const auto letter = static_cast<char>(fourcc >> shift & 0xFF);
    text.push_back(letter >= ' ' && letter <= '~' ? letter : '.');
  }
  return text;
}

std::string Binary(std::uint32_t value) {
  std::string digits;
  do {
    digits.insert(digits.begin(), static_cast<char>('0' + (value & 1)));
    value >>= 1;
  } while (value != 0);
  return digits;
}

}  // namespace

char* FormatTime(std::int64_t stamp, char* buffer) {
  using Limits = std::numeric_limits<std::int64_t>;
  if (buffer == nullptr) return nullptr;
  if (stamp == Limits::min() || stamp == Limits::max()) return Print(buffer, "{}", kNoStamp);
  constexpr std::int64_t kGroup = 1'000'000'000;
  const std::int64_t milliseconds = stamp / 10'000;
  const auto rest = static_cast<unsigned>(std::abs(stamp % 10'000));
  const auto ms = static_cast<unsigned>(std::abs(milliseconds % 1000));
  const std::int64_t seconds = milliseconds / 1000;
  const auto group = static_cast<int>(seconds / kGroup);
  const auto s = static_cast<int>(seconds % kGroup);
  const std::string tail = rest == 0 ? std::string() : fmt::format("'{:04}", rest);
  if (group != 0) {
    return Print(buffer, "{}{:09}.{:03}{}", group, std::abs(s), ms, tail);
  }
  // Zero seconds have no sign.
  if (stamp < 0 && s == 0) return Print(buffer, "-0.{:03}{}", ms, tail);
  return Print(buffer, "{}.{:03}{}", s, ms, tail);
}

char* FormatStreamInfo(const XV_STREAM_INFO* info, char* buffer) {
  if (info == nullptr) return Print(buffer, "XV_STREAM_INFO(NULL)");
  char first[kTraceText];
  Print(first, "{} tag:{} cbExt:{} time_base:{}/{} bits:{} bitrate:{}", MediaTypeName(info->eType),
        TagOf(*info), info->cbExtra, info->nTimeBaseNum, info->nTimeBaseDen, info->nBits,
        info->nBitrate);
  if (info->eType == eXfMT_Video) {
    return Print(buffer, "{} {}x{}@{:.3f} ({}:{})", first, info->nWidth, info->nHeight,
                 info->dblRate, info->nAspectX, info->nAspectY);
  }
  if (info->eType == eXfMT_Audio) {
    return Print(buffer, "{} {}ch {}Hz block:{}", first, info->nChannels, info->nSamplesPerSec,
                 info->nBlock);
  }
  return Print(buffer, "{}", first);
}

char* FormatPacket(IXfPacket* packet, char* buffer, bool withStream) {
  if (packet == nullptr) return Print(buffer, "IXfPacket=NULL");
  XV_PACKET_TIME time{};
  (void)packet->PacketTimeGet(&time);
  XV_STREAM_INFO info{};
  char stream[kTraceText] = "";
  if (withStream) {
    const bool known = Succeeded(packet->PacketStreamInfoGet(&info));
    FormatStreamInfo(known ? &info : nullptr, stream);
  }
  constexpr std::int64_t kSegment = 0;  // all packets count from one start
  char segment[kTraceText];
  char pts[kTraceText];
  char duration[kTraceText];
  return Print(buffer,
               "Stm:{} Seg:{} Pts:{}({}) Dts:{} Dur:{}({}) Size:{} Flags:{:04X} Idx:{} Order:{} "
               "Key:{} Pos:{} [{}]",
               time.nStream, FormatTime(kSegment, segment),
               FormatTime(Difference(time.pts, kSegment), pts), Number(time.pts), Number(time.dts),
               FormatTime(time.nDuration, duration), time.nDuration, time.cbSize, time.nFlags,
               time.nIndex, time.nOrder, time.nKey, time.nPosition, stream);
}

char* FormatVideoProps(const XV_VID_PROPS* vid, char* buffer) {
  if (vid == nullptr || !VideoPropsValid(*vid, true)) {
    const bool disabled = vid != nullptr && vid->eVideoFormat == eXvVF_Disabled;
    return Print(buffer, "{}", disabled ? "disabled" : "");
  }
  return Print(buffer, "{}({})x{}({})@{:.3f}{}{}", vid->nWidth, vid->nRowBytes, vid->nHeight,
               Letters(vid->fccColor), vid->dblRate, Clamped(kFieldOrders, vid->eInterlace),
               Aspect(*vid));
}

char* FormatAudioProps(const XV_AUD_PROPS* aud, char* buffer) {
  if (aud == nullptr || !AudioPropsValid(*aud, true)) {
    const bool disabled = aud != nullptr && aud->nChannels < 0;
    return Print(buffer, "{}", disabled ? "disabled" : "");
  }
  const bool integer = aud->nBitsPerSample > 0;
  return Print(buffer, "{},{},{}{}:{}", aud->nSamplesPerSec, aud->nChannels,
               std::abs(aud->nBitsPerSample), integer ? "i" : "f", Binary(aud->nTrackMask));
}

}  // namespace xv
