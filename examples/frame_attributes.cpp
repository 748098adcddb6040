// Attributes of single frames: every second one mirrored: frame_attributes clip.mp4
#include "grey_frames.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  xv::host::Writer writer;
  xv::HRESULT result = writer.Start(argv[1], "video::codec=libx264");
  for (int i = 0; i < 50 && xv::Succeeded(result); ++i) {
    xv::host::FrameBuilder frame = GreyFrame(i);
    if (i % 2 == 1) frame.Attributes("mirror=horz crop='0, 8'");
    result = writer.Put(std::move(frame));
  }
  return Finish(writer, result);
}
