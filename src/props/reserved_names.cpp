#include "props/reserved_names.h"

#include <fmt/format.h>

#include "base/text.h"
#include "platform/module.h"
#include "xvwriter/version.h"

namespace xv {
namespace {

// One number for product and file: both are this build.
std::string Version() {
  return fmt::format("{}.{}.{}.0", XV_VERSION_MAJOR, XV_VERSION_MINOR, XV_VERSION_PATCH);
}

// "2026-11-22 10:20:30.500", without the thousandths where there are none.
std::string ModuleDateText() {
  const LocalClockTime date = ModuleDate();
  std::string text = fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", date.year, date.month,
                                 date.day, date.hour, date.minute, date.second);
  if (date.millisecond != 0) text += fmt::format(".{:03}", date.millisecond);
  return text;
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
