#pragma once

#include "base/status.h"
#include "contracts/av_handles.h"
#include "picture/image_view.h"

namespace xv {

struct CodecConvertOptions {
  bool fullRange = false;           // the target's YCbCr is 0-255
  const ImageView* mask = nullptr;  // RGB8: alpha of 32-bit targets
  bool premultiply = true;          // colours by the mask's alpha
  Matrix matrix = Matrix::kBt601;   // of the source, see ImageView
};

// Fills a picture of the source's size in the encoder's pixel format by our own kernels.
//   S_OK           done.
//   S_FALSE        the pair has no routine here; libswscale may know it.
//   XV_E_NO_VALID_MEDIA  a routine failed.
Status ConvertToCodecFormat(const ImageView& source, AVFrame* target,
                            const CodecConvertOptions& options);

// Lays the mask's bytes into byte `byteOffset` of each 4-byte pixel, over the smaller of the two
// sizes; with `premultiply` the colours of those pixels are multiplied by their alpha.
//   E_NOTIMPL  the mask is not RGB8.
Status ApplyAlphaMask(const ImageView& mask, const ImageView& target, int byteOffset,
                      bool premultiply);

}  // namespace xv
