#include "platform/folders.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "platform/long_path.h"

namespace xv {
namespace {

Status CreateFolder(const std::string& path) {
  if (mkdir(path.c_str(), 0777) == 0) return S_OK;
  const int error = errno;
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) return StatusFromErrno(error);
  return S_ISDIR(info.st_mode) ? Status() : StatusFromErrno(ENOTDIR);
}

}  // namespace

Status CreateFolders(std::string_view path) {
  if (path.size() < 2 || path.size() > PATH_MAX || path.front() != '/') return E_INVALIDARG;
  if (path.find_first_not_of('/') == std::string_view::npos) return E_INVALIDARG;
  for (std::size_t end = 1; end <= path.size(); ++end) {
    const bool levelEnds = end == path.size() || path[end] == '/';
    if (!levelEnds || path[end - 1] == '/') continue;
    RETURN_IF_FAILED(CreateFolder(std::string(path.substr(0, end))));
  }
  return S_OK;
}

std::string RuntimeFolder() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime != nullptr && *runtime == '/') return runtime;
  std::error_code error;
  const std::filesystem::path temporary = std::filesystem::temp_directory_path(error);
  return error ? std::string("/tmp") : temporary.string();
}

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
