#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/status.h"

// Files as a whole, by their paths.
namespace xv {

// Above `limit` bytes E_OUTOFMEMORY is given before anything is read; what is not a plain file
// gives E_INVALIDARG.
Status ReadWholeFile(const std::string& path, std::vector<std::uint8_t>* bytes,
                     std::int64_t limit = INT64_MAX);
// Created anew.
Status WriteWholeFile(const std::string& path, const void* data, std::size_t bytes);
// What ReplaceWholeFile does with a link of that name: the file behind it is replaced and the link
// stays, or the link itself gives way, but for one to a device or a FIFO: the status of ELOOP.
enum class LinkPolicy { kFollow, kReplace };
// Through a temporary in the same folder and a rename: a reader sees the old or the new contents,
// never a gap. An existing file's permissions stay, a new one gets those of the process's mask. On
// failure the old file is untouched. A device or a FIFO is written to and stays.
Status ReplaceWholeFile(const std::string& path, const void* data, std::size_t bytes,
                        LinkPolicy links);
// A missing file is the status of ENOENT.
Status RemoveFile(const std::string& path);
bool FileExists(const std::string& path);
// A plain file of that name: no link to one, no folder, no device.
bool IsPlainFile(const std::string& path);
// The file is there and this process may write it. Whoever takes the write permission away wants
// the file to stay as it is, also before root.
bool MayWriteFile(const std::string& path);
// Hidden files have no counterpart here: a name with a dot would be another name. Does nothing.
void HideFile(const std::string& path);

}  // namespace xv
