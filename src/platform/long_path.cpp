#include "platform/long_path.h"

#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <cerrno>

namespace xv {

LongPath::LongPath(const std::string& path) : folder_(AT_FDCWD), name_(path.c_str()) {
  std::size_t done = 0;
  while (failure_ == 0 && path.size() - done >= PATH_MAX) {
    // As many folders at once as one call takes. A walk behind the first step is relative.
    const std::size_t end = path.rfind('/', done + PATH_MAX - 1);
    if (end == std::string::npos || end <= done) {
      failure_ = ENAMETOOLONG;
      break;
    }
    Enter(path.substr(done, end - done));
    done = path.find_first_not_of('/', end);
    if (done == std::string::npos) done = path.size();
  }
  name_ = path.c_str() + done;
}

LongPath::~LongPath() {
  if (folder_ >= 0) ::close(folder_);
}

void LongPath::Enter(const std::string& piece) {
  const int next = ::openat(folder_, piece.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (next < 0) failure_ = errno;
  if (folder_ >= 0) ::close(folder_);
  folder_ = next;
}

}  // namespace xv
