#pragma once

#include <cstdint>

#include "growing/packet_locator.h"

namespace xv {

// Locates packets from the muxer's place: a private copy of its AVOutputFormat sees each packet as
// it is written, the file sink shows the bytes. Only libavformat 59 lets its callbacks be seen;
// others answer E_NOTIMPL.
class GrowingHooks final : public PacketLocator, private SinkObserver {
 public:
  explicit GrowingHooks(RecordFile& records) : records_(records) {}
  ~GrowingHooks() override { Remove(); }
  GrowingHooks(const GrowingHooks&) = delete;
  GrowingHooks& operator=(const GrowingHooks&) = delete;

  Status Install(AVFormatContext& context, FileSink& sink, bool lowLevel) override;
  int Write(AVPacket* packet) override { return av_interleaved_write_frame(context_, packet); }
  int Finish() override { return 0; }
  // Gives the muxer its own table back.
  void Remove() override;

 private:
  // The muxer's own table is back for the length of a call: some muxers tell themselves from their
  // kin by that pointer.
  class OwnFormat;

  static GrowingHooks& Of(AVFormatContext* context);
  static int HookPacket(AVFormatContext* context, AVPacket* packet);
  static int HookTrailer(AVFormatContext* context);
  static void HookDeinit(AVFormatContext* context);
  static int HookBitstream(AVFormatContext* context, AVStream* stream, const AVPacket* packet);

  void OnSinkWrite(const std::uint8_t* data, int bytes, std::int64_t position) override;
  void OnSinkFlushed() override { records_.WriteWaiting(); }
  int WritePacket(AVPacket& packet);
  void CorrectRecord(IndexRecord& record) const;

  RecordFile& records_;
  AVFormatContext* context_ = nullptr;
  FileSink* sink_ = nullptr;
  void* savedOpaque_ = nullptr;
  const AVOutputFormat* original_ = nullptr;
  AVOutputFormat copy_{};
  bool lowLevel_ = false;
  bool isAvi_ = false;
  RecordBuilder builder_;
  // While a packet is written.
  const AVPacket* currentPacket_ = nullptr;  // in low-level mode only
  std::int64_t bytesWritten_ = 0;
  std::int64_t payloadAt_ = -1;  // where the packet's own bytes went
  bool rewritten_ = false;       // in pieces, each behind a length
};

}  // namespace xv
