#include "ffm/sdp.h"

#include <cstring>

#include "platform/file.h"
#include "platform/folders.h"
#include "platform/paths.h"

namespace xv {
namespace {

constexpr int kMostSdpBytes = 4096;

}  // namespace

void WriteSdp(Session& session) {
  if (!IsUrl(session.main.path, "rtp")) return;
  const std::string path = session.props->Text("sdp", RuntimeFolder() + "/Config.sdp");
  if (path.empty()) return;
  char text[kMostSdpBytes] = {};
  AVFormatContext* context = session.main.context.get();
  Status result = E_FAIL;
  if (av_sdp_create(&context, 1, text, sizeof(text)) >= 0) {
    // Through a temporary and a rename: never through a link that somebody has laid there.
    result = ReplaceWholeFile(path, text, std::strlen(text));
  }
  if (result.Failed()) session.stats->Fail("sdp", path, result);
}

}  // namespace xv
