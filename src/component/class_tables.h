#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "xvwriter/component.h"

// Which classes encode and multiplex, in the order in which they are tried. The table "components"
// of the settings file names other classes than the built-in ones: a key for each row, a class id
// as its value.
namespace xv {

// A row that matches.
struct ClassRow {
  std::string setting;    // its key
  Guid classId;           // all zero: the settings name no class, or what is none
  std::string startText;  // attribute text for Init, "" for none
};

// Of encoders of that kind for a codec's name.
std::vector<ClassRow> EncoderRows(eXfMediaType type, std::string_view codec);

// Of multiplexers for a format's name and the extension of a target. A class of zeros ends them.
std::vector<ClassRow> MuxerRows(std::string_view format, std::string_view extension);

// How long a call into a component of another maker may take: the settings' "patience_ms", else 10
// seconds.
std::chrono::milliseconds ComponentPatience();

}  // namespace xv
