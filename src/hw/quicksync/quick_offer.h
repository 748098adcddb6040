#pragma once

#include <cstdint>
#include <string>

namespace xv {

// What Intel's runtimes offer for H.264.
struct QuickOffer {
  // Why nothing can be encoded, for a person: no runtime was found, none of its sessions works. ""
  // when it works.
  std::string problem;
  bool hardware = false;  // a session on a device
  bool software = false;  // a session of the software runtime
  // Of the hardware session, else of the software session. 0 and "" where there is none.
  int major = 0;  // version of the interface
  int minor = 0;
  std::uint32_t implementation = 0;  // as the session reports it
  std::string driver;                // the VA driver's name of itself

  bool Works() const { return problem.empty(); }
};

// Opens sessions in the way the encoder does, asks each for the surfaces that an encoder needs, and
// closes it. Takes as long as the driver needs to start, up to seconds. Any thread.
QuickOffer ProbeQuick();

}  // namespace xv
