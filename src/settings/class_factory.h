#pragma once

#include <string>

#include "base/ref.h"
#include "base/status.h"
#include "xvwriter/object.h"

// Creation of classes that other modules registered.
namespace xv {

// As class files have it: lower case, without braces.
std::string ClassIdText(const Guid& id);

// The factory of a registered class, out of its module, which stays loaded until the process ends.
// CLASS_E_CLASSNOTAVAILABLE when the class is not registered, its module cannot be loaded or has no
// factory entry, and `words` (may be null) says which; else what that entry answers. Thread-safety:
// safe.
Status RegisteredFactoryOf(const Guid& classId, Ref<IClassFactory>* factory,
                           std::string* words = nullptr);

}  // namespace xv
