#pragma once

#include <map>
#include <string>
#include <variant>

#include "base/auto_obj_base.h"
#include "base/blob.h"
#include "base/ref.h"
#include "xvwriter/media.h"

namespace xv {

// Bytes of an item, or its text in UTF-8.
using TimedBytes = CBLOBHolder<CNewAlloc>;
using TimedValue = std::variant<Ref<TimedBytes>, std::string>;

// What one frame had attached. Guarded by the list that holds it.
struct CTimedData final : AutoObjBase<CTimedData> {
  XV_TIME time{};
  std::map<std::string, TimedValue> items;
};

}  // namespace xv
