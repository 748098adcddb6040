#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "growing/index.h"
#include "growing/packet_locator.h"
#include "growing/side_files.h"
#include "output/output_report.h"
#include "output/second_output.h"

namespace xv {

// The container of that name needs its own header to be read.
bool WantsHeaderFile(std::string_view format);
// Above frame 25, once every stream has had a packet, the header file is finished in the
// background.
void FinishHeaderFile(SecondOutput& headerFile, std::int64_t frameNumber);

// What stands beside a recording that grows: the index, and for most containers a header file, a
// short container of the first packets. One caller at a time.
class GrowingFiles {
 public:
  // Opens the side files of `target`, once RemoveLeftSideFiles has been there. The header file
  // becomes `*headerFile`, the second output of the session; null where the format has none, and,
  // with a report, where somebody else's file has its name. Without an index there are no side
  // files at all: null, both, the failure is reported and the recording goes on.
  static std::unique_ptr<GrowingFiles> Open(const std::string& target, const AVOutputFormat& format,
                                            OutputReport& report,
                                            std::unique_ptr<SecondOutput>* headerFile);
  // Ahead of the header: a muxer that would hold packets back for seconds passes them on sooner,
  // unless `options` say otherwise.
  static void HoldBackLess(const AVOutputFormat& format, AvDictionary& options);
  // With the main header written: records are made from here on. `lowLevel` see PacketLocator.
  void Locate(Output& main, bool lowLevel);
  // The recording has no proper end: a reader needs the files.
  void Keep() { keep_ = true; }
  // After the second output, ahead of the main context: the files live only while the recording
  // does, unless they are kept.
  void Close(Output& main);

 private:
  explicit GrowingFiles(OutputReport& report) : report_(report) {}

  OutputReport& report_;
  GrowingIndex index_;
  std::unique_ptr<PacketLocator> locator_ = MakePacketLocator(index_);
  std::string headerPath_;  // "" when the format has none
  bool keep_ = false;
};

}  // namespace xv
