#include "ffm/header_file.h"

#include "base/text.h"
#include "ffm/open_target.h"
#include "ffm/session.h"
#include "platform/file.h"
#include "platform/paths.h"

namespace xv {
namespace {

constexpr std::int64_t kHeaderFrames = 25;

// Their readers find all they need in the stream itself. "adtc" names no format; nothing is matched
// by it.
constexpr const char* kNoHeaderFile[] = {"mp3",     "ac3", "adtc",   "mpeg", "image2",
                                         "mxf_d10", "dv",  "mpegts", "vob",  "webm"};

}  // namespace

std::string HeaderPath(const std::string& target) { return AppendBeforeExtension(target, ".hdr"); }

bool WantsHeaderFile(const AVOutputFormat& format) {
  for (const char* name : kNoHeaderFile) {
    if (EqualsNoCase(format.name, name)) return false;
  }
  return true;
}

void OpenGrowingFiles(Session& session, const TargetPlan& plan) {
  const AVOutputFormat& format = *session.main.context->oformat;
  auto files = std::make_unique<GrowingFiles>();
  const std::string header = HeaderPath(plan.target);
  // One of an earlier recording would mislead a reader.
  (void)RemoveFile(header);
  if (WantsHeaderFile(format)) {
    auto second = std::make_unique<SecondOutput>(*session.stats);
    if (!AllocateOutput(second->output(), header, format.name).Failed()) {
      files->headerPath = header;
      session.second = std::move(second);
    }
  }
  const Status created = files->index.Create(plan.target, session.second != nullptr);
  if (created.Failed()) {
    session.stats->Fail("index", files->index.path(), created);
    session.second.reset();
    return;
  }
  session.growing = std::move(files);
}

void LocateGrowingPackets(Session& session) {
  if (!session.growing || !session.main.headerWritten) return;
  AVFormatContext& context = *session.main.context;
  const bool lowLevel = session.props->Bool("play_while_rec.low_level_io",
                                            EqualsNoCase(context.oformat->name, "mxf"));
  PacketLocator& locator = *session.growing->locator;
  const Status installed = locator.Install(context, session.main.sink, lowLevel);
  if (installed.Failed()) {
    locator.Remove();
    session.stats->Fail("index", session.growing->index.path(), installed);
    return;
  }
  session.main.locator = &locator;
}

void FinishHeaderFile(Session& session, std::int64_t frameNumber) {
  if (!session.growing || !session.second || frameNumber <= kHeaderFrames) return;
  if (session.second->EveryStreamHasPacket()) session.second->FinishAndRewrite();
}

void CloseGrowingFiles(Session& session) {
  if (!session.growing) return;
  GrowingFiles& files = *session.growing;
  session.main.locator = nullptr;
  files.locator->Remove();
  Status closed = files.index.failure();
  closed.Update(files.index.Close());
  if (closed.Failed()) session.stats->Fail("index", files.index.path(), closed);
  if (!files.keep) {
    if (!files.headerPath.empty()) (void)RemoveFile(files.headerPath);
    (void)RemoveFile(files.index.path());
  }
  session.growing.reset();
}

}  // namespace xv
