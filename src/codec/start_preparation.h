#pragma once

#include "codec/stream_holder.h"
#include "frames/prepare_video.h"
#include "tree/node.h"

namespace xv {

// Sets up the preparation of pictures for the encoder that `holder` has opened. `attributes` are
// those of the session.
void StartPreparation(VideoPreparation& preparation, const StreamHolder& holder,
                      const XMLParse::XMLNodePtr& attributes);

}  // namespace xv
