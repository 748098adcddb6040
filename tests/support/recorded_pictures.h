#pragma once

#include <string>

#include "support/media_probe.h"

// What tests of encoders ask of the pictures that came back.
namespace xv::test {

// `count` pictures of MakeFrame, in order; no presentation stamp twice.
void ExpectPicturesInOrder(const ProbedStream& video, int count);

// A sample of a picture with detail everywhere, that a wrong row, column or field would show. Two
// rows share their chroma, so that it is the same with half as many.
int DetailOf(int component, int x, int y);
// Of luma against DetailOf from line `top` on, in decibels.
double DetailQuality(const ProbedPlane& plane, int top);

// Captions of the test picture in its first five seconds, encoded by `codec`, as FFmpeg reads them.
std::string RecordedCaptions(const std::string& recorder, const std::string& codec);

}  // namespace xv::test
