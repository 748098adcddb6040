#pragma once

#include <array>

#include "catalogue/catalogue.h"
#include "codec/stream_attributes.h"
#include "component/muxer_profile.h"
#include "hw/encoder_set.h"
#include "lists/attributes_doc.h"
#include "session/session_attributes.h"

namespace xv {

// Attributes of a session.
inline std::array<AttributeTable, 3> SessionTables() {
  return {{{"Session", SessionAttributes()},
           {"Video streams", VideoAttributes()},
           {"Audio streams", AudioAttributes()}}};
}

// All that the writer reads itself.
inline std::array<AttributeTable, 9> AttributeTables() {
  const auto session = SessionTables();
  return {session[0],
          session[1],
          session[2],
          {"Video streams of n264 and l264", HwAttributes(PseudoCodec::kNvenc264)},
          {"Video streams of n265", HwAttributes(PseudoCodec::kNvenc265)},
          {"Video streams of c264", HwAttributes(PseudoCodec::kCuda264)},
          {"Video streams of q264", HwAttributes(PseudoCodec::kQuick264)},
          {"Formats mpeg_nablet and mpeg_nablet_udp", MuxerAttributes()},
          {"List of formats and codecs, as properties of the writer", CatalogueAttributes()}};
}

}  // namespace xv
