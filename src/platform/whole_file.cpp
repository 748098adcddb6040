#include "platform/whole_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>

#include "platform/file.h"
#include "platform/long_path.h"
#include "platform/stream_file.h"

namespace xv {
namespace {

Status StatOf(const std::string& path, struct stat* info, int flags = 0) {
  const LongPath at(path);
  if (at.failure() != 0) return StatusFromErrno(at.failure());
  return fstatat(at.folder(), at.name(), info, flags) == 0 ? Status() : StatusFromErrno(errno);
}

// A name beside `path` that no file has yet, with the file open for writing. New files get the
// mode of the process's mask.
Status CreateBeside(const std::string& path, std::string* name, File* file) {
  constexpr int kTries = 100;
  std::random_device random;
  Status status;
  for (int i = 0; i < kTries; ++i) {
    *name = fmt::format("{}.{:08x}", path, random());
    status = file->CreateNew(*name);
    if (status != StatusFromErrno(EEXIST)) break;
  }
  return status;
}

Status WriteToStream(const std::string& path, const void* data, std::size_t bytes) {
  constexpr std::chrono::milliseconds kPatience{1000};
  struct stat info {};
  const bool named = StatOf(path, &info, AT_SYMLINK_NOFOLLOW).Ok();  // not so "-"
  if (named && S_ISLNK(info.st_mode)) return StatusFromErrno(ELOOP);
  StreamFile file;
  RETURN_IF_FAILED(file.Open(path, kPatience));
  return file.Write(data, bytes);
}

Status WriteTemporary(File& file, const void* data, std::size_t bytes,
                      const std::string& permissionsOf) {
  struct stat info {};
  Status status;
  if (StatOf(permissionsOf, &info, AT_SYMLINK_NOFOLLOW).Ok() && S_ISREG(info.st_mode)) {
    status = file.SetPermissions(info.st_mode & 07777);
  }
  if (status.Ok()) status = file.Write(data, bytes);
  if (status.Ok()) status = file.Flush();
  status.Update(file.Close());
  return status;
}

Status Rename(const std::string& from, const std::string& to) {
  const LongPath source(from);
  const LongPath target(to);
  for (const LongPath* path : {&source, &target}) {
    if (path->failure() != 0) return StatusFromErrno(path->failure());
  }
  const int result = renameat(source.folder(), source.name(), target.folder(), target.name());
  return result == 0 ? Status() : StatusFromErrno(errno);
}

// The file behind a link, or the path itself.
std::string LinkTarget(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr),
                                                             &std::free);
  return resolved ? std::string(resolved.get()) : path;
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

Status ReplaceWholeFile(const std::string& path, const void* data, std::size_t bytes,
                        LinkPolicy links) {
  const std::string target = links == LinkPolicy::kFollow ? LinkTarget(path) : path;
  if (IsStreamTarget(target)) return WriteToStream(target, data, bytes);
  std::string temporary;
  File file;
  RETURN_IF_FAILED(CreateBeside(target, &temporary, &file));
  Status status = WriteTemporary(file, data, bytes, target);
  if (status.Ok()) status = Rename(temporary, target);
  if (status.Failed()) (void)RemoveFile(temporary);
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

bool IsPlainFile(const std::string& path) {
  struct stat info {};
  return StatOf(path, &info, AT_SYMLINK_NOFOLLOW).Ok() && S_ISREG(info.st_mode);
}

bool MayWriteFile(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) return false;
  return (info.st_mode & 0222) != 0 && access(path.c_str(), W_OK) == 0;
}

void HideFile(const std::string&) {}

}  // namespace xv
