#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/status.h"

// Folders on the disk.
namespace xv {

// Makes a folder and every missing one above it. The path starts with "/" and has 2 to PATH_MAX
// bytes, else E_INVALIDARG. A folder that exists is not an error.
Status CreateFolders(std::string_view path);

// The user's own folder for things that end with the log-in ($XDG_RUNTIME_DIR), else the folder for
// temporary files.
std::string RuntimeFolder();

// Bytes that an ordinary user may still write in the file system of `folder`; nothing when it
// cannot be told.
std::optional<std::uint64_t> FreeDiskSpace(const std::string& folder);

}  // namespace xv
