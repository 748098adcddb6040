#pragma once

#ifdef XV_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

// Tells the thread sanitizer of an order that exists but that it cannot see: objects that travel
// from thread to thread inside a library that is not instrumented. Nothing in any other build.
namespace xv {

// Whatever this thread has done to `object` is done...
inline void HandOver([[maybe_unused]] void* object) {
#ifdef XV_THREAD_SANITIZER
  __tsan_release(object);
#endif
}

// ...before the thread goes on that gets it back from the library.
inline void TakeOver([[maybe_unused]] void* object) {
#ifdef XV_THREAD_SANITIZER
  __tsan_acquire(object);
#endif
}

}  // namespace xv
