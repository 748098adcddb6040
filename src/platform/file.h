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
// interruptions. The process's limit on file sizes is the status of EFBIG, never SIGXFSZ, which
// would end a host that does not expect it. One caller at a time. Failures are the system's error
// as a status; an operation on a closed file gives the status of EBADF.
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
  // Makes a file of a name that nothing has yet, not even a link; else the status of EEXIST.
  Status CreateNew(const std::string& path);
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
  // Takes disk space for the file from `begin` to `end`, beyond its size too, which stays; Truncate
  // gives back what lies beyond. S_FALSE where the file system cannot do that, the system's error
  // where there is not so much.
  Status Allocate(std::int64_t begin, std::int64_t end);
  // Gives the first failure that the system kept back. The file is closed in any case.
  Status Close();
  Status Size(std::int64_t* bytes) const;
  Status Position(std::int64_t* offset) const;
  Status Seek(std::int64_t offset);
  Status Truncate(std::int64_t bytes);
  // The permission bits, 0 to 07777.
  Status SetPermissions(std::uint32_t mode);

 private:
  Status Open(const std::string& path, int flags);

  int descriptor_ = -1;
};

}  // namespace xv
