#pragma once

#include <cstdint>

#include "contracts/av_handles.h"
#include "ffm/file_sink.h"
#include "ffm/growing_index.h"

namespace xv {

// Gives every packet that the muxer writes a record in the index. It stands in the muxer's place by
// a private copy of its AVOutputFormat, and sees the bytes through the file sink. One caller at a
// time (the output's lock).
class GrowingHooks : private SinkObserver {
 public:
  explicit GrowingHooks(GrowingIndex& index) : index_(index) {}
  ~GrowingHooks() override { Remove(); }
  GrowingHooks(const GrowingHooks&) = delete;
  GrowingHooks& operator=(const GrowingHooks&) = delete;

  // After the header has been written, ahead of the first packet. `context` writes to `sink` and
  // must outlive Remove. `lowLevel`: positions are those of the packets' own write calls, where the
  // muxer writes packets as they are. E_NOTIMPL with a libavformat that keeps its callbacks
  // private.
  Status Install(AVFormatContext& context, FileSink& sink, bool lowLevel);
  // Gives the muxer its own table back.
  void Remove();

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
  int WritePacket(AVPacket& packet);
  IndexRecord StartRecord(const AVPacket& packet, bool isVideo);
  void CorrectRecord(IndexRecord& record) const;

  GrowingIndex& index_;
  AVFormatContext* context_ = nullptr;
  FileSink* sink_ = nullptr;
  void* savedOpaque_ = nullptr;
  const AVOutputFormat* original_ = nullptr;
  AVOutputFormat copy_{};
  bool lowLevel_ = false;
  bool isAvi_ = false;
  std::int64_t lastKeyFrame_ = 0;
  // While a packet is written.
  const AVPacket* currentPacket_ = nullptr;  // in low-level mode only
  std::int64_t bytesWritten_ = 0;
  std::int64_t payloadAt_ = -1;  // where the packet's own bytes went
  bool rewritten_ = false;       // in pieces, each behind a length
};

}  // namespace xv
