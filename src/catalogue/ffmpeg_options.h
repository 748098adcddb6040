#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What FFmpeg's objects report about their options.
namespace xv {

struct OptionConstant {
  std::string name;
  std::string help;  // may be empty
  std::int64_t value = 0;
};

struct OptionInfo {
  std::string name;
  std::string help;
  std::string type;  // "int", "int64", "double", "string", "bool", "option", "flags"; "" for others
  std::string defaultValue;
  std::string unit;               // of an "option" and of "flags", else empty
  std::optional<double> minimum;  // nothing where the type alone bounds it
  std::optional<double> maximum;
  std::vector<OptionConstant> constants;  // of the unit
};

// The options of `object`, which begins with an AVClass, that have all of `flags`
// (AV_OPT_FLAG_...), in FFmpeg's order. The defaults are the values that the object has now.
std::vector<OptionInfo> ListOptions(void* object, int flags);

}  // namespace xv
