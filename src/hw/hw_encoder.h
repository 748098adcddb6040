#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/auto_obj_base.h"
#include "base/ref.h"
#include "base/status.h"
#include "contracts/av_handles.h"
#include "hw/hw_packet.h"
#include "picture/image_view.h"
#include "tree/node.h"
#include "xvwriter/media.h"

namespace xv {

// What an encoder is opened with.
struct HwOpenRequest {
  XV_VID_PROPS vid{};                         // of the pictures that it will get
  const XMLParse::CoXMLNode* node = nullptr;  // the track's own attributes; not null
  bool hevc = false;                          // of an encoder that has both: H.265, else H.264
  AVRational timeBase{0, 1};                  // of the codec context, seconds
};

// What became of the attributes at open.
struct HwOpenReport {
  // Names in the node that this encoder, or its preset, does not read.
  std::vector<std::string> unused;
  // What was brought down to the abilities at hand, defaults too: "bf=7 (the encoder makes 3 B
  // pictures in a row: 3 are used)".
  std::vector<std::string> adjusted;
};

// A vendor's encoder behind its library, which is loaded at run time. Open, GetHeaders,
// EncodeFrame, ReadPacket and Close belong to one thread at a time; Interrupt to any.
class HwEncoder : public AutoObjBase<HwEncoder> {
 public:
  // Loads what is missing and starts a session.
  //   S_FALSE              it is open already.
  //   XV_E_VENDOR_LIBRARY  the vendor's library is not usable here.
  //   E_INVALIDARG         the properties are not valid.
  //   others               as Failure tells; the object can be opened again.
  virtual Status Open(const HwOpenRequest& request, HwOpenReport* report) = 0;

  // Parameter sets in Annex B, each behind a start code of four bytes. `size`: in the bytes of
  // `into`, out those written.
  virtual Status GetHeaders(std::uint8_t* into, std::size_t* size) = 0;

  // Gives a picture of the properties that Open was told, null at the end of the stream; again and
  // again until XV_E_NOTHING_MORE. `pts` is in the codec context's time base. The picture is
  // not read any more when the call returns. `out` gets an access unit where one is ready.
  //   S_OK, S_FALSE         done, with or without an access unit.
  //   XV_E_NOTHING_MORE  at the end of the stream: all have been taken.
  //   E_ABORT               a wait was interrupted.
  //   E_OUTOFMEMORY, others the picture is lost; what was encoded before can still be taken.
  virtual Status EncodeFrame(const ImageView* picture, std::int64_t pts, Ref<HwPacket>* out) = 0;

  // One more access unit without a picture. Does not wait.
  //   S_FALSE  none is ready.
  virtual Status ReadPacket(Ref<HwPacket>* out) = 0;

  // Ends waits, those to come until the next Open too: what the vendor holds is given up.
  virtual void Interrupt() = 0;

  // Ends the session; what it holds is given up.
  virtual void Close() = 0;

  // For a person: the vendor's call that failed last and its code. "" when nothing has.
  virtual std::string Failure() const = 0;
};

}  // namespace xv
