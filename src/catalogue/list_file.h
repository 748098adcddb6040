#pragma once

#include <string>

#include "base/status.h"
#include "tree/node.h"

// The user's file of formats and codecs.
namespace xv {

// Where the list is kept: "" stays, a relative path stands in the folder of the user's settings, ""
// where there is no such folder.
std::string ListPath(const std::string& configured);
// Where it is read: where it is kept, or else, for a relative path, beside this module's file,
// where whoever installed the library may have left one for all users.
std::string ListPathToRead(const std::string& configured);

// Replaces `list` by the file's tree, named "supported_list". `wide` says that the text is UTF-16
// with or without a byte order mark; one with a mark is known by it. S_FALSE, with `list` as it
// was, when there is no such file. A failure, with `list` empty, for what is no list: a folder, a
// file above 16 MiB, one that cannot be read or whose root has another name. A text that ends early
// gives what it holds; `cut` says so.
Status LoadListFile(const std::string& path, bool wide, XMLParse::CoXMLNode& list, bool* cut);

// Writes the list, without what was found unavailable, as UTF-8 or as UTF-16LE with a byte order
// mark. The file is replaced in one step.
Status SaveListFile(const std::string& path, bool wide, const XMLParse::CoXMLNode& list);

}  // namespace xv
