// A stream over RTP with the description that its receivers open: rtp_sdp rtp://host:5004 live.sdp
#include "grey_frames.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const auto sdp = xv::host::Attribute("sdp", argv[2]);
  if (!sdp) return 2;
  xv::host::Writer writer;
  // RTP carries one track. The description is written when the first frame has opened the stream.
  xv::HRESULT result =
      writer.Start(argv[1], "format=rtp video::codec=mpeg2video audio::enabled=false " + *sdp);
  if (xv::Succeeded(result)) result = PutFrames(writer, 50);
  return Finish(writer, result);
}
