#pragma once

#include <string>

namespace xv {

// A path as the system's "at" calls take it: a folder's descriptor and a name inside of it. A path
// that is too long for one call is walked, folder by folder, and the walk ends in the folder that
// the last piece is seen from; any other stands as it is. The process's current folder is never
// changed. The descriptor is closed with the object, which must not outlive `path`.
class LongPath {
 public:
  explicit LongPath(const std::string& path);
  LongPath(const LongPath&) = delete;
  LongPath& operator=(const LongPath&) = delete;
  ~LongPath();

  int folder() const { return folder_; }  // AT_FDCWD for a path that needs no walk
  const char* name() const { return name_; }
  // Why the walk failed, as errno, or 0. Folder and name are of no use then.
  int failure() const { return failure_; }

 private:
  void Enter(const std::string& piece);

  int folder_;
  const char* name_;
  int failure_ = 0;
};

}  // namespace xv
