#pragma once

#include <memory>

#include "growing/packet_locator.h"
#include "growing/recovery_note.h"
#include "output/output_report.h"

namespace xv {

// What a recording keeps for its rescue until it is closed. One caller at a time.
class Recovery {
 public:
  // With the main header written into a local file: the note is made, and filled with the places of
  // the packets where nothing else tells them; `indexed`: an index does. Null for a container that
  // can be read without its tables, and, with a report, where the note cannot be written.
  static std::unique_ptr<Recovery> Open(Output& main, bool indexed, OutputReport& report);

  // The recording has no proper end.
  void Keep() { keep_ = true; }
  // Ahead of the main context, behind its file.
  void Close(Output& main);

 private:
  explicit Recovery(OutputReport& report) : report_(report) {}
  void Locate(Output& main);
  void Tell(Status failure);

  OutputReport& report_;
  RecoveryNote note_;
  std::unique_ptr<PacketLocator> locator_;  // null where an index has the packets
  bool keep_ = false;
};

}  // namespace xv
