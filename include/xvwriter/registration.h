#pragma once

#include "xvwriter/object.h"

// Registration of classes. A registered class has a file "<class id>.toml" with the keys class_id,
// program_id and module in the user's folder `classes` beside the settings file, or in
// share/xvwriter/classes of a prefix. XvCreateInstance makes the classes of this library without
// it; any other class is looked up in the user's folder, then in that of the prefix that this
// library is installed in. Its module is loaded, asked through DllGetClassObject, and stays loaded.

extern "C" {

// Registers the classes of this library for the user. The status of the file when it cannot be
// written; what was registered before then stays.
XV_EXPORT xv::HRESULT DllRegisterServer();

// Takes that back. S_OK too when nothing was registered.
XV_EXPORT xv::HRESULT DllUnregisterServer();
}
