#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>

#include "platform/file.h"
#include "platform/long_path.h"
#include "platform/paths.h"

namespace xv {
namespace {

Status StatOf(const std::string& path, struct stat* info) {
  const LongPath at(path);
  if (at.failure() != 0) return StatusFromErrno(at.failure());
  return fstatat(at.folder(), at.name(), info, 0) == 0 ? Status() : StatusFromErrno(errno);
}

// The permissions that a file created here would get, or those of the file that is there.
mode_t PermissionsFor(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) == 0) return info.st_mode & 07777;
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

Status WriteTemporary(const std::string& path, const void* data, std::size_t bytes, mode_t mode) {
  File file;
  Status status = file.OpenReadWrite(path);
  if (status.Ok()) status = file.Write(data, bytes);
  if (status.Ok() && chmod(path.c_str(), mode) != 0) status = StatusFromErrno(errno);
  if (status.Ok()) status = file.Flush();
  status.Update(file.Close());
  return status;
}

// A link is followed, so that the file behind it is replaced and the link stays.
std::string LinkTarget(const std::string& path) {
  char* resolved = realpath(path.c_str(), nullptr);
  if (resolved == nullptr) return path;
  std::string out(resolved);
  free(resolved);
  return out;
}

}  // namespace

Status ReadWholeFile(const std::string& path, std::vector<std::uint8_t>* bytes,
                     std::int64_t limit) {
  struct stat info {};
  RETURN_IF_FAILED(StatOf(path, &info));
  if (!S_ISREG(info.st_mode)) return E_INVALIDARG;
  if (info.st_size > limit) return E_OUTOFMEMORY;
  File file;
  RETURN_IF_FAILED(file.OpenRead(path));
  bytes->resize(static_cast<std::size_t>(info.st_size));
  std::size_t read = 0;
  RETURN_IF_FAILED(file.Read(bytes->data(), bytes->size(), &read));
  bytes->resize(read);
  return S_OK;
}

Status WriteWholeFile(const std::string& path, const void* data, std::size_t bytes) {
  File file;
  RETURN_IF_FAILED(file.Create(path));
  Status status = file.Write(data, bytes);
  status.Update(file.Close());
  return status;
}

Status ReplaceWholeFile(const std::string& path, const void* data, std::size_t bytes) {
  const std::string target = LinkTarget(path);
  std::string temporary = target + ".XXXXXX";
  const int descriptor = mkostemp(temporary.data(), O_CLOEXEC);
  if (descriptor < 0) return StatusFromErrno(errno);
  ::close(descriptor);
  Status status = WriteTemporary(temporary, data, bytes, PermissionsFor(target));
  if (status.Ok() && rename(temporary.c_str(), target.c_str()) != 0) {
    status = StatusFromErrno(errno);
  }
  if (status.Failed()) unlink(temporary.c_str());
  return status;
}

Status RemoveFile(const std::string& path) {
  const LongPath at(path);
  if (at.failure() != 0) return StatusFromErrno(at.failure());
  return unlinkat(at.folder(), at.name(), 0) == 0 ? Status() : StatusFromErrno(errno);
}

bool FileExists(const std::string& path) {
  struct stat info {};
  return StatOf(path, &info).Ok();
}

bool MayWriteFile(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) return false;
  return (info.st_mode & 0222) != 0 && access(path.c_str(), W_OK) == 0;
}

void HideFile(const std::string&) {}

std::optional<std::uint64_t> FreeDiskSpace(const std::string& folder) {
  const std::string path = folder.empty() ? "." : folder + "/.";
  const LongPath at(path);
  if (at.failure() != 0) return std::nullopt;
  const int descriptor = openat(at.folder(), at.name(), O_PATH | O_CLOEXEC);
  if (descriptor < 0) return std::nullopt;
  struct statvfs info {};
  const bool told = fstatvfs(descriptor, &info) == 0;
  ::close(descriptor);
  if (!told) return std::nullopt;
  return static_cast<std::uint64_t>(info.f_bavail) * info.f_frsize;
}

}  // namespace xv
