#pragma once

// Marks a function that the shared library exports; everything else in it is hidden. A host writes
// it nowhere. Under Windows the library's definition file would list the functions instead.
#if defined(_WIN32)
#define XV_EXPORT
#else
#define XV_EXPORT __attribute__((visibility("default")))
#endif
