#pragma once

#include "base/status.h"

// Class registration.
namespace xv {

// The classes of this module, in the user's folder. See DllRegisterServer, DllUnregisterServer.
Status RegisterClasses();
Status UnregisterClasses();

}  // namespace xv
