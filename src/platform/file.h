#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"

namespace xv {

// An open file. Descriptors are closed in child processes; writes go on over short writes and
// interruptions. One caller at a time. Failures are the system's error as a status; an operation on
// a closed file gives the status of EBADF.
class File {
 public:
  File() = default;
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File();

  // Each closes what was open. Create makes the file anew, or empties it; readers may have it open.
  Status Create(const std::string& path);
  // For writing behind what is there; makes the file when missing.
  Status OpenAppend(const std::string& path);
  // For reading and writing; the file must exist.
  Status OpenReadWrite(const std::string& path);
  Status OpenRead(const std::string& path);
  bool IsOpen() const { return descriptor_ >= 0; }

  // At the position, which moves on.
  Status Write(const void* data, std::size_t bytes);
  // Leaves the position.
  Status WriteAt(std::int64_t offset, const void* data, std::size_t bytes);
  // Fewer bytes than asked only at the end of the file.
  Status Read(void* data, std::size_t bytes, std::size_t* read);
  Status ReadAt(std::int64_t offset, void* data, std::size_t bytes, std::size_t* read) const;
  // Data, not metadata, is on the disk afterwards.
  Status Flush();
  // Gives the first failure that the system kept back. The file is closed in any case.
  Status Close();
  Status Size(std::int64_t* bytes) const;
  Status Position(std::int64_t* offset) const;
  Status Seek(std::int64_t offset);
  Status SeekToEnd(std::int64_t* offset = nullptr);
  Status Truncate(std::int64_t bytes);

 private:
  Status Open(const std::string& path, int flags);

  int descriptor_ = -1;
};

// The whole file. Above `limit` bytes E_OUTOFMEMORY is
// given before anything is read; what is no plain file gives E_INVALIDARG.
Status ReadWholeFile(const std::string& path, std::vector<std::uint8_t>* bytes,
                     std::int64_t limit = INT64_MAX);
// Created anew.
Status WriteWholeFile(const std::string& path, const void* data, std::size_t bytes);
// Through a temporary in the same folder and a rename: a reader sees the old or the new contents,
// never a gap. The file's permissions stay. On failure the old file is untouched.
Status ReplaceWholeFile(const std::string& path, const void* data, std::size_t bytes);
// A missing file is the status of ENOENT.
Status RemoveFile(const std::string& path);
bool FileExists(const std::string& path);
// The file is there and this process may write it. Whoever takes the write permission away wants
// the file to stay as it is, also before root.
bool MayWriteFile(const std::string& path);
// Hidden files have no counterpart here: a name with a dot would be another name. Does nothing.
void HideFile(const std::string& path);
// Bytes that an ordinary user may still write in the file system of `folder`; nothing when it
// cannot be told.
std::optional<std::uint64_t> FreeDiskSpace(const std::string& folder);

}  // namespace xv
