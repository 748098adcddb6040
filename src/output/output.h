#pragma once

#include <mutex>
#include <string>

#include "base/status.h"
#include "codec/option_dictionary.h"
#include "output/file_sink.h"
#include "output/header_repeater.h"
#include "output/interrupt.h"
#include "output/packets_in_muxer.h"

namespace xv {

// Takes an output's packets to its muxer in place of av_interleaved_write_frame. One caller at a
// time (the output's lock). Results are FFmpeg's.
class PacketWriter {
 public:
  virtual ~PacketWriter() = default;
  // The packet's reference is taken.
  virtual int Write(AVPacket* packet) = 0;
  // Ahead of the trailer: packets that are still held go to the muxer.
  virtual int Finish() = 0;
};

// One container that packets go to: the main output, or the second one. The stages open, write and
// close it; writes to the muxer and the close of its file take `lock`.
struct Output {
  std::string path;        // file or URL
  PacketsInMuxer inMuxer;  // the context's
  AvPtr<AVFormatContext> context;
  // The muxer's own table. The context's pointer changes while a hooked packet is written, so other
  // threads read this one.
  const AVOutputFormat* format = nullptr;
  FileSink sink;               // behind the muxer when it is a local file
  bool ownsUrlIo = false;      // pb was opened by FFmpeg for a URL
  bool headerWritten = false;  // only then may packets and a trailer follow
  Status headerFailure;        // what packets answer that find no header
  std::string words;           // path and what FFmpeg said of the last failure; "" for nothing
  HeaderRepeater headers;      // set up ahead of the container's header
  std::int64_t packets = 0;    // that the muxer was given
  Status refusal;              // of a packet that is missing in the file
  // Borrowed; null: packets go straight to the muxer.
  PacketWriter* writer = nullptr;
  IoInterrupt interrupt;
  std::mutex lock;  // rank: behind audioLock, ahead of nothing

  Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output() { (void)CloseFile(); }

  bool exists() const { return context != nullptr; }
  // What to tell a person of the last failure: the path and FFmpeg's own words, where it had some.
  std::string Explanation();

  // Makes the context for a file or URL; "" for `formatName` leaves the choice to the name. A
  // transport stream gets the delay of a decoder's buffer ("max_delay" as an option of the muxer).
  //   E_FAIL        no muxer fits.
  //   E_UNEXPECTED  the context has no format.
  Status Allocate(const std::string& target, const std::string& formatName);
  // Opens the file or URL for the muxer; formats that open their own outputs need none. `options`
  // are offered to the protocol of a URL, which takes out what it knows.
  Status OpenFile(AvDictionary& options);
  // Writes the header with `options`, or without them where one has a value that the muxer refuses.
  // What was not taken stays in `options`.
  Status WriteHeader(AvDictionary& options);
  // Hands the packet to the muxer, which takes its reference. A packet that the disk may have no
  // room for, beside what waits in the muxer and the trailer, is refused: what the muxer was given
  // is whole in the file. None follows a packet that was refused or could not be written.
  Status WriteInterleaved(AVPacket* packet);
  // While no packets come: what waits on its way to a local file goes into it.
  void FlushWaiting();
  // The trailer, if there was a header.
  Status WriteTrailer();
  Status CloseFile();

 private:
  Status Explained(Status failure);
  Status AwaitName();
  Status MakeRoom(const AVPacket& packet);
  Status OwnFilesFailure();
};

// The attributes of `metadata` (may be null) become the container's.
void SetMetadata(const XMLParse::XMLNodePtr& metadata, AVFormatContext& context);

// The muxer opens its own files ("hls", "rtsp", ...): its header needs no pb.
bool OpensOwnFiles(const AVOutputFormat& format);

}  // namespace xv
