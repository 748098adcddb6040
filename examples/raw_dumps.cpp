// The packets without a container, beside the recording: raw_dumps clip.mp4 clip.h264 clip.mp2
#include "grey_frames.h"

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const auto video = xv::host::Attribute("raw_video", argv[2]);
  const auto audio = xv::host::Attribute("raw_audio", argv[3]);  // raw_audio.1 for the second track
  if (!video || !audio) return 2;
  xv::host::Writer writer;
  xv::HRESULT result =
      writer.Start(argv[1], "video::codec=libx264 audio::codec=mp2 " + *video + " " + *audio);
  if (xv::Succeeded(result)) result = PutFrames(writer, 50);
  return Finish(writer, result);
}
