#pragma once

#include <cstdint>

#include "xvwriter/export.h"

// The version of this library, twice: as the headers had it when the host was compiled, and as the
// loaded library has it. Both follow Semantic Versioning 2.0.0. Libraries of one major version
// share the file name libxvwriterffm.so.1 and are interchangeable for a host that asks for nothing
// newer than it was compiled with:
//
//   if (XvVersionGet() < XV_VERSION_NUMBER) return "the installed XvWriterFFM is too old";

// Of these headers. The build checks them against the version of the project.
#define XV_VERSION_MAJOR 1
#define XV_VERSION_MINOR 0
#define XV_VERSION_PATCH 0

// One number that grows with each release and may be used in #if: 1.2.3 is 1002003.
#define XV_VERSION_NUMBER (XV_VERSION_MAJOR * 1000000 + XV_VERSION_MINOR * 1000 + XV_VERSION_PATCH)

extern "C" {

// XV_VERSION_NUMBER of the loaded library. Never fails; any thread. The same as text is the
// property "dll-version" of a writer ("1.0.0.0").
XV_EXPORT std::uint32_t XvVersionGet();
}
