#pragma once

#include <cstdint>
#include <string>

#include "contracts/av_handles.h"
#include "growing/index.h"
#include "output/data_shift.h"

// The ".recovery" file beside a recording that has no proper end yet: its streams, how far its data
// has moved, and, where no index tells them, where its packets lie. docs/growing-files.md has the
// layout.
namespace xv {

// "a.mov" gives "a.mov.recovery".
std::string RecoveryPath(const std::string& target);

// Writes the note. One caller at a time (the output's lock).
class RecoveryNote final : public RecordFile, public ShiftLog {
 public:
  RecoveryNote() : RecordFile(RecordPace::kWithFlushes) {}
  // With the header written: the streams' time bases are those of the muxer.
  Status Create(const std::string& target, const AVFormatContext& context);
  void Note(const DataShift& shift) override;
};

// Reads a note, also while the recording goes on.
class RecoveryReader {
 public:
  // E_FAIL for a file that is no note, or whose head is not complete.
  Status Open(const std::string& path);
  // The file name of the recording that it was written for.
  const std::string& target() const { return target_; }
  const std::string& format() const { return format_; }  // the muxer's name
  // A context of the streams, for their parameters alone. Null where the note tells what does not
  // exist.
  AvPtr<AVFormatContext> MakeStreams() const;
  std::int64_t recordsAt() const { return recordsAt_; }
  bool HasRecords() const;
  // As far as it is now.
  Status ReadShift(DataShift* shift) const;

 private:
  Status ReadHead();

  File file_;
  std::string target_;
  std::string format_;
  std::string streams_;  // their lines
  std::int64_t recordsAt_ = 0;
};

}  // namespace xv
