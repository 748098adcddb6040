#pragma once

#include <cstdint>
#include <string>

#include "growing/recovery_note.h"
#include "platform/file.h"

namespace xvfollow {

// The bytes of a recording at the positions where they were first written, also while or after its
// close moves them to make room for tables, and where that was cut off. The recovery note tells of
// the move.
class RecordingFile {
 public:
  // FollowError when it cannot be opened.
  explicit RecordingFile(const std::string& recording);

  // FollowError when the note is broken.
  bool HasMoved() const;
  // Fewer bytes than asked only at the end.
  xv::Status ReadAt(std::int64_t position, void* data, std::size_t bytes, std::size_t* read) const;
  // Of what was written ahead of a move.
  xv::Status Size(std::int64_t* bytes) const;

 private:
  xv::Status ReadShift(xv::DataShift* shift) const;

  xv::File file_;
  xv::RecoveryReader note_;
  bool noted_;
};

// Whether a file of the mov and mp4 kind has all of its tables, so that it was closed, or is one of
// fragments.
bool HasWholeTables(const std::string& recording);

}  // namespace xvfollow
