#include "platform/device_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace xv {

Status DeviceFile::Open(const std::string& path) {
  Close();
  descriptor_ = open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
  if (descriptor_ >= 0) return S_OK;
  const int error = errno;
  words_ = path + ": " + std::generic_category().message(error);
  return StatusFromErrno(error);
}

void DeviceFile::Close() {
  if (descriptor_ >= 0) close(std::exchange(descriptor_, -1));
  words_.clear();
}

}  // namespace xv
