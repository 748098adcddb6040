#pragma once

#include <string>

namespace xv {

// What one adapter's NVENC makes of one codec. Without `listed` the other members mean nothing.
struct NvencCodecOffer {
  bool listed = false;  // the adapter encodes it
  bool lossless = false;
  bool fields = false;    // interlaced coding
  bool yuv444 = false;    // the adapter's ability; what this system feeds is 4:2:0 of 8 bits
  bool tenBits = false;   // likewise
  int mostBPictures = 0;  // in a row
  int leastWidth = 0;     // pixels; 0 where the driver does not tell
  int leastHeight = 0;
  int mostWidth = 0;
  int mostHeight = 0;
};

// What NVENC offers on an adapter.
struct NvencOffer {
  // Why nothing can be encoded, for a person: the library is missing, there is no device, the
  // device has no encoder, the driver refuses the interface's versions. "" when it works.
  std::string problem;
  std::string device;     // the adapter's name; "" where none was found
  std::string driverApi;  // newest version that the driver speaks, "12.1"; "" when it does not tell
  std::string sessionApi;  // version that sessions run on, "7.0"
  NvencCodecOffer h264;
  NvencCodecOffer hevc;

  bool Works() const { return problem.empty(); }
};

// Opens a session on adapter `adapter`, from 0, in the way the encoder does, asks and closes it.
// Takes as long as the driver needs to start, up to seconds. Any thread.
NvencOffer ProbeNvenc(int adapter);

}  // namespace xv
