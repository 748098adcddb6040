#include "kernels/row_sink.h"

namespace xv {

std::uint8_t* RowScratch(int slot, std::size_t bytes) {
  static thread_local std::array<std::vector<std::uint8_t>, RowSink::kScratchSlots> rows;
  std::vector<std::uint8_t>& row = rows[static_cast<std::size_t>(slot)];
  if (row.size() < bytes) row.resize(bytes);
  return row.data();
}

}  // namespace xv
