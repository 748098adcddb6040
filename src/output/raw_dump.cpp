#include "output/raw_dump.h"

namespace xv {

Status RawDump::Append(const AVPacket& packet) {
  if (path_.empty()) return S_OK;
  if (!file_.IsOpen() && file_.Create(path_).Failed()) return XV_E_FILE_HANDLE;
  return file_.Write(packet.data, static_cast<std::size_t>(packet.size));
}

}  // namespace xv
