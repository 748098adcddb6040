#pragma once

#include <initializer_list>
#include <string>

#include "base/status.h"
#include "platform/dynamic_library.h"

// Where vendors' libraries come from.
namespace xv {

// A folder that is searched ahead of the system's: $XVWRITER_VENDOR_FOLDER, else "vendor_folder" in
// the table "hardware" of the user's settings, a full path. "" when none is given.
std::string VendorFolder();

// Opens the first of `names`, bare file names, that can be loaded: each of them in the folder, then
// each as the system searches it. A library that is open is closed first. XV_E_VENDOR_LIBRARY when
// none can be loaded; `words` (may be null) then tells of each attempt, one after another with "; "
// between them. A folder that is no full path fails too, so that no library comes from wherever the
// process happens to be.
Status OpenVendorLibrary(DynamicLibrary& library, std::initializer_list<const char*> names,
                         std::string* words = nullptr);

}  // namespace xv
