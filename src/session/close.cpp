#include "session/close.h"

#include "codec/ffmpeg.h"

namespace xv {

Status FinishMain(Session& session) {
  if (!session.main.exists() || session.streams.empty()) return S_OK;
  Status result = session.main.WriteTrailer();
  result.Update(session.main.CloseFile());
  if (result.Failed() && session.growing) session.growing->Keep();
  // A packet that failed earlier has said why.
  if (result.Failed() && !session.stickyError().Failed()) {
    session.stats->Fail("closing", session.main.path, result);
  }
  return result;
}

void Cleanup(Session& session) {
  session.isOpen = false;
  if (session.second) {
    session.second->Finish();
    session.second->Wait();
    session.second.reset();
  }
  if (session.growing) session.growing->Close(session.main);
  session.growing.reset();
  session.queue.Clear();
  {
    const FFmpegGuard guard(FFmpegLock());
    session.streams.clear();
    (void)session.main.CloseFile();
    session.main.context.reset();
  }
  session.videoIndex = -1;
  session.video.codec = {};
  session.video.target = {};
  session.frameCount = 0;
  session.trackMaskOverride = kNoMaskOverride;
  session.audioBuffer.Reset(true);
  const Status wav = session.wav.Close();
  if (wav.Failed()) session.stats->Fail("wav", session.wavPath, wav);
  session.wavPath.clear();
  session.rawVideo = RawDump();
  session.rawAudio.clear();
}

}  // namespace xv
