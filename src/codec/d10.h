#pragma once

#include <string>

#include "base/status.h"
#include "codec/video_geometry.h"
#include "contracts/av_handles.h"
#include "tree/node.h"

// MPEG-2 as D-10 tapes and IMX files have it (SMPTE 356M, MXF mapping SMPTE 386M): intra pictures
// of constant size, 4:2:2, with the lines of the vertical interval above the picture.
namespace xv {

// A track of that kind: the attribute "d10", or MPEG-2 in the container that takes nothing else.
bool IsD10(const XMLParse::CoXMLNode& node, AVCodecID codec, const AVOutputFormat& format);

// 720x576 of 608 lines at 25, or 720x480 of 512 lines at 30000/1001, whichever the rate is nearer
// to, with the aspect and the field order of `input`, which has what the track's options say. A
// picture with the bottom field first keeps its fields: it stands a line higher.
VideoGeometry D10Geometry(const XV_VID_PROPS& input);

// The bit rate of the track's options: 30, 40 or 50 Mbit/s, 50 where there is none.
//   E_INVALIDARG  another one; `words` say so.
Status ReadD10Rate(const XMLParse::CoXMLNode& node, std::int64_t* rate, std::string* words);

// Bytes of each picture.
int D10PictureBytes(std::int64_t rate, AVRational timeBase);

// What the standard leaves no choice of, in place of what the options say. The encoder's rate is
// the highest that never exceeds D10PictureBytes; with 525 lines a picture may lack a byte.
void SetD10Options(std::int64_t rate, AVRational timeBase, AvDictionary& options);

// QuickTime's name of it ("mx5p") with that bit rate and pictures a second; 0 for any other
// container.
unsigned D10Tag(std::int64_t rate, double pictures, const AVOutputFormat& format);

}  // namespace xv
