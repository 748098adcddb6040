#include "session/packet_delivery.h"

#include <chrono>

#include "base/text.h"
#include "platform/file_template.h"
#include "platform/paths.h"
#include "platform/whole_file.h"

namespace xv {
namespace {

bool IsImageSequence(const Output& output) { return EqualsNoCase(output.format->name, "image2"); }

// "a%03d.jpg" gives "a005.jpg", "a.jpg" without a place for the number "a0000005.jpg". A "%" of the
// folder's name is only a character.
std::string PacketFileName(const std::string& path, std::int64_t number) {
  const auto name = std::string(FileNamePart(path));
  const std::string folder = path.substr(0, path.size() - name.size());
  const bool hasPlace = ExpandFileTemplate(name, 0) != ExpandFileTemplate(name, 1);
  return folder + ExpandFileTemplate(hasPlace ? name : AppendBeforeExtension(name, "%07d"), number);
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

Status PacketDelivery::WriteLooseFile(const AVPacket& packet) {
  const std::string name = PacketFileName(outputs_.main.path, files_.fetch_add(1));
  const Status written = WriteWholeFile(name, packet.data, static_cast<std::size_t>(packet.size));
  if (written.Failed()) stats_.Fail("packet file", name, written);
  return written;
}

Status PacketDelivery::Write(AVPacket& packet) {
  const bool images = IsImageSequence(outputs_.main);
  Status status;
  if (!outputs_.main.path.empty() && (images || savePackets_)) status = WriteLooseFile(packet);
  if (images) return status;
  const auto begin = std::chrono::steady_clock::now();
  status = outputs_.main.WriteInterleaved(&packet);
  stats_.writeTime.Add((std::chrono::steady_clock::now() - begin).count());
  return status;
}

void PacketDelivery::Dump(RawDump& dump, const AVPacket& packet, const char* stage) {
  const Status written = dump.Append(packet);
  if (!written.Failed()) return;
  stats_.FailSideFile(stage, dump.path(), written);
}

void PacketDelivery::Deliver(AvPtr<AVPacket> packet, const char* stage) {
  const int stream = packet->stream_index;
  const int bytes = packet->size;
  if (outputs_.second) {
    outputs_.second->Put(*packet, outputs_.main.context->streams[stream]->time_base);
  }
  const Status status = Write(*packet);
  if (status.Ok()) stats_.CountPacket(stream, bytes);
  // What the header's failure said is the cause; a packet that finds no header adds nothing.
  if (status == outputs_.main.headerFailure) {
    (void)failure_.Latch(status);
  } else {
    if (status.Failed()) failure_.Keep(status, stage, outputs_.main.Explanation());
  }
}

}  // namespace xv
