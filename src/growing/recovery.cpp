#include "growing/recovery.h"

#include "base/status_words.h"
#include "codec/ffmpeg.h"
#include "platform/whole_file.h"

extern "C" {
#include <libavutil/avstring.h>
}

namespace xv {
namespace {

// Only the tables at the end tell where a packet begins and which codec it is of.
bool NeedsItsTables(const AVOutputFormat& format) {
  return av_match_name(format.name, "mov,mp4,ipod,psp,3gp,3g2,f4v") != 0;
}

}  // namespace

std::unique_ptr<Recovery> Recovery::Open(Output& main, bool indexed, OutputReport& report) {
  if (!indexed && !NeedsItsTables(*main.format)) return nullptr;
  std::unique_ptr<Recovery> recovery(new Recovery(report));
  const Status created = recovery->note_.Create(main.path, *main.context);
  if (created.Failed()) {
    recovery->Tell(created);
    return nullptr;
  }
  main.sink.SetShiftLog(&recovery->note_);
  if (!indexed) recovery->Locate(main);
  return recovery;
}

// The recording lacks nothing: its status stays.
void Recovery::Tell(Status failure) {
  report_.Fail("recovery note", note_.path() + ": " + StatusWords(failure), S_OK);
}

void Recovery::Locate(Output& main) {
  locator_ = MakePacketLocator(note_);
  const Status installed = locator_->Install(*main.context, main.sink, false);
  if (installed.Failed()) {
    locator_->Remove();
    Tell(installed);
    return;
  }
  main.writer = locator_.get();
}

void Recovery::Close(Output& main) {
  main.sink.SetShiftLog(nullptr);
  if (locator_) {
    main.writer = nullptr;
    locator_->Remove();
  }
  Status closed = note_.failure();
  closed.Update(note_.Close());
  if (closed.Failed()) Tell(closed);
  if (!keep_) (void)RemoveFile(note_.path());
}

}  // namespace xv
