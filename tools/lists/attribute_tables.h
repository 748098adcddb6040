#pragma once

#include <array>

#include "captions/capture_options.h"
#include "catalogue/catalogue.h"
#include "codec/stream_attributes.h"
#include "lists/attributes_doc.h"
#include "session/session_attributes.h"

namespace xv {

// What the writer reads itself, by the room that reads it: attributes of a session first.
inline std::array<AttributeTable, 5> AttributeTables() {
  return {{{"Session", SessionAttributes()},
           {"Video streams", VideoAttributes()},
           {"Audio streams", AudioAttributes()},
           {"Caption capture", CaptureAttributes()},
           {"List of formats and codecs, as properties of the writer", CatalogueAttributes()}}};
}

inline std::array<AttributeTable, 4> SessionTables() {
  const auto all = AttributeTables();
  return {all[0], all[1], all[2], all[3]};
}

}  // namespace xv
