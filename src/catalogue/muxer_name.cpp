#include "catalogue/muxer_name.h"

#include "base/text.h"
#include "catalogue/listed_options.h"
#include "contracts/av_handles.h"
#include "platform/paths.h"

namespace xv {
namespace {

// FFmpeg takes a format from the end of the name. That of a URL's counts where a file is sent, as
// by HTTP; a protocol for streams has its own.
bool TellsFormat(const std::string& target) {
  const bool stream = IsUrl(target, "rtp") || IsUrl(target, "rtsp") || IsUrl(target, "rtmp");
  return !stream && av_guess_format(nullptr, target.c_str(), nullptr) != nullptr;
}

}  // namespace

std::string MuxerName(const std::string& id) {
  if (EqualsNoCase(id, "null")) return {};
  return EqualsNoCase(id, "mov_dnxhd") ? "mov" : id;
}

std::string MuxerNameFor(const std::string& target, const std::string& id) {
  const std::string named = MuxerName(id);
  return named.empty() && !TellsFormat(target) ? FormatOfScheme(target) : named;
}

}  // namespace xv
