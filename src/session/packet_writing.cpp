#include "session/packet_writing.h"

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

void ScaleToStream(const StreamHolder& holder, AVPacket& packet) {
  const AVRational to = holder.stream->time_base;
  std::int64_t delay = av_rescale_q(holder.delay, {1, static_cast<int>(kTimeUnitsPerSecond)}, to);
  if (holder.type == AVMEDIA_TYPE_AUDIO) {
    delay += av_rescale_q(holder.offsetSamples, {1, holder.codec->sample_rate}, to);
  }
  av_packet_rescale_ts(&packet, holder.codec->time_base, to);
  if (packet.pts != AV_NOPTS_VALUE) packet.pts += delay;
  if (packet.dts != AV_NOPTS_VALUE) packet.dts += delay;
  packet.stream_index = holder.stream->index;
}

Status WritePacket(Session& session, AvPtr<AVPacket> packet) {
  if (!packet) return E_INVALIDARG;
  AVFormatContext& context = *session.main.context;
  const int stream = packet->stream_index;
  const int bytes = packet->size;
  if (session.second) session.second->Put(*packet, context.streams[stream]->time_base);

  Status status;
  const bool images = IsImageSequence(context);
  if (!session.main.path.empty() && (images || session.options.savePackets)) {
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
