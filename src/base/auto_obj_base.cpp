#include "base/auto_obj_base.h"

namespace xv {

std::atomic<std::int64_t>& LiveObjectCount() {
  static std::atomic<std::int64_t> count{0};
  return count;
}

}  // namespace xv
