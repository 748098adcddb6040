#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "growing/packet_locator.h"

namespace xv {

// Locates packets through FFmpeg's public interface alone: a table holds what was handed to the
// muxer, the file sink shows what the muxer writes, and AVStream.nb_frames tells between two writes
// which packets are through. A packet whose own bytes are written lies where they go; one that the
// muxer packs otherwise lies where its writing began. Stamps are those handed over: the hooks also
// see the shift by which some muxers avoid negative ones, and mxf's edit units.
class GrowingTable final : public PacketLocator, private SinkObserver {
 public:
  explicit GrowingTable(RecordFile& records) : records_(records) {}
  ~GrowingTable() override { Remove(); }
  GrowingTable(const GrowingTable&) = delete;
  GrowingTable& operator=(const GrowingTable&) = delete;

  // The packets' own positions are used wherever they are found, whatever `lowLevel` says.
  Status Install(AVFormatContext& context, FileSink& sink, bool lowLevel) override;
  int Write(AVPacket* packet) override;
  int Finish() override;
  void Remove() override;

 private:
  struct Waiting {
    IndexRecord record;
    const std::uint8_t* data;  // compared, never read
    int size;
    bool isVideo;
    std::int64_t payloadAt = -1;  // where its first byte went
    bool inPieces = false;        // each behind a length
  };
  struct Track {
    std::deque<Waiting> waiting;  // as handed over, which is as they are written
    std::int64_t announced = 0;
    std::int64_t written = 0;
    AvPtr<AVBSFContext> chunks;  // the muxer's own sizes, so that it takes packets as they are
  };

  void OnSinkWrite(const std::uint8_t* data, int bytes, std::int64_t position) override;
  void OnSinkFlushed() override { records_.WriteWaiting(); }
  Status PrepareChunks(AVFormatContext& context);
  int WriteChunks(Track& track, AVPacket* packet);
  int Hand(AVPacket* packet);
  void Match(const std::uint8_t* data, std::int64_t position);
  // Records of the packets that are through when the muxer stands at `position`.
  void Settle(std::int64_t position);
  Track* NextWritten();
  void Complete(Track& track, std::int64_t position);

  RecordFile& records_;
  RecordBuilder builder_;
  AVFormatContext* context_ = nullptr;
  FileSink* sink_ = nullptr;
  std::vector<Track> tracks_;
  std::int64_t packetAt_ = 0;  // where the writing of the present packet began
  bool stopped_ = false;       // a packet was refused: counts no longer tell which is which
};

}  // namespace xv
