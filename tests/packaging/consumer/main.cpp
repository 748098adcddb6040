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
    result = writer.Put(frame.Time(i * 400'000LL).Build());
  }
  writer.Stop();
  return xv::Failed(result) || !writer.LastError().empty() ? 1 : 0;
}
