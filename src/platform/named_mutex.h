#pragma once

#include <string>
#include <string_view>

#include "base/status.h"

namespace xv {

// A mutex that all processes of the machine know by its name: a lock on a file in /dev/shm, which
// is never followed where it is a link. The kernel frees it when its holder dies. Objects exclude
// each other within a process too; one object belongs to one thread at a time.
class NamedMutex {
 public:
  NamedMutex() = default;
  NamedMutex(const NamedMutex&) = delete;
  NamedMutex& operator=(const NamedMutex&) = delete;
  ~NamedMutex() { Close(); }

  // Makes the file where there is none, for all users. S_FALSE when it is open already.
  //   E_INVALIDARG        the name is empty or holds a "/".
  //   XV_E_ACCESS_DENIED  what has the name is no plain file.
  //   others              the system's failure.
  Status Open(std::string_view name);
  bool IsOpen() const { return descriptor_ >= 0; }
  // Frees it.
  void Close();

  // True when it is held now. Does not wait, and does not count: one Unlock frees it.
  bool TryLock();
  void Unlock();

 private:
  int descriptor_ = -1;
};

}  // namespace xv
