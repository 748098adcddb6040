#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "component/encoded_packet.h"
#include "output/output.h"
#include "tree/node.h"

namespace xv {

// Packets into one container of FFmpeg's: the streams, what waits for the header, and the order of
// stamps. One caller at a time.
class PacketFile {
 public:
  // `muxer` "" leaves the choice to the target's name.
  Status Allocate(const std::string& target, const std::string& muxer,
                  const XMLParse::XMLNodePtr& attributes);
  // E_UNEXPECTED once the header is written.
  Status AddStream(const XV_STREAM_INFO& info, std::int32_t* index);
  // Null for no such stream.
  std::shared_ptr<const StreamRecord> Stream(std::int32_t index) const;
  // The first packet opens the file. The header comes with the first packet behind which all
  // streams are known, at the latest when ten seconds wait: who is not known then is left out.
  //   S_FALSE             late: the packet's stamp is not behind the last one, and it is left out.
  //   E_INVALIDARG        no bytes, or a codec that FFmpeg does not know.
  //   XV_E_NOT_SUPPORTED  another codec than the stream's.
  //   XV_E_NOT_FOUND      no such stream, or one that was left out.
  Status Put(std::int32_t index, IXfPacket& packet);
  // What waits, the trailer. S_FALSE where no packet ever came: then there is no file.
  Status Close();
  std::string Words() { return words_.empty() ? output_.Explanation() : words_; }

 private:
  struct Track {
    std::shared_ptr<const StreamRecord> record;
    AVStream* stream = nullptr;  // the context's, once the header is being written
    bool known = false;
    std::int64_t lastPut = AV_NOPTS_VALUE;  // decoding stamp of the last packet, 100 ns
    std::int64_t lastDts = AV_NOPTS_VALUE;  // the same as written, ticks of `stream`
    // Presentation stamps that pictures behind may still go ahead of, sorted; ticks of `stream`.
    std::vector<std::int64_t> waiting;
  };
  struct Held {
    std::int32_t index;
    AvPtr<AVPacket> packet;
    AVRational base;
  };

  Status Learn(Track& track, const XV_STREAM_INFO& info, const AVPacket& packet);
  static bool ComesLate(Track& track, const Held& held);
  bool AllKnown() const;
  bool WaitedEnough() const;
  Status OpenOnce();
  Status Start();
  Status AddToContext(Track& track);
  Status Write(Held held);
  static std::int64_t DecodingStamp(Track& track, const AVPacket& packet);
  static bool SettleStamps(Track& track, AVPacket& packet);

  XMLParse::XMLNodePtr attributes_;
  std::vector<Track> tracks_;
  std::deque<Held> held_;
  AvDictionary options_;
  bool opened_ = false;
  bool started_ = false;
  Status failure_;  // of file or header; every packet answers it
  std::string words_;
  Output output_;
};

}  // namespace xv
