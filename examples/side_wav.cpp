// The sound as it came, beside the recording: side_wav clip.mp4 clip.wav
#include "grey_frames.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const auto wav = xv::host::Attribute("wav_path", argv[2]);
  if (!wav) return 2;
  xv::host::Writer writer;
  // The WAV file has the 32-bit floats that were pushed, the mp4 their AAC.
  xv::HRESULT result = writer.Start(argv[1], "audio::codec=aac " + *wav);
  if (xv::Succeeded(result)) result = PutFrames(writer, 50);
  return Finish(writer, result);
}
