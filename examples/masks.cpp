// Pictures with alpha out of a colour picture and a mask: masks title.mov
#include "grey_frames.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  constexpr int kWidth = 320, kHeight = 240;
  const auto colour = std::make_shared<std::vector<unsigned char>>(kWidth * kHeight * 4, 200);
  const auto alpha = std::make_shared<std::vector<unsigned char>>(kWidth * kHeight);
  for (std::size_t i = 0; i < alpha->size(); ++i) {
    (*alpha)[i] = static_cast<unsigned char>(i % kWidth * 255 / kWidth);  // 0 is transparent
  }
  xv::host::Writer writer;
  xv::HRESULT result = writer.Start(argv[1], "video::codec=qtrle");
  for (int i = 0; i < 25 && xv::Succeeded(result); ++i) {
    xv::host::FrameBuilder picture;
    picture.Video(xv::kFccRGB32, kWidth, -kHeight, 25.0, colour->data(), colour->size(), colour);
    const auto frame = std::move(picture).Time(i * kStep, (i + 1) * kStep).Build(&result);
    const auto mask =
        xv::host::FrameBuilder()
            .Video(xv::kFccRGB8, kWidth, kHeight, 25.0, alpha->data(), alpha->size(), alpha)
            .Build();
    if (xv::Succeeded(result)) result = xv::host::AddMask(frame, mask);
    if (xv::Succeeded(result)) result = writer.Put(frame);
  }
  return Finish(writer, result);
}
