#pragma once

#include <cstdint>
#include <string>

#include "contracts/av_handles.h"
#include "hw/pseudo_codecs.h"
#include "tree/node.h"

namespace xv {

struct CodecChoice {
  PseudoCodec pseudo = PseudoCodec::kNone;
  AVCodecID id = AV_CODEC_ID_NONE;  // the reported id for a pseudo codec
  std::string name;                 // as asked for; "" for none
  bool nameUnknown = false;         // the name is no encoder here, another one stands in
};

// Of an encoder's or a codec's name, AV_CODEC_ID_NONE where nothing here encodes it.
AVCodecID EncoderIdFromName(const std::string& name);

// The format's own codec of a kind. Formats whose "video" is a cover picture have none.
AVCodecID DefaultCodec(const AVOutputFormat& format, AVMediaType type);

// Picks the encoder of a track from its options node. `node` is the track's private copy: the
// presets that a vendor's name implies are written into it. `defaultId` is the format's own.
CodecChoice ChooseCodec(XMLParse::CoXMLNode& node, const AVFormatContext& oc, AVCodecID defaultId);

// The encoder of a choice for a track of kind `type`: by name, else by id. Null when there is none.
const AVCodec* FindEncoder(const CodecChoice& choice, AVMediaType type);

// For a person: the name that is no encoder of kind `type`, and the nearest that is.
std::string MissingEncoderWords(const std::string& name, AVMediaType type);

}  // namespace xv
