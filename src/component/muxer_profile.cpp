#include "component/muxer_profile.h"

#include "base/text.h"

namespace xv {
namespace {

struct Profile {
  const char* name;
  const char* muxer;
  const char* option;  // of FFmpeg, null for none
  const char* value;
};

constexpr Profile kProfiles[] = {
    {"TS", "mpegts", nullptr, nullptr},
    {"DVB", "mpegts", "mpegts_flags", "+system_b"},
    {"1SEG", "mpegts", "mpegts_flags", "+system_b"},
    {"BD", "mpegts", "mpegts_m2ts_mode", "1"},
    {"BD_HDMV", "mpegts", "mpegts_m2ts_mode", "1"},
    {"PS", "vob", nullptr, nullptr},
    {"DVD", "dvd", nullptr, nullptr},
    {"HD_DVD", "vob", nullptr, nullptr},
};

constexpr AttributeRow kRows[] = {kMuxerProfile, kVbrMultiplex, kLowDelay, kInitialDelay};

// The other members of the family differ in tables that this multiplexer does not write.
const Profile& ProfileOf(const std::string& name) {
  for (const Profile& profile : kProfiles) {
    if (EqualsNoCase(profile.name, name)) return profile;
  }
  return kProfiles[0];
}

}  // namespace

std::span<const AttributeRow> MuxerAttributes() { return kRows; }

bool IsProfiledFormat(const std::string& format) {
  return EqualsNoCase(format, "mpeg_nablet") || EqualsNoCase(format, "mpeg_nablet_udp");
}

std::optional<std::string> ProfiledMuxer(XMLParse::CoXMLNode& options) {
  const std::string name = options.Get(kMuxerProfile);
  if (!name.empty() && WordIndex(name, kMuxerProfiles) < 0) return std::nullopt;
  const Profile& profile = ProfileOf(name);
  if (profile.option != nullptr) (void)options.SetTextIfAbsent(profile.option, profile.value);
  if (options.Get(kVbrMultiplex)) (void)options.RemoveAttribute("muxrate");
  if (options.Get(kLowDelay)) (void)options.SetText("pes_payload_size", "0");
  const std::int32_t delay = options.Get(kInitialDelay);
  if (delay > 0) (void)options.SetInteger("max_delay", std::int64_t{delay} * 1000);
  return profile.muxer;
}

}  // namespace xv
