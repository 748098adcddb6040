#pragma once

#include <cstdint>
#include <string>

#include "platform/clock.h"

// The module that this code was linked into, and the process around it.
namespace xv {

// Absolute path of the library's file; empty when the system does not tell.
std::string ModulePath();
// Time of the last change of that file; all zero when it cannot be told.
LocalClockTime ModuleDate();
// Absolute path of the program.
std::string ProcessPath();
std::uint32_t ProcessId();

}  // namespace xv
