#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct AVCodec;
struct AVOutputFormat;

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
  std::string defaultValue;       // the value that the object has now
  std::string unit;               // of an "option" and of "flags", else empty
  std::optional<double> minimum;  // nothing where the type alone bounds it
  std::optional<double> maximum;
  std::vector<OptionConstant> constants;  // of the unit

  // The constants' names, ", " between them.
  std::string Words() const;
};

using OptionInfos = std::vector<OptionInfo>;

// The options of `object`, which begins with an AVClass, that have all of `flags`
// (AV_OPT_FLAG_...), in FFmpeg's order.
OptionInfos ListOptions(void* object, int flags);

// The options of an encoder as its context has them before it is opened: its own, then those of all
// encoders, whose constants the encoder may add to. Its defaults are in force.
OptionInfos ListEncoderOptions(const AVCodec& codec);
// The same of a container.
OptionInfos ListMuxerOptions(const AVOutputFormat& muxer);

// The option of that name, null for none.
const OptionInfo* FindOption(const OptionInfos& options, std::string_view name);

// The default as a person writes it, words in the place of numbers. "" where it is no value that
// the option may be set to but the sign that the encoder decides.
std::string ShownDefault(const OptionInfo& option);

}  // namespace xv
