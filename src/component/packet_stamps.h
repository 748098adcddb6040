#pragma once

#include <cstdint>

#include "contracts/av_handles.h"
#include "xvwriter/component.h"

namespace xv {

// Gives a packet that is passed on the time of its frame: `time`, 100 ns, which becomes the
// presentation stamp in ticks of `base`. A decoding stamp keeps its distance from it; where the
// packet had no presentation stamp both are the same.
void StampPassedPacket(std::int64_t time, AVRational base, XV_PACKET_TIME* packet);

// Moves known stamps back by `offset`, 100 ns.
void MoveStamps(std::int64_t offset, AVRational base, XV_PACKET_TIME* packet);

}  // namespace xv
