#include "platform/file.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/long_path.h"

namespace xv {
namespace {

// What the process's limit on file sizes leaves of a write at `offset`, below 0 the file's own
// position. The system would raise a signal with the byte behind the limit.
std::size_t WithinLimit(int descriptor, std::int64_t offset, std::size_t bytes) {
  rlimit limit{};
  if (::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return bytes;
  const std::int64_t at = offset < 0 ? ::lseek(descriptor, 0, SEEK_CUR) : offset;
  if (at < 0) return bytes;  // a pipe has no size
  const auto begin = static_cast<rlim_t>(at);
  return limit.rlim_cur <= begin ? 0 : std::min<rlim_t>(limit.rlim_cur - begin, bytes);
}

// One transfer may be cut short or interrupted; these go on until all is done. `offset` below 0
// means the file's own position.
Status WriteAll(int descriptor, const void* data, std::size_t bytes, std::int64_t offset) {
  const auto* from = static_cast<const std::uint8_t*>(data);
  while (bytes > 0) {
    const std::size_t part = WithinLimit(descriptor, offset, bytes);
    if (part == 0) return StatusFromErrno(EFBIG);
    const ssize_t done =
        offset < 0 ? ::write(descriptor, from, part) : ::pwrite(descriptor, from, part, offset);
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) return StatusFromErrno(done < 0 ? errno : EIO);
    from += done;
    bytes -= static_cast<std::size_t>(done);
    if (offset >= 0) offset += done;
  }
  return S_OK;
}

Status ReadAll(int descriptor, void* data, std::size_t bytes, std::int64_t offset,
               std::size_t* read) {
  auto* to = static_cast<std::uint8_t*>(data);
  std::size_t total = 0;
  while (total < bytes) {
    const ssize_t done = offset < 0 ? ::read(descriptor, to + total, bytes - total)
                                    : ::pread(descriptor, to + total, bytes - total,
                                              offset + static_cast<std::int64_t>(total));
    if (done < 0 && errno == EINTR) continue;
    if (done < 0) return StatusFromErrno(errno);
    if (done == 0) break;
    total += static_cast<std::size_t>(done);
  }
  if (read != nullptr) *read = total;
  return S_OK;
}

Status SeekTo(int descriptor, std::int64_t offset, int whence, std::int64_t* result) {
  const off_t at = lseek(descriptor, offset, whence);
  if (at < 0) return StatusFromErrno(errno);
  if (result != nullptr) *result = at;
  return S_OK;
}

}  // namespace

File::File(File&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

File& File::operator=(File&& other) noexcept {
  if (this != &other) {
    (void)Close();
    descriptor_ = std::exchange(other.descriptor_, -1);
  }
  return *this;
}

File::~File() { (void)Close(); }

Status File::Open(const std::string& path, int flags) {
  (void)Close();
  if (path.find('\0') != std::string::npos) return E_INVALIDARG;
  const LongPath at(path);
  if (at.failure() != 0) return StatusFromErrno(at.failure());
  do {
    descriptor_ = ::openat(at.folder(), at.name(), flags | O_CLOEXEC, 0666);
  } while (descriptor_ < 0 && errno == EINTR);
  return descriptor_ < 0 ? StatusFromErrno(errno) : Status();
}

Status File::Create(const std::string& path) { return Open(path, O_RDWR | O_CREAT | O_TRUNC); }

Status File::CreateNew(const std::string& path) {
  return Open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW);
}

Status File::OpenRead(const std::string& path) { return Open(path, O_RDONLY); }

Status File::SetPermissions(std::uint32_t mode) {
  if (!IsOpen()) return StatusFromErrno(EBADF);
  return fchmod(descriptor_, mode) == 0 ? Status() : StatusFromErrno(errno);
}

Status File::Write(const void* data, std::size_t bytes) {
  return IsOpen() ? WriteAll(descriptor_, data, bytes, -1) : StatusFromErrno(EBADF);
}

Status File::WriteAt(std::int64_t offset, const void* data, std::size_t bytes) {
  if (offset < 0) return E_INVALIDARG;
  return IsOpen() ? WriteAll(descriptor_, data, bytes, offset) : StatusFromErrno(EBADF);
}

Status File::Read(void* data, std::size_t bytes, std::size_t* read) {
  return IsOpen() ? ReadAll(descriptor_, data, bytes, -1, read) : StatusFromErrno(EBADF);
}

Status File::ReadAt(std::int64_t offset, void* data, std::size_t bytes, std::size_t* read) const {
  if (offset < 0) return E_INVALIDARG;
  return IsOpen() ? ReadAll(descriptor_, data, bytes, offset, read) : StatusFromErrno(EBADF);
}

Status File::Flush() {
  if (!IsOpen()) return StatusFromErrno(EBADF);
  while (fdatasync(descriptor_) != 0) {
    if (errno == EINTR) continue;
    // Pipes and devices have nothing to flush.
    return errno == EINVAL || errno == EROFS ? Status() : StatusFromErrno(errno);
  }
  return S_OK;
}

Status File::Allocate(std::int64_t begin, std::int64_t end) {
  if (!IsOpen()) return StatusFromErrno(EBADF);
  const auto bytes = static_cast<std::size_t>(end - begin);
  if (WithinLimit(descriptor_, begin, bytes) < bytes) return StatusFromErrno(EFBIG);
  while (::fallocate(descriptor_, FALLOC_FL_KEEP_SIZE, begin, end - begin) != 0) {
    if (errno == EINTR) continue;
    const bool cannot = errno == EOPNOTSUPP || errno == ENOSYS || errno == EINVAL;
    return cannot ? Status(S_FALSE) : StatusFromErrno(errno);
  }
  return S_OK;
}

Status File::Close() {
  if (!IsOpen()) return S_OK;
  // Linux frees the descriptor even where close is interrupted: never again with the same number.
  const int failed = ::close(std::exchange(descriptor_, -1));
  return failed == 0 || errno == EINTR ? Status() : StatusFromErrno(errno);
}

Status File::Size(std::int64_t* bytes) const {
  if (!IsOpen()) return StatusFromErrno(EBADF);
  struct stat info {};
  if (fstat(descriptor_, &info) != 0) return StatusFromErrno(errno);
  *bytes = info.st_size;
  return S_OK;
}

Status File::Position(std::int64_t* offset) const {
  return IsOpen() ? SeekTo(descriptor_, 0, SEEK_CUR, offset) : StatusFromErrno(EBADF);
}

Status File::Seek(std::int64_t offset) {
  return IsOpen() ? SeekTo(descriptor_, offset, SEEK_SET, nullptr) : StatusFromErrno(EBADF);
}

Status File::Truncate(std::int64_t bytes) {
  if (!IsOpen()) return StatusFromErrno(EBADF);
  while (ftruncate(descriptor_, bytes) != 0) {
    if (errno != EINTR) return StatusFromErrno(errno);
  }
  return S_OK;
}

}  // namespace xv
