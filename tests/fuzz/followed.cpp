#include <array>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "growing/recovery_note.h"
#include "growing/side_files.h"
#include "support/temporary_folder.h"
#include "xvfollow/recording.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::array kRecordings = {"a.mov", "a.mxf", "a.avi", "a.mkv"};
constexpr std::array kCopies = {"copy.mov", "copy.mkv", "copy.nut", "copy.avi"};

void Write(const std::string& path, Bytes bytes) {
  std::remove(path.c_str());
  if (bytes.empty()) return;
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  if (file == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size()) abort();
  std::fclose(file);
}

// A piece behind its length of two bytes, the low one first.
Bytes TakePiece(Bytes* bytes) {
  if (bytes->size() < 2) return {};
  const std::size_t told = (*bytes)[0] | (*bytes)[1] << 8;
  *bytes = bytes->subspan(2);
  const Bytes piece = bytes->first(std::min(told, bytes->size()));
  *bytes = bytes->subspan(piece.size());
  return piece;
}

}  // namespace

// Index, header file, recovery note and recording of any bytes: what can be read is copied, the
// rest is told in a sentence; the next recording of that name removes what is its own.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const xv::test::TemporaryFolder folder;
  av_log_set_level(AV_LOG_QUIET);
  if (size < 1) return 0;
  const std::string recording = folder / kRecordings[data[0] & 3];
  Bytes rest(data + 1, size - 1);
  Write(xv::IndexPath(recording), TakePiece(&rest));
  Write(xv::HeaderPath(recording), TakePiece(&rest));
  Write(xv::RecoveryPath(recording), TakePiece(&rest));
  Write(recording, rest);
  try {
    xvfollow::Growth growth(recording, false);
    const auto source = xvfollow::OpenRecording(recording, growth);
    static_cast<void>(xvfollow::CopyPackets(*source, growth, folder / kCopies[data[0] >> 2 & 3]));
  } catch (const xvfollow::FollowError&) {
  }
  xv::RemoveLeftSideFiles(recording);
  return 0;
}
