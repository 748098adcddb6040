#pragma once

#include <span>
#include <string>
#include <vector>

#include "tree/node.h"

namespace xvrecord {

// What may stand in place of the last of `words` (a command line behind the program's name, up to
// the cursor, without quotes), each as a whole word; nothing where a file name is wanted. Formats,
// codecs, attributes and their values come out of `list`, attributes also from the tables of what
// the writer itself reads. `options` are the command's own, "--format" and the like.
std::vector<std::string> Complete(const xv::XMLParse::CoXMLNode& list,
                                  std::span<const std::string> options,
                                  const std::vector<std::string>& words);

}  // namespace xvrecord
