#pragma once

#include <string>

#include "xvwriter/writer.h"

namespace xv {

// Puts `handler` in the place of the one that prints to standard error; null brings that back. The
// handler may be called on any thread, also while this function runs on another; it must not call
// back into the library.
void SetWarningHandler(XvWarningHandler handler, void* context);

// Sends one text to a person. Never fails.
void Warn(const std::string& text) noexcept;

}  // namespace xv
