#pragma once

#include <cstdint>

#include "base/status.h"
#include "platform/file.h"

namespace xv {

// Data that moves towards the end of its file, to make room for tables ahead of it. All numbers are
// bytes; positions are those before the move.
struct DataShift {
  std::int64_t begin = 0;
  std::int64_t end = 0;
  std::int64_t distance = 0;  // 0: nothing moves
  std::int64_t moved = 0;     // what lay from here to `end` has arrived

  bool Moves() const { return distance > 0; }
  friend bool operator==(const DataShift&, const DataShift&) = default;
};

// Reads what lay at `position` before the move, wherever it is now; fewer bytes at the end.
Status ReadShifted(const File& file, const DataShift& shift, std::int64_t position, void* data,
                   std::size_t bytes, std::size_t* read);

// Is told how far a move has come, so that somebody can read the file when its writer dies
// meanwhile.
class ShiftLog {
 public:
  // Ahead of the move, and after each part of it.
  virtual void Note(const DataShift& shift) = 0;

 protected:
  ~ShiftLog() = default;
};

}  // namespace xv
