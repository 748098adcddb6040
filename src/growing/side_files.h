#pragma once

#include <string>

#include "base/status.h"
#include "growing/index.h"
#include "growing/recovery_note.h"

// The files beside a recording: index, header file and recovery note.
namespace xv {

// "a.mov" gives "a.hdr.mov".
std::string HeaderPath(const std::string& target);

// Removes what an earlier recording of that name left behind, since it would mislead a reader of
// the new one. Only plain files are, and only those that are known as ours: an index or a note that
// names the recording, a header file that such an index names. Others' files of these names stay.
void RemoveLeftSideFiles(const std::string& target);

}  // namespace xv
