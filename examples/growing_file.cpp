// A recording that can be read while it grows: growing_file clip.mov
#include <filesystem>
#include <string>

#include "grey_frames.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  xv::host::Writer writer;
  xv::HRESULT result =
      writer.Start(argv[1], "video::codec=libx264 video::preset=ultrafast play_while_rec=true");
  if (xv::Succeeded(result)) result = PutFrames(writer, 100);
  // Beside clip.mov now stand clip.mov.idx, a record for each packet that is in the file, and
  // clip.hdr.mov; "xvfollow --follow --copy live.mov clip.mov" reads them. Both go at the stop.
  const std::string index = std::string(argv[1]) + ".idx";
  std::error_code none;
  std::printf("%ju bytes of index\n", std::uintmax_t{std::filesystem::file_size(index, none)});
  return Finish(writer, result);
}
