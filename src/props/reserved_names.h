#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace xv {

// The value of a reserved name, asked for ahead of any tree and without regard to case:
// "_process_name_", "_process_pid_", "dll-version", "dll-file-version", "dll-path", "dll-date".
// Nothing for other names.
std::optional<std::string> ReservedValue(std::string_view name);

}  // namespace xv
