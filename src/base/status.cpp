#include "base/status.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace xv {
namespace {

struct SystemError {
  int number;
  Status status;
};

// By the fault, as POSIX.1-2017 tells an errno and Win32 and Winsock tell theirs.
constexpr SystemError kSystemErrors[] = {
    {ENOENT, XV_E_FILE_NOT_FOUND},
    {ENOTDIR, XV_E_PATH_NOT_FOUND},
    {EACCES, XV_E_ACCESS_DENIED},
    {EPERM, XV_E_ACCESS_DENIED},
    {EROFS, XV_E_ACCESS_DENIED},
    {EISDIR, XV_E_ACCESS_DENIED},
    {EBADF, XV_E_INVALID_HANDLE},
    {ENOMEM, E_OUTOFMEMORY},
    {EINVAL, E_INVALIDARG},
    {EDOM, E_INVALIDARG},
    {ENOSPC, XV_E_DISK_FULL},
    {EDQUOT, XV_E_DISK_FULL},
    {ENOSYS, XV_E_CALL_NOT_IMPLEMENTED},
    {EBUSY, XV_E_BUSY},
    {EEXIST, XV_E_FILE_EXISTS},
    {ENAMETOOLONG, XV_E_NAME_TOO_LONG},
    {EIO, XV_E_IO_DEVICE},
    {EREMOTEIO, XV_E_IO_DEVICE},
    {ETIMEDOUT, XV_E_TIMEOUT},
    {ETIME, XV_E_TIMEOUT},
    {EPIPE, XV_E_BROKEN_PIPE},
    {ESHUTDOWN, XV_E_BROKEN_PIPE},
    {EMFILE, XV_E_TOO_MANY_FILES},
    {ENFILE, XV_E_TOO_MANY_FILES},
    {EFBIG, XV_E_FILE_TOO_LARGE},
    {ESPIPE, XV_E_SEEK_ON_DEVICE},
    {ENOTEMPTY, XV_E_FOLDER_NOT_EMPTY},
    {EXDEV, XV_E_OTHER_DEVICE},
    {ENODEV, XV_E_NO_SUCH_DEVICE},
    {ENXIO, XV_E_NO_SUCH_DEVICE},
    {ENOMEDIUM, XV_E_NOT_READY},
    {ENOTTY, XV_E_INVALID_FUNCTION},
    {ETXTBSY, XV_E_SHARING_VIOLATION},
    {ENODATA, XV_E_NO_MORE_DATA},
    {EFAULT, XV_E_INVALID_ADDRESS},
    {EOVERFLOW, XV_E_ARITHMETIC_OVERFLOW},
    {ERANGE, XV_E_ARITHMETIC_OVERFLOW},
    {EINTR, XV_E_ABORTED},
    {ECANCELED, XV_E_ABORTED},
    {EDEADLK, XV_E_POSSIBLE_DEADLOCK},
    {EMLINK, XV_E_TOO_MANY_LINKS},
    {EUCLEAN, XV_E_CORRUPT_FILE},
    {EBADMSG, XV_E_INVALID_DATA},
    {EILSEQ, XV_E_INVALID_DATA},
    {ESRCH, XV_E_NOT_FOUND},
    {ECHILD, XV_E_NOT_FOUND},
    {ENOKEY, XV_E_NOT_AUTHENTICATED},
    {EKEYREJECTED, XV_E_NOT_AUTHENTICATED},
    {EKEYEXPIRED, XV_E_NOT_AUTHENTICATED},
    {EKEYREVOKED, XV_E_NOT_AUTHENTICATED},
    {ENOLCK, XV_E_NO_SYSTEM_RESOURCES},
    {ELOOP, XV_E_LINK_LOOP},
    {ESTALE, XV_E_FILE_CHANGED_ON_SERVER},
    {EAGAIN, XV_E_WOULD_BLOCK},
    {EINPROGRESS, XV_E_IN_PROGRESS},
    {EALREADY, XV_E_IN_PROGRESS},
    {ENOTSOCK, XV_E_NOT_A_SOCKET},
    {EMSGSIZE, XV_E_MESSAGE_SIZE},
    {ENOPROTOOPT, XV_E_PROTOCOL_OPTION},
    {EPROTONOSUPPORT, XV_E_PROTOCOL_NOT_SUPPORTED},
    {EPROTO, XV_E_PROTOCOL_NOT_SUPPORTED},
    {EOPNOTSUPP, XV_E_OPERATION_NOT_SUPPORTED},
    {EAFNOSUPPORT, XV_E_ADDRESS_FAMILY},
    {EADDRINUSE, XV_E_ADDRESS_IN_USE},
    {EADDRNOTAVAIL, XV_E_ADDRESS_NOT_AVAILABLE},
    {ENETDOWN, XV_E_NETWORK_DOWN},
    {ENETUNREACH, XV_E_NETWORK_UNREACHABLE},
    {ECONNABORTED, XV_E_CONNECTION_ABORTED},
    {ECONNRESET, XV_E_CONNECTION_RESET},
    {ENETRESET, XV_E_CONNECTION_RESET},
    {ENOBUFS, XV_E_NO_BUFFER_SPACE},
    {EISCONN, XV_E_ALREADY_CONNECTED},
    {ENOTCONN, XV_E_NOT_CONNECTED},
    {ECONNREFUSED, XV_E_CONNECTION_REFUSED},
    {EHOSTDOWN, XV_E_HOST_DOWN},
    {EHOSTUNREACH, XV_E_HOST_UNREACHABLE},
};

}  // namespace

Status StatusFromErrno(int error) {
  if (error == 0) return E_FAIL;
  const auto* found = std::find_if(std::begin(kSystemErrors), std::end(kSystemErrors),
                                   [&](const SystemError& row) { return row.number == error; });
  return found == std::end(kSystemErrors) ? XV_E_GENERAL_FAILURE : found->status;
}

int ErrnoFromStatus(Status status) {
  const auto* found = std::find_if(std::begin(kSystemErrors), std::end(kSystemErrors),
                                   [&](const SystemError& row) { return row.status == status; });
  return found == std::end(kSystemErrors) ? EIO : found->number;
}

}  // namespace xv
