// What the examples record: 640x360 pictures of fading grey, 25 a second, with a tone of 1 kHz.
#pragma once

#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "xvwriter/host.hpp"

inline constexpr std::chrono::milliseconds kStep(40);

// Frame `number`. Picture and sound are made here and held by the frame.
inline xv::host::FrameBuilder GreyFrame(int number) {
  auto picture = std::make_shared<std::vector<unsigned char>>(640 * 360 * 2, 128);
  for (std::size_t i = 1; i < picture->size(); i += 2) {
    (*picture)[i] = static_cast<unsigned char>(16 + 4 * (number % 50));
  }
  std::vector<float> tone(48000 / 25);  // a whole number of periods
  for (std::size_t i = 0; i < tone.size(); ++i) {
    tone[i] = 0.25f * std::sin(static_cast<float>(i) * 2 * 3.14159265f * 1000 / 48000);
  }
  xv::host::FrameBuilder frame;
  frame.Video(xv::kFccUYVY, 640, 360, 25.0, picture->data(), picture->size(), picture);
  frame.AudioPlanes(48000, -32, {tone.data(), tone.data()}, tone.size());  // left and right
  frame.Time(number * kStep, (number + 1) * kStep);
  return frame;
}

// Puts `count` frames. The first status that is a failure, else S_OK.
inline xv::HRESULT PutFrames(xv::host::Writer& writer, int count) {
  xv::HRESULT result = xv::S_OK;
  for (int i = 0; i < count && xv::Succeeded(result); ++i) result = writer.Put(GreyFrame(i));
  return result;
}

// Stops the recording, says how it went and gives the exit status.
inline int Finish(xv::host::Writer& writer, xv::HRESULT result) {
  const xv::HRESULT stopped = writer.Stop();
  if (xv::Succeeded(result)) result = stopped;
  std::printf("%s %s\n", xv::host::Describe(result).c_str(), writer.LastError().c_str());
  return result == xv::S_OK ? 0 : 1;
}
