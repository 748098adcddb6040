#include "platform/module.h"

#include <dlfcn.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace xv {
namespace {

std::string Resolved(const char* path) {
  char buffer[PATH_MAX];
  return realpath(path, buffer) == nullptr ? std::string(path) : std::string(buffer);
}

}  // namespace

std::string ModulePath() {
  static const char here = 0;  // an address inside this module
  Dl_info info{};
  if (dladdr(&here, &info) == 0 || info.dli_fname == nullptr) return {};
  return Resolved(info.dli_fname);
}

LocalClockTime ModuleDate() {
  struct stat info {};
  if (stat(ModulePath().c_str(), &info) != 0) return {};
  return LocalTimeFromUnix(info.st_mtime);
}

std::string ProcessPath() { return Resolved("/proc/self/exe"); }

std::uint32_t ProcessId() { return static_cast<std::uint32_t>(getpid()); }

}  // namespace xv
