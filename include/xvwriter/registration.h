#pragma once

#include "xvwriter/object.h"

// Registration of classes. A registered class has a file "<class id>.toml" with the keys class_id,
// program_id and module, either in the user's folder `classes` beside the settings file or in
// share/xvwriter/classes of the prefix that this library is installed in; the user's wins.
//
// A host of this library needs none of it: XvCreateInstance makes the classes of this library
// without a file. Registration is for programs that know a class by its id alone, and for classes
// of other modules. Such a module is loaded at the first object, asked through DllGetClassObject,
// and stays loaded until the process ends.
extern "C" {

// Registers the classes of this library for the user, under the path that it was loaded from; what
// was registered under their ids is replaced. Any thread, any process: each file is replaced in one
// step. A status of the file system when a file cannot be written; what was registered before then
// stays.
XV_EXPORT xv::HRESULT DllRegisterServer();

// Takes that back for the user. S_OK too when nothing was registered; else the first failure, and
// the other files are removed all the same.
XV_EXPORT xv::HRESULT DllUnregisterServer();
}
