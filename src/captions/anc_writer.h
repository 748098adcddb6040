#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"
#include "platform/file.h"
#include "xvwriter/media.h"

// Layout of the ancillary data file, all integers little-endian:
//
//   frame:  u32      kAncFrameMagic
//           XV_TIME  48 bytes
//           items    until the next magic or the end of the file
//   item:   u32      tag length + data length + 8
//           u32      tag length
//           bytes    tag
//           u32      data length
//           bytes    data
//
// Bit 31 of the data length marks text in UTF-8. Tags and texts have no terminator.
namespace xv {

inline constexpr std::uint32_t kAncFrameMagic = 0x77BB0000;
inline constexpr std::uint32_t kAncTextFlag = 0x80000000;
// In the place of an item's first number: nothing follows.
inline constexpr std::uint32_t kAncEndMarks[] = {0xFFFFFFFF, 0xFFFFFFFE};

// The writing half. One caller at a time.
class AncWriter {
 public:
  // Makes the file anew. S_FALSE when a file is open and `path` is empty or the same; E_INVALIDARG
  // for an empty path.
  Status Open(const std::string& path);
  bool IsOpen() const { return file_.IsOpen(); }
  // Appends one item; `time` starts a frame with it. Opens `path` first. What a failed write left
  // is taken back, so that the file stays readable. E_INVALIDARG for an item above 2 GiB.
  Status WriteItem(const std::string& path, const XV_TIME* time, std::string_view tag, bool isText,
                   std::uint32_t size, const void* data);
  void Close();

 private:
  File file_;
  std::string path_;
};

}  // namespace xv
