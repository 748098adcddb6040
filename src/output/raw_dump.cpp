#include "output/raw_dump.h"

namespace xv {

Status RawDump::Append(const std::string& path, const AVPacket& packet) {
  if (!file_.IsOpen() && file_.Create(path).Failed()) return XV_E_FILE_HANDLE;
  return file_.Write(packet.data, static_cast<std::size_t>(packet.size));
}

}  // namespace xv
