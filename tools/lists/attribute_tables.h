#pragma once

#include <array>

#include "catalogue/catalogue.h"
#include "codec/stream_attributes.h"
#include "component/muxer_profile.h"
#include "hw/nvenc/nvenc_attributes.h"
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
inline std::array<AttributeTable, 7> AttributeTables() {
  const auto session = SessionTables();
  return {session[0],
          session[1],
          session[2],
          {"Encoders n264 and l264", NvencAttributes(false)},
          {"Encoder n265", NvencAttributes(true)},
          {"Formats mpeg_nablet and mpeg_nablet_udp", MuxerAttributes()},
          {"List of formats and codecs, as properties of the writer", CatalogueAttributes()}};
}

}  // namespace xv
