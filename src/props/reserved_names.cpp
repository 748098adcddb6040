#include "props/reserved_names.h"

#include <fmt/format.h>

#include "base/text.h"
#include "platform/module.h"
#include "values/time_syntax.h"
#include "xvwriter/version.h"

namespace xv {
namespace {

// One number for product and file: both are this build.
std::string Version() {
  return fmt::format("{}.{}.{}.0", XV_VERSION_MAJOR, XV_VERSION_MINOR, XV_VERSION_PATCH);
}

std::string ModuleDateText() {
  const LocalClockTime date = ModuleDate();
  CalendarTime time;
  time.year = static_cast<std::uint16_t>(date.year);
  time.month = static_cast<std::uint16_t>(date.month);
  time.day = static_cast<std::uint16_t>(date.day);
  time.hour = static_cast<std::uint16_t>(date.hour);
  time.minute = static_cast<std::uint16_t>(date.minute);
  time.second = static_cast<std::uint16_t>(date.second);
  time.milliseconds = static_cast<std::uint16_t>(date.millisecond);
  return RenderTime(time, false);
}

}  // namespace

std::optional<std::string> ReservedValue(std::string_view name) {
  if (EqualsNoCase(name, "_process_name_")) return ProcessPath();
  if (EqualsNoCase(name, "_process_pid_")) return std::to_string(ProcessId());
  if (EqualsNoCase(name, "dll-version")) return Version();
  if (EqualsNoCase(name, "dll-file-version")) return Version();
  if (EqualsNoCase(name, "dll-path")) return ModulePath();
  if (EqualsNoCase(name, "dll-date")) return ModuleDateText();
  return std::nullopt;
}

}  // namespace xv
