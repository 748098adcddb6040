#pragma once

#include <string>
#include <vector>

#include "pictures.h"
#include "xvwriter/host.hpp"

// A host with a camera: 1080p25 UYVY, a frame each 40 ms.
namespace xv::bench {

inline constexpr int kWidth = 1920, kHeight = 1080, kRate = 25;
inline constexpr std::size_t kPictureBytes = std::size_t{kWidth} * kHeight * 2;

// The frame of that number; its picture is one of `pictures`, of kPictureBytes each.
HRESULT PutFrame(host::Writer& writer, const std::vector<Picture>& pictures, int number);

struct Live {
  std::vector<double> puts;  // ms that each put took, in rising order; without the first one
  std::int64_t drops = 0;
  HRESULT put = S_OK;  // the first that was refused; nothing is put behind it
  HRESULT stop = S_OK;
};

// Puts `frames` frames in real time.
Live RunLive(const std::string& target, const std::string& attributes,
             const std::vector<Picture>& pictures, int frames);

// A line with the half, the 99th of a hundred and the worst of the puts.
void Print(const std::string& what, const Live& live);

}  // namespace xv::bench
