#include "codec/start_preparation.h"

namespace xv {

void StartPreparation(VideoPreparation& preparation, const StreamHolder& holder,
                      const XMLParse::XMLNodePtr& attributes) {
  preparation.target = holder.vid;
  preparation.synthetic = holder.synthetic;
  preparation.streamNode = holder.node;
  preparation.sessionNode = attributes;
  preparation.clock = {};
  const AVCodecContext& codec = *holder.codec;
  preparation.codec = {false,
                       codec.time_base,
                       codec.width,
                       codec.height,
                       holder.pixelFormat,
                       codec.codec_id,
                       holder.fullRange,
                       holder.rgbMatrix,
                       codec.colorspace,
                       codec.color_primaries,
                       codec.color_trc,
                       codec.color_range,
                       holder.linesAbove,
                       holder.linesBelow};
}

}  // namespace xv
