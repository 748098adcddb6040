#include "base/status.h"

#include <cerrno>

namespace xv {
namespace {

std::uint32_t SystemErrorFromErrno(int error) {
  switch (error) {
    case ENOENT:
      return 2;
    case ENOTDIR:
      return 3;
    case EACCES:
    case EPERM:
    case EROFS:
      return 5;
    case EBADF:
      return 6;
    case ENOMEM:
      return 14;
    case EINVAL:
      return 87;
    case ENOSPC:
    case EDQUOT:
      return 112;
    case ENOSYS:
      return 120;
    case EBUSY:
      return 170;
    case EEXIST:
      return 183;
    case ENAMETOOLONG:
      return 206;
    case EIO:
      return 1117;
    case ETIMEDOUT:
      return 1460;
    default:
      return static_cast<std::uint32_t>(error);
  }
}

}  // namespace

Status StatusFromErrno(int error) {
  if (error == 0) return E_FAIL;
  return StatusFromSystemError(SystemErrorFromErrno(error));
}

}  // namespace xv
