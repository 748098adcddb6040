#pragma once

#include <string>

namespace xv {

// The user's own folder for things that end with the log-in ($XDG_RUNTIME_DIR), else the folder for
// temporary files.
std::string RuntimeFolder();

}  // namespace xv
