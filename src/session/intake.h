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

// Counts sound and pictures for which the first frame left no track.
void CountLeftOut(const SessionPlan& plan, const EncoderInput& input, SessionStats& stats);

// Hands the frame's sound to the audio stage; a frame of sound alone without a time follows the one
// before. S_FALSE when there is none to take, which the stage learns too.
Status TakeSound(AudioStage& sound, const EncoderInput& input, const XV_AUD_PROPS& format);

// The frame has a picture for this track.
bool HasPicture(const StreamHolder& holder, const EncoderInput& input);

// Makes the picture that the encoder takes, and keeps the frame that carries its captions where
// they are embedded. `repeats` gets the pictures that are missing ahead of it.
//   S_FALSE        nothing to encode; a skipped frame counts as dropped.
//   E_NOINTERFACE  the frame has no IXfFrame view.
Status PreparePicture(VideoPreparation& preparation, const EncoderInput& input,
                      const StageOptions& options, SessionStats& stats, Ref<XvFrameFFM>* prepared,
                      std::int64_t* missing);

// Waits for room in the queue, or drops the frame where that is asked for. S_FALSE: dropped.
//   E_UNEXPECTED   the queue has ended.
Status AwaitRoom(VideoQueue& queue, const PutPace& pace, const StageOptions& options,
                 SessionStats& stats);

// The container has no place for times, or a number for each picture: one that is missing shortens
// the recording.
bool CountsPictures(const AVOutputFormat& format);

// What becomes of `missing` empty ticks. A source's gap is filled with repeats of the picture ahead
// of it. Where pictures are dropped it is this writer's own: it stays a gap in the stamps, or, in a
// container that `counts`, takes the repeats that the queue has room for.
struct GapFill {
  std::int64_t now = 0;   // repeats
  std::int64_t owed = 0;  // ticks that are made up for at the end
};
GapFill PlanGap(std::int64_t missing, const StageOptions& options, bool counts,
                const VideoQueue& queue);

// Repeats of the last picture at the end of the recording, which then lasts as long as its frames
// did. They stand on the last ticks.
std::int64_t RepeatsAtTheEnd(const PtsClock& clock, std::int64_t owed, const StageOptions& options,
                             bool counts);

}  // namespace xv
