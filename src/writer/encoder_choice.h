#pragma once

#include <string>

#include "base/ref.h"
#include "component/path_report.h"
#include "contracts/encoder_base.h"
#include "session/session_stats.h"
#include "xvwriter/writer.h"

namespace xv {

// What the choice of an encoder looks at.
struct EncoderRequest {
  std::string target;
  XMLParse::XMLNodePtr session;  // what counts for this recording
  XMLParse::XMLNodePtr own;      // the writer's own attributes
  Ref<IUnknown> source;          // the object of ObjectStart, may be null
  SessionStats* stats;
  PathReport* report;  // the same counters, for the component path; outlives the encoder
};

// The component path serves this session, not the main one.
bool WantsComponentPath(const XMLParse::CoXMLNode& session, const XMLParse::CoXMLNode& own);

// Pictures come encoded and are passed on.
bool PassesPackets(const XMLParse::CoXMLNode& session);

// Makes the encoder and opens it for the first frame. Without `props` the source is asked for its
// format. `encoder` is closed and released first if there is one, and null after a failure.
//   E_UNEXPECTED         no properties and no source to ask.
//   XV_E_NO_VALID_MEDIA  the source's format has neither video nor audio.
Status OpenEncoder(const EncoderRequest& request, const XV_AV_PROPS* props, const XV_TIME* time,
                   Ref<XvEncoderBaseLegacy>& encoder);

}  // namespace xv
