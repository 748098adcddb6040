// The same packets into a second container: second_output clip.mp4 copy.ts
#include "grey_frames.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  // A path may hold blanks and quotes: Attribute puts it into the quotes that it needs.
  const auto second = xv::host::Attribute("second_encoder", argv[2]);
  if (!second) return 2;
  xv::host::Writer writer;
  xv::HRESULT result = writer.Start(argv[1], "video::codec=libx264 audio::codec=aac " + *second);
  if (xv::Succeeded(result)) result = PutFrames(writer, 50);
  return Finish(writer, result);  // fails when the second output did
}
