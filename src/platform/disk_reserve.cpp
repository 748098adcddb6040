#include "platform/disk_reserve.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/long_path.h"

namespace xv {

Status DiskReserve::Take(const std::string& folder, std::int64_t bytes) {
  Release();
  const std::string path = folder.empty() ? "." : folder + "/.";
  const LongPath at(path);
  if (at.failure() != 0) return StatusFromErrno(at.failure());
  const int descriptor = ::openat(at.folder(), at.name(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (descriptor < 0) return StatusFromErrno(errno);
  // fallocate and not posix_fallocate: where it is missing, writing the zeros would cost more than
  // the reserve is worth.
  if (::fallocate(descriptor, 0, 0, bytes) != 0) {
    const Status failed = StatusFromErrno(errno);
    ::close(descriptor);
    return failed;
  }
  descriptor_ = descriptor;
  return S_OK;
}

void DiskReserve::Release() {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
}

}  // namespace xv
