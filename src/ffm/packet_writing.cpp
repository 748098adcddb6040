#include "ffm/packet_writing.h"

#include <chrono>

#include "base/text.h"
#include "platform/file.h"
#include "platform/file_template.h"
#include "platform/paths.h"

namespace xv {
namespace {

bool IsImageSequence(const AVFormatContext& context) {
  return EqualsNoCase(context.oformat->name, "image2");
}

// "a.jpg" gives "a%07d.jpg"; a name with a place for the number stays.
std::string PacketFileTemplate(const std::string& path) {
  if (path.find('%') != std::string::npos) return path;
  return AppendBeforeExtension(path, "%07d");
}

Status WriteLooseFile(Session& session, const AVPacket& packet) {
  const std::string name =
      ExpandFileTemplate(PacketFileTemplate(session.main.path), session.segmentCounter);
  ++session.segmentCounter;
  const Status written = WriteWholeFile(name, packet.data, static_cast<std::size_t>(packet.size));
  if (written.Failed()) session.stats->Fail("packet file", name, written);
  return written;
}

}  // namespace

Status WritePacket(Session& session, AvPtr<AVPacket> packet) {
  if (!packet) return E_INVALIDARG;
  AVFormatContext& context = *session.main.context;
  const int stream = packet->stream_index;
  const int bytes = packet->size;
  if (session.second) session.second->Put(*packet, context.streams[stream]->time_base);

  Status status;
  const bool images = IsImageSequence(context);
  if (!session.main.path.empty() && (images || session.props->Bool("save_packets"))) {
    status = WriteLooseFile(session, *packet);
  }
  if (!images) {
    const auto begin = std::chrono::steady_clock::now();
    status = session.main.WriteInterleaved(packet.get());
    session.stats->writeTime.Add((std::chrono::steady_clock::now() - begin).count());
  }
  if (status.Ok()) session.stats->CountPacket(stream, bytes);
  return status;
}

}  // namespace xv
