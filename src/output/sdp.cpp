#include "output/sdp.h"

#include <cstring>

#include "platform/folders.h"
#include "platform/paths.h"
#include "platform/whole_file.h"

namespace xv {
namespace {

constexpr int kMostSdpBytes = 4096;

}  // namespace

std::string DefaultSdpPath() { return RuntimeFolder() + "/Config.sdp"; }

void WriteSdp(const Output& output, const std::string& path, OutputReport& report) {
  if (path.empty() || !IsUrl(output.path, "rtp")) return;
  char text[kMostSdpBytes] = {};
  AVFormatContext* context = output.context.get();
  Status result = E_FAIL;
  if (av_sdp_create(&context, 1, text, sizeof(text)) >= 0) {
    // Through a temporary and a rename: never through a link that somebody has laid there.
    result = ReplaceWholeFile(path, text, std::strlen(text), LinkPolicy::kReplace);
  }
  if (result.Failed()) report.Fail("sdp", path, result);
}

}  // namespace xv
