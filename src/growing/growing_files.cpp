#include "growing/growing_files.h"

#include <algorithm>
#include <iterator>

#include "base/text.h"
#include "platform/whole_file.h"

extern "C" {
#include <libavutil/avstring.h>
}

namespace xv {
namespace {

constexpr std::int64_t kHeaderFrames = 25;

// Matroska's muxer keeps a cluster in memory until it is closed, by itself for up to five seconds.
constexpr char kClusterTime[] = "cluster_time_limit";
constexpr char kShortCluster[] = "500";  // ms

// Their readers find all they need in the stream itself. "adtc" names no format; nothing is matched
// by it.
constexpr const char* kNoHeaderFile[] = {"mp3",     "ac3", "adtc",   "mpeg", "image2",
                                         "mxf_d10", "dv",  "mpegts", "vob",  "webm"};

}  // namespace

bool WantsHeaderFile(std::string_view format) {
  return std::none_of(std::begin(kNoHeaderFile), std::end(kNoHeaderFile),
                      [&](const char* name) { return EqualsNoCase(format, name); });
}

void FinishHeaderFile(SecondOutput& headerFile, std::int64_t frameNumber) {
  if (frameNumber <= kHeaderFrames) return;
  if (headerFile.EveryStreamHasPacket()) headerFile.FinishAndRewrite();
}

std::unique_ptr<GrowingFiles> GrowingFiles::Open(const std::string& target,
                                                 const AVOutputFormat& format, OutputReport& report,
                                                 std::unique_ptr<SecondOutput>* headerFile) {
  std::unique_ptr<GrowingFiles> files(new GrowingFiles(report));
  const std::string header = HeaderPath(target);
  const bool free = !FileExists(header);
  if (!free) report.Fail("header file", header, XV_E_FILE_EXISTS);
  if (free && WantsHeaderFile(format.name)) {
    auto second = std::make_unique<SecondOutput>(report);
    if (!second->output().Allocate(header, format.name).Failed()) {
      files->headerPath_ = header;
      *headerFile = std::move(second);
    }
  }
  const Status created = files->index_.Create(target, *headerFile != nullptr);
  if (!created.Failed()) return files;
  report.Fail("index", files->index_.path(), created);
  headerFile->reset();
  return nullptr;
}

void GrowingFiles::HoldBackLess(const AVOutputFormat& format, AvDictionary& options) {
  const bool clusters = av_match_name(format.name, "matroska,webm") != 0;
  if (clusters && options.Find(kClusterTime) == nullptr) options.Set(kClusterTime, kShortCluster);
}

void GrowingFiles::Locate(Output& main, bool lowLevel) {
  if (!main.headerWritten) return;
  const Status installed = locator_->Install(*main.context, main.sink, lowLevel);
  if (installed.Failed()) {
    locator_->Remove();
    report_.Fail("index", index_.path(), installed);
    return;
  }
  main.writer = locator_.get();
}

void GrowingFiles::Close(Output& main) {
  main.writer = nullptr;
  locator_->Remove();
  Status closed = index_.failure();
  closed.Update(index_.Close());
  if (closed.Failed()) report_.Fail("index", index_.path(), closed);
  if (keep_) return;
  if (!headerPath_.empty()) (void)RemoveFile(headerPath_);
  (void)RemoveFile(index_.path());
}

}  // namespace xv
