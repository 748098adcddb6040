#pragma once

#include "base/ref.h"
#include "base/status.h"
#include "xvwriter/object.h"

// Class registration, and creation of classes that other modules registered.
namespace xv {

// The classes of this module, in the user's folder. See DllRegisterServer, DllUnregisterServer.
Status RegisterClasses();
Status UnregisterClasses();

// The factory of a registered class, out of its module, which stays loaded until the process ends.
// CLASS_E_CLASSNOTAVAILABLE when the class is not registered, its module cannot be loaded or has no
// factory entry; else what that entry answers. Thread-safety: safe.
Status RegisteredFactoryOf(const Guid& classId, Ref<IClassFactory>* factory);

}  // namespace xv
