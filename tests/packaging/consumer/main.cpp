#include <xvwriter/host.hpp>

// Records ten grey pictures into the file given.
int main(int count, char** arguments) {
  if (count != 2) return 2;
  xv::host::Writer writer;
  xv::HRESULT result = writer.Start(arguments[1], "video::codec=mpeg4");
  for (int i = 0; i < 10 && xv::Succeeded(result); ++i) {
    auto picture = std::make_shared<std::string>(320 * 240 * 2, '\x80');
    xv::host::FrameBuilder frame;
    frame.Video(xv::kFccUYVY, 320, 240, 25.0, picture->data(), picture->size(), picture);
    result = writer.Put(std::move(frame).Time(i * std::chrono::milliseconds(40)));
  }
  const xv::HRESULT stopped = writer.Stop();
  return xv::Failed(result) || stopped != xv::S_OK || XvVersionGet() != XV_VERSION_NUMBER ? 1 : 0;
}
