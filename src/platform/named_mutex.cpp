#include "platform/named_mutex.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace xv {
namespace {

constexpr const char* kFolder = "/dev/shm/";
constexpr int kPlainFlags = O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
// Users that lock need no more than to read.
constexpr mode_t kForAll = 0644;

// Another process may make the file, or remove it, between the two attempts.
int OpenOrMake(const char* path) {
  for (int attempt = 0; attempt < 8; ++attempt) {
    const int there = open(path, kPlainFlags);
    if (there >= 0 || errno != ENOENT) return there;
    const int made = open(path, kPlainFlags | O_CREAT | O_EXCL, kForAll);
    if (made >= 0) (void)fchmod(made, kForAll);
    if (made >= 0 || errno != EEXIST) return made;
  }
  return -1;
}

bool IsPlainFile(int descriptor) {
  struct stat about {};
  return fstat(descriptor, &about) == 0 && S_ISREG(about.st_mode);
}

int Flock(int descriptor, int operation) {
  int result = 0;
  do {
    result = flock(descriptor, operation);
  } while (result != 0 && errno == EINTR);
  return result;
}

}  // namespace

Status NamedMutex::Open(std::string_view name) {
  if (IsOpen()) return S_FALSE;
  if (name.empty() || name.find('/') != name.npos) return E_INVALIDARG;
  const int descriptor = OpenOrMake((kFolder + std::string(name)).c_str());
  if (descriptor < 0) return StatusFromErrno(errno);
  if (!IsPlainFile(descriptor)) {
    close(descriptor);
    return XV_E_ACCESS_DENIED;
  }
  descriptor_ = descriptor;
  return S_OK;
}

void NamedMutex::Close() {
  if (IsOpen()) close(std::exchange(descriptor_, -1));
}

bool NamedMutex::TryLock() { return IsOpen() && Flock(descriptor_, LOCK_EX | LOCK_NB) == 0; }

void NamedMutex::Unlock() {
  if (IsOpen()) (void)Flock(descriptor_, LOCK_UN);
}

}  // namespace xv
