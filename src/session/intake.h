#pragma once

#include "base/ref.h"
#include "base/status.h"
#include "contracts/encoder_base.h"
#include "session/session.h"

// What happens to a frame of the host ahead of the encoders, step by step. All of it runs on the
// host's thread.
namespace xv {

// Writes the sound as it came into the side WAV file, where there is one, and into a further one
// once its format changes. A failure is counted and told, the recording goes on.
void WriteSideWav(HostSide& host, const EncoderInput& input, SessionStats& stats);

// Looks at each thirtieth frame whether the disk of a local output has less room than `least`
// bytes.
bool DiskTooFull(HostSide& host, const Output& main, std::int64_t least);

// Hands the frame's sound to the audio stage. S_FALSE when there is none to take.
Status TakeSound(AudioStage& sound, const EncoderInput& input, const XV_AUD_PROPS& format);

// The frame has a picture for this track.
bool HasPicture(const StreamHolder& holder, const EncoderInput& input);

// Makes the picture that the encoder takes, and keeps the frame that carries its captions where
// they are embedded. `repeats` gets the pictures that are missing ahead of it.
//   S_FALSE        nothing to encode; a skipped frame counts as dropped.
//   E_NOINTERFACE  the frame has no IXfFrame view.
Status PreparePicture(VideoPreparation& preparation, const EncoderInput& input,
                      const StageOptions& options, SessionStats& stats, Ref<XvFrameFFM>* prepared,
                      int* repeats);

// Waits for room in the queue, or drops the frame where that is asked for. S_FALSE: dropped.
//   E_UNEXPECTED   the queue has ended.
Status AwaitRoom(VideoQueue& queue, const StageOptions& options, SessionStats& stats);

// Queues a picture, ahead of it as many repeats as are missing.
void Enqueue(VideoQueue& queue, const Ref<XvFrameFFM>& frame, int repeats, SessionStats& stats);

}  // namespace xv
