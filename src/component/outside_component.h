#pragma once

#include <string>

#include "base/ref.h"
#include "base/status.h"
#include "xvwriter/component.h"

// Components of other makers behind the same interfaces: what they throw becomes a status, what
// blocks is given up (platform/timed_calls.h), and arguments live as long as their calls.
namespace xv {

// Makes an object of class `classId` that another module registered. `words` says why it failed.
//   CLASS_E_CLASSNOTAVAILABLE  it is not registered, or its module cannot be loaded.
//   E_UNEXPECTED               it threw, or gave no object.
//   XV_E_TIMEOUT               it did not come back.
Status MakeOutside(const Guid& classId, Ref<IXfEncoder>* encoder, std::string* words);
Status MakeOutside(const Guid& classId, Ref<IXfMuxer>* muxer, std::string* words);

}  // namespace xv
