#include "platform/folders.h"

#include <cstdlib>
#include <filesystem>

namespace xv {

std::string RuntimeFolder() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime != nullptr && *runtime == '/') return runtime;
  std::error_code error;
  const std::filesystem::path temporary = std::filesystem::temp_directory_path(error);
  return error ? std::string("/tmp") : temporary.string();
}

}  // namespace xv
