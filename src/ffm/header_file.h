#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ffm/growing_index.h"
#include "ffm/packet_locator.h"

namespace xv {

struct Session;
struct TargetPlan;

// What stands beside a recording that grows. The session owns it from open to cleanup.
struct GrowingFiles {
  GrowingIndex index;
  std::unique_ptr<PacketLocator> locator = MakePacketLocator(index);
  std::string headerPath;  // the ".hdr" file; "" when the format has none
  bool keep = false;       // the recording has no proper end: a reader needs the files
};

// "a.mov" gives "a.hdr.mov".
std::string HeaderPath(const std::string& target);
// The container needs a header of its own to be read.
bool WantsHeaderFile(const AVOutputFormat& format);

// Opens the side files; the header file becomes the session's second output, which a short
// container of the first packets is written to. Without an index there are no side files at all:
// the recording goes on.
void OpenGrowingFiles(Session& session, const TargetPlan& plan);
// With the main header written: records are made from here on.
void LocateGrowingPackets(Session& session);
// After each pass of the stages. Above frame 25, once every stream has had a packet, the header
// file is finished in the background.
void FinishHeaderFile(Session& session, std::int64_t frameNumber);
// At cleanup, after the second output and before the contexts go: the files live only while the
// recording does.
void CloseGrowingFiles(Session& session);

}  // namespace xv
