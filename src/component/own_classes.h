#pragma once

#include "base/ref.h"
#include "base/status.h"
#include "xvwriter/component.h"

namespace xv {

// The factory of a class of the component path that this module makes.
// CLASS_E_CLASSNOTAVAILABLE for every other class.
Status OwnComponentFactory(const Guid& classId, Ref<IClassFactory>* factory);

}  // namespace xv
