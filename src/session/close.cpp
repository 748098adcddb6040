#include "session/close.h"

#include "codec/ffmpeg.h"

namespace xv {
namespace {

void CloseOutputs(Outputs& outputs, Tracks& tracks) {
  if (outputs.second) {
    outputs.second->Finish();
    outputs.second->Wait();
    outputs.second.reset();
  }
  if (outputs.growing) outputs.growing->Close(outputs.main);
  outputs.growing.reset();
  // The last to go: it also tells where faststart has moved what the index names.
  if (outputs.recovery) outputs.recovery->Close(outputs.main);
  outputs.recovery.reset();
  const FFmpegGuard guard(FFmpegLock());
  tracks.Clear();
  (void)outputs.main.CloseFile();
  outputs.main.context.reset();
}

}  // namespace

Status FinishMain(Session& session) {
  Outputs& outputs = session.outputs;
  if (!outputs.main.exists() || session.tracks.holders.empty()) return S_OK;
  Status result = outputs.main.WriteTrailer();
  result.Update(outputs.main.CloseFile());
  if (result.Failed() && outputs.growing) outputs.growing->Keep();
  if (result.Failed() && outputs.recovery) outputs.recovery->Keep();
  // A packet that failed earlier has said why.
  if (result.Failed() && !session.failure.status().Failed()) {
    session.stats.Fail("closing", outputs.main.Explanation(), result);
  }
  return result;
}

void Cleanup(Session& session) {
  session.isOpen = false;
  session.queue.Abort();
  session.precedence.End();
  session.sound.Close();
  session.pictures.Close();
  CloseOutputs(session.outputs, session.tracks);
  session.plan.trackMaskOverride = kNoMaskOverride;
  HostSide& host = session.host;
  host.shown = nullptr;
  host.preparation.codec = {};
  host.preparation.target = {};
  const Status wav = host.wav.Close();
  if (wav.Failed()) session.stats.Fail("wav", host.wavPath, wav);
  host.wavPath.clear();
}

}  // namespace xv
