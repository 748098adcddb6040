#include "growing/hook_locator.h"

#include "base/text.h"
#include "codec/ffmpeg.h"

namespace xv {

#if LIBAVFORMAT_VERSION_MAJOR == 59

class GrowingHooks::OwnFormat {
 public:
  explicit OwnFormat(GrowingHooks& hooks) : hooks_(hooks) {
    hooks_.context_->oformat = hooks_.original_;
    hooks_.context_->opaque = hooks_.savedOpaque_;
  }
  ~OwnFormat() {
    hooks_.context_->oformat = &hooks_.copy_;
    hooks_.context_->opaque = &hooks_;
  }
  OwnFormat(const OwnFormat&) = delete;
  OwnFormat& operator=(const OwnFormat&) = delete;

 private:
  GrowingHooks& hooks_;
};

GrowingHooks& GrowingHooks::Of(AVFormatContext* context) {
  return *static_cast<GrowingHooks*>(context->opaque);
}

Status GrowingHooks::Install(AVFormatContext& context, FileSink& sink, bool lowLevel) {
  // The table was laid out by the headers; a library of another major version has another one.
  if (avformat_version() >> 16 != LIBAVFORMAT_VERSION_MAJOR) return E_NOTIMPL;
  context_ = &context;
  sink_ = &sink;
  lowLevel_ = lowLevel;
  original_ = context.oformat;
  savedOpaque_ = context.opaque;
  isAvi_ = EqualsNoCase(original_->name, "avi");
  copy_ = *original_;
  if (copy_.write_packet != nullptr) copy_.write_packet = &HookPacket;
  if (copy_.write_trailer != nullptr) copy_.write_trailer = &HookTrailer;
  if (copy_.deinit != nullptr) copy_.deinit = &HookDeinit;
  if (copy_.check_bitstream != nullptr) copy_.check_bitstream = &HookBitstream;
  context.oformat = &copy_;
  context.opaque = this;
  sink.SetObserver(this);
  return S_OK;
}

void GrowingHooks::Remove() {
  if (context_ == nullptr) return;
  context_->oformat = original_;
  context_->opaque = savedOpaque_;
  sink_->SetObserver(nullptr);
  context_ = nullptr;
}

int GrowingHooks::HookPacket(AVFormatContext* context, AVPacket* packet) {
  GrowingHooks& hooks = Of(context);
  if (packet == nullptr) {
    const OwnFormat own(hooks);
    return hooks.original_->write_packet(context, packet);
  }
  const auto streams = static_cast<int>(context->nb_streams);
  if (packet->stream_index < 0 || packet->stream_index >= streams) return -1;
  return hooks.WritePacket(*packet);
}

int GrowingHooks::HookTrailer(AVFormatContext* context) {
  GrowingHooks& hooks = Of(context);
  const OwnFormat own(hooks);
  return hooks.original_->write_trailer(context);
}

void GrowingHooks::HookDeinit(AVFormatContext* context) {
  GrowingHooks& hooks = Of(context);
  const OwnFormat own(hooks);
  hooks.original_->deinit(context);
}

int GrowingHooks::HookBitstream(AVFormatContext* context, AVStream* stream,
                                const AVPacket* packet) {
  GrowingHooks& hooks = Of(context);
  const OwnFormat own(hooks);
  return hooks.original_->check_bitstream(context, stream, packet);
}

#else

// From libavformat 60 on the callbacks are private to the library, behind the public table.
Status GrowingHooks::Install(AVFormatContext&, FileSink&, bool) { return E_NOTIMPL; }
void GrowingHooks::Remove() {}

#endif

// AVI puts a chunk head ahead of the data and pads an odd chunk with a byte; before the chunk that
// opens a new RIFF part come whole index tables. So the end of what was written tells where the
// data lies, and its size stays.
void GrowingHooks::CorrectRecord(IndexRecord& record) const {
  if (isAvi_ && bytesWritten_ > record.size) {
    record.position = avio_tell(context_->pb) - record.size - (record.size & 1);
  } else {
    record.size = static_cast<std::uint32_t>(bytesWritten_);
  }
}

int GrowingHooks::WritePacket(AVPacket& packet) {
  AVIOContext* io = context_->pb;
  const bool isVideo = IsVideoPacket(*context_, packet);
  // Single numbers of the packet before wait in FFmpeg's buffer; they are not this packet's.
  avio_flush(io);
  IndexRecord record =
      builder_.Start(packet, context_->streams[packet.stream_index]->nb_frames, isVideo);
  record.position = avio_tell(io);
  if (record.position < 0) record.position = packet.pos;
  bytesWritten_ = 0;
  payloadAt_ = -1;
  rewritten_ = false;
  currentPacket_ = lowLevel_ ? &packet : nullptr;
  int result = 0;
  {
    const OwnFormat own(*this);
    result = original_->write_packet(context_, &packet);
  }
  currentPacket_ = nullptr;
  if (result < 0) return result;

  const bool matched = payloadAt_ >= 0;
  if (matched) {
    record.position = payloadAt_;
    if (rewritten_) record.size = static_cast<std::uint32_t>(avio_tell(io) - payloadAt_);
  } else {
    CorrectRecord(record);
  }
  avio_flush(io);
  records_.Add(record, matched ? record.stream == 0 : isVideo);
  // A reader must find in the file what the record names.
  if (records_.pace() == RecordPace::kEachPacket) (void)sink_->Flush();
  return result;
}

void GrowingHooks::OnSinkWrite(const std::uint8_t* data, int bytes, std::int64_t position) {
  bytesWritten_ += bytes;
  if (currentPacket_ == nullptr || payloadAt_ >= 0 || bytes == 0) return;
  const std::uint8_t* begin = currentPacket_->data;
  if (data == begin) {
    payloadAt_ = position;
  } else if (data > begin && data < begin + currentPacket_->size) {
    payloadAt_ = position - kNalLengthBytes;
    rewritten_ = true;
  }
}

}  // namespace xv
