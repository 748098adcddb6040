#include "output/output.h"

#include <fmt/format.h>

#include "codec/ffmpeg.h"
#include "codec/ffmpeg_words.h"
#include "codec/muxer_defaults.h"
#include "output/name_lookup.h"
#include "platform/paths.h"

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/opt.h>
}

namespace xv {
namespace {

// Disk space for what a container writes at its end: heads and fixed parts, and what its tables
// have for each packet.
constexpr std::int64_t kTrailerRoom = 2 << 20;
constexpr std::int64_t kRoomInTables = 64;

}  // namespace

bool OpensOwnFiles(const AVOutputFormat& format) {
  constexpr const char* kNames = "rtsp,hls,ssegment,stream_segment,segment,dash,tee";
  return av_match_name(format.name, kNames) != 0;
}

void SetMetadata(const XMLParse::XMLNodePtr& metadata, AVFormatContext& context) {
  if (!metadata) return;
  for (const auto& [name, value] : metadata->Attributes()) {
    SetEntry(&context.metadata, name.c_str(), value.c_str(), 0);
  }
}

Status Output::Allocate(const std::string& target, const std::string& formatName) {
  AVFormatContext* made = nullptr;
  const FFmpegWords said;
  const int result = avformat_alloc_output_context2(
      &made, nullptr, formatName.empty() ? nullptr : formatName.c_str(), target.c_str());
  context.reset(made);
  path = target;
  if (result < 0) words = said.Explain(path, result);
  if (result < 0 || made == nullptr) return E_FAIL;
  if (made->oformat == nullptr) return E_UNEXPECTED;
  interrupt.Attach(*made);
  format = made->oformat;
  SetMuxerDefaults(*made);
  return S_OK;
}

std::string Output::Explanation() {
  const std::lock_guard guard(lock);
  return words.empty() ? path : words;
}

Status Output::Explained(Status failure) {
  words = fmt::format("{}: {}", path, DescribeAvError(AVERROR(ErrnoFromStatus(failure))));
  return failure;
}

Status Output::AwaitName() {
  if (!IsUrl(path)) return S_OK;
  const IoCall call(interrupt);
  if (AwaitHostName(path, interrupt)) return S_OK;
  words = fmt::format("{}: the name of its host was not found in time", path);
  return XV_E_TIMEOUT;
}

Status Output::OpenFile(AvDictionary& options) {
  RETURN_IF_FAILED(AwaitName());
  const bool preset = (context->flags & AVFMT_FLAG_CUSTOM_IO) != 0 && context->pb != nullptr;
  if (preset || (context->oformat->flags & AVFMT_NOFILE) != 0) return S_OK;
  if (!IsUrl(path)) {
    const Status opened =
        sink.Open(path, interrupt.timeout(), [this] { return interrupt.InHurry(); });
    if (opened.Failed()) return Explained(opened);
    (void)sink.MakeRoom(kTrailerRoom);  // the first packet tells
    packets = 0;
    refusal = S_OK;
    // A reader gets each packet at once.
    if (sink.IsStream()) context->flush_packets = 1;
    context->pb = sink.io();
    if (!sink.IsStream()) interrupt.ReadBackThrough(&sink);
    context->flags |= AVFMT_FLAG_CUSTOM_IO;
    return S_OK;
  }
  const IoCall call(interrupt);
  const AVIOInterruptCB callback = interrupt.Callback();
  const FFmpegWords said;
  const int result =
      avio_open2(&context->pb, path.c_str(), AVIO_FLAG_WRITE, &callback, options.Address());
  if (result < 0) {
    words = said.Explain(path, result);
    return StatusFromAvError(result);
  }
  ownsUrlIo = true;
  interrupt.Watch(context->pb);
  return S_OK;
}

Status Output::WriteHeader(AvDictionary& options) {
  const std::lock_guard guard(lock);
  const IoCall call(interrupt);
  const FFmpegWords said;
  // The options are tried ahead of the header: after a refused value it is written without them,
  // but a muxer that has refused the header itself must not be asked again, since it has let go of
  // what it needs.
  AvDictionary offered(options);
  if (av_opt_set_dict2(context.get(), offered.Address(), AV_OPT_SEARCH_CHILDREN) >= 0) {
    options = std::move(offered);
  }
  const int result = avformat_write_header(context.get(), nullptr);
  if (result < 0) words = said.Explain(path, result);
  headerWritten = result >= 0;
  headerFailure = StatusFromAvError(result);
  return headerFailure;
}

// For the packet, for those that wait ahead of it, and for the trailer with its tables.
Status Output::MakeRoom(const AVPacket& packet) {
  if (refusal.Failed()) return refusal;
  const std::int64_t trailer = kTrailerRoom + packets * kRoomInTables;
  const Status room = sink.MakeRoom(PacketsInMuxer::MostBytes(packet) + inMuxer.bytes() + trailer);
  if (!room.Failed()) return room;
  return refusal = Explained(room);
}

// Of the files that the muxer opens by itself, unless it is told to ignore that.
Status Output::OwnFilesFailure() {
  const int error = interrupt.failure();
  std::int64_t ignored = 0;
  if (error == 0) return S_OK;
  (void)av_opt_get_int(context.get(), "ignore_io_errors", AV_OPT_SEARCH_CHILDREN, &ignored);
  if (ignored != 0) return S_OK;
  if (words.empty()) words = fmt::format("{}: {}", path, DescribeAvError(error));
  return StatusFromAvError(error);
}

Status Output::WriteInterleaved(AVPacket* packet) {
  const std::lock_guard guard(lock);
  // A muxer without a header reads what it never set up.
  if (!headerWritten) return headerFailure.Failed() ? headerFailure : Status(E_UNEXPECTED);
  const IoCall call(interrupt);
  const FFmpegWords said;
  int result = headers.Apply(packet);
  if (result >= 0) {
    const Status room = MakeRoom(*packet);
    if (room.Failed()) return room;
    // Without room to be made nobody asks what waits.
    if (!room.NothingDone()) RETURN_IF_FAILED(inMuxer.Enter(*packet));
    ++packets;
    result = writer != nullptr ? writer->Write(packet)
                               : av_interleaved_write_frame(context.get(), packet);
  }
  if (result < 0) words = said.Explain(path, result);
  if (result < 0 && sink.failure().Failed()) return refusal = sink.failure();
  // A receiver may get the next file all the same.
  if (result >= 0 && !IsUrl(path)) return refusal = OwnFilesFailure();
  return StatusFromAvError(result);
}

Status Output::WriteTrailer() {
  const std::lock_guard guard(lock);
  if (!headerWritten || context == nullptr) return S_OK;
  const Status earlier = sink.failure();
  sink.PrepareForTrailer();
  const IoCall call(interrupt);
  const FFmpegWords said;
  const int finished = writer != nullptr ? writer->Finish() : 0;
  const int result = av_write_trailer(context.get());
  headerWritten = false;
  if (result < 0) words = said.Explain(path, result);
  Status status = earlier;
  status.Update(StatusFromAvError(finished));
  status.Update(StatusFromAvError(result));
  status.Update(OwnFilesFailure());
  return status;
}

void Output::FlushWaiting() {
  const std::lock_guard guard(lock);
  if (!headerWritten || context->pb == nullptr || context->pb != sink.io()) return;
  avio_flush(context->pb);
  (void)sink.Flush();
}

Status Output::CloseFile() {
  const std::lock_guard guard(lock);
  if (context == nullptr) return S_OK;
  Status status;
  if (ownsUrlIo) {
    const IoCall call(interrupt);
    interrupt.Forget(context->pb);
    status = StatusFromAvError(avio_closep(&context->pb));
    ownsUrlIo = false;
  } else if (context->pb != nullptr && context->pb == sink.io()) {
    status = sink.Close();
    context->pb = nullptr;
  }
  return status;
}

}  // namespace xv
