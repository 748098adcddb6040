#include "xvfollow/recording_file.h"

#include <cstring>

#include "xvfollow/recording.h"

extern "C" {
#include <libavutil/intreadwrite.h>
}

namespace xvfollow {
namespace {

// A close removes the index ahead of a note without records: with the move done and no index, the
// writer died between the two, and the recording is whole as it lies there.
bool IsLeftOver(const xv::RecoveryReader& note, const std::string& recording) {
  xv::DataShift shift;
  return note.ReadShift(&shift).Ok() && shift.Moves() && shift.moved == shift.begin &&
         !note.HasRecords() && !IsGrowing(recording);
}

}  // namespace

RecordingFile::RecordingFile(const std::string& recording) {
  if (file_.OpenRead(recording).Failed()) {
    throw FollowError("The recording " + recording + " cannot be opened.");
  }
  noted_ = note_.Open(xv::RecoveryPath(recording)).Ok() && !IsLeftOver(note_, recording);
}

xv::Status RecordingFile::ReadShift(xv::DataShift* shift) const {
  return noted_ ? note_.ReadShift(shift) : xv::Status();
}

bool RecordingFile::HasMoved() const {
  xv::DataShift shift;
  if (ReadShift(&shift).Failed()) throw FollowError("The recovery note is broken.");
  return shift.Moves();
}

xv::Status RecordingFile::ReadAt(std::int64_t position, void* data, std::size_t bytes,
                                 std::size_t* read) const {
  xv::DataShift shift, now;
  RETURN_IF_FAILED(ReadShift(&now));
  do {
    shift = now;
    RETURN_IF_FAILED(xv::ReadShifted(file_, shift, position, data, bytes, read));
    // A writer at work may have moved on meanwhile.
    RETURN_IF_FAILED(ReadShift(&now));
  } while (now != shift);
  return xv::S_OK;
}

xv::Status RecordingFile::Size(std::int64_t* bytes) const {
  xv::DataShift shift;
  RETURN_IF_FAILED(ReadShift(&shift));
  if (!shift.Moves()) return file_.Size(bytes);
  *bytes = shift.end;
  return xv::S_OK;
}

// ISO/IEC 14496-12 4.2: boxes of a 32-bit size and a name; a size of 1 stands for one of 64 bits
// behind the name, 0 for the rest of the file.
bool HasWholeTables(const std::string& recording) {
  const RecordingFile file(recording);
  std::int64_t extent = 0;
  if (file.HasMoved() || file.Size(&extent).Failed()) return false;
  std::uint8_t head[16];
  std::size_t got = 0;
  for (std::int64_t at = 0; at < extent;) {
    if (file.ReadAt(at, head, sizeof(head), &got).Failed() || got < 8) return false;
    const bool large = AV_RB32(head) == 1;
    if (large && got < sizeof(head)) return false;
    const std::uint64_t size = large ? AV_RB64(head + 8) : AV_RB32(head);
    if (size < 8 || size > static_cast<std::uint64_t>(extent - at)) return false;
    if (std::memcmp(head + 4, "moov", 4) == 0) return true;
    at += static_cast<std::int64_t>(size);
  }
  return false;
}

}  // namespace xvfollow
