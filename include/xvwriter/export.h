#pragma once

// Visibility of the functions that the shared library exports. Everything else is hidden.
#if defined(_WIN32)
#define XV_EXPORT
#else
#define XV_EXPORT __attribute__((visibility("default")))
#endif
