#pragma once

#include <cstdint>

#include "base/ref.h"
#include "frames/colour_choice.h"
#include "frames/frame_ffm.h"
#include "frames/geometry_converter.h"
#include "frames/owned_frame.h"
#include "frames/pts_clock.h"
#include "frames/scaling_choice.h"
#include "picture/codec_picture.h"
#include "picture/picture_pool.h"
#include "tree/node.h"

namespace xv {

// What preparation needs to know of a codec.
struct CodecView {
  bool closed = true;
  AVRational timeBase{0, 1};
  int width = 0;
  int height = 0;
  int pixelFormat = AV_PIX_FMT_NONE;  // or kPixFmtV210
  AVCodecID codecId = AV_CODEC_ID_NONE;
  bool fullRange = false;             // the encoder wants 0-255 YUV
  Matrix rgbMatrix = Matrix::kBt601;  // that YCbCr is made of RGB with
  // As the stream is tagged; some encoders write what a picture says.
  AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
  AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
  AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
  AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
  int linesAbove = 0;  // black ones around the picture, within the height
  int linesBelow = 0;
};

// One video stream's path from host frames to encoder pictures, with what it keeps between frames.
// Belongs to one thread at a time.
struct VideoPreparation {
  XV_VID_PROPS target{};  // zero: as the source is
  CodecView codec;
  bool synthetic = false;           // a placeholder stream: black pictures, frames only give time
  XMLParse::XMLNodePtr streamNode;  // the stream's own attributes
  XMLParse::XMLNodePtr sessionNode;
  int threads = 0;  // the most that work on a picture; 0: any number
  PtsClock clock;
  PicturePool pool;
  PictureConverter converter;
  Ref<XvConverterRC2> geometry;  // made when a frame first needs it
  Ref<XvConverterRC2> maskGeometry;
  FrameMemory maskMemory;
};

// Makes the picture that the encoder takes, with its stamp in the codec's time base. Geometry that
// differs from the target's goes through XvConverterRC2, as do "crop", "rotate" and "mirror" of the
// frame's own node or else of the stream's; then the pixel format: the host's memory without a copy
// where it has it already. 32-bit formats with alpha take the frame's attached "mask" or "mask8",
// whose rows go in the picture's order and which is edited and scaled with it. The frame's own time
// counts unless `timeOverride` is given. `missing` (may be null) gets the ticks that stay empty
// ahead of the picture. One caller at a time for one `preparation`; the frame may be read by others
// meanwhile.
//   XV_S_SKIP_FRAME  the frame's time leaves no place for it.
//   S_FALSE          the frame has no valid picture; nothing to encode, its ticks stay empty.
//   E_INVALIDARG     the buffer is shorter than the properties say.
//   E_UNEXPECTED     the codec is closed, or no picture came out.
Status PrepareVideoFrame(VideoPreparation& preparation, const XV_TIME* timeOverride,
                         IXfFrame* frame, Ref<XvFrameFFM>* out, std::int64_t* missing);

// A frame of that time goes by without being encoded.
void PassVideoFrame(VideoPreparation& preparation, const XV_TIME& time);

}  // namespace xv
