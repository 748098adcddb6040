#pragma once

#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

// What an input says about itself, as attributes of a session; each text opens with a blank.
namespace xvrecord {

// Title, comment and the like of the file, language and title of its streams. What belongs to the
// file itself (brands, time of creation, time code) is left behind. `video` may be null.
std::string MetadataAttributes(const AVFormatContext& input, const AVStream* video,
                               const std::vector<const AVStream*>& audio);

// The colour tags of the decoder's pictures once they lie in that layout, as options that encoders
// know. Of an RGB layout nothing is said of the matrix: the writer makes one.
std::string ColourAttributes(const AVCodecContext& decoder, std::uint32_t layout);

// The matrix that the input tells, as an attribute that counts for any encoder; "" without one.
std::string MatrixAttribute(const AVCodecContext& decoder, std::uint32_t layout);

}  // namespace xvrecord
