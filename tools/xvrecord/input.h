#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "xvwriter/packets.hpp"

// Where frames come from: a media file or URL, or a test picture.
namespace xvrecord {

// A sentence for a person.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The command line asks for what cannot be.
class UsageError : public InputError {
 public:
  using InputError::InputError;
};

struct Block {
  std::shared_ptr<const void> keep;
  const std::uint8_t* data = nullptr;
  std::size_t bytes = 0;
};

struct InputFrame {
  xv::XV_AV_PROPS props{};
  xv::XV_TIME time{};
  Block video;
  Block audio;
  xv::host::Ptr<xv::IXfPacket> packet;  // in place of a picture
  std::vector<std::uint8_t> captions;   // cc data of CEA-708, three bytes a construct
};

class Input {
 public:
  virtual ~Input() = default;
  // The next frame; false at the end. Throws InputError.
  virtual bool Next(InputFrame* frame) = 0;
  // Seconds, 0 when not known.
  virtual double Duration() const = 0;
  // Attributes of a session that carry on what the input says about itself; each text opens with a
  // blank or is empty. Colour is for encoders of YUV pictures.
  virtual std::string Tags() const { return {}; }
  virtual std::string ColourTags() const { return {}; }
  virtual std::string MatrixTag() const { return {}; }  // for any encoder
  // True once when the input has broken off before its end.
  virtual std::string Trouble() const { return {}; }
};

// How a media file, URL or device is opened.
struct MediaOptions {
  std::uint32_t layout = 0;  // that frames are given in; 0: the one nearest to the decoder's
  std::string demuxer;       // FFmpeg's short name; empty: found by contents
  std::string rate;          // pictures a second, as FFmpeg writes rates; empty: the input's own
  std::string size;          // of raw pictures and devices
  std::string pixelFormat;   // the same, by FFmpeg's name
  std::vector<std::string> demuxerOptions;  // NAME=VALUE
  std::vector<std::string> map;             // "v", "a", "a:1", "2", as ChooseStreams reads them
  bool packets = false;                     // pictures are given as they are encoded
  bool oneTrack = false;                    // without a map one track of sound is enough
  double start = 0;                         // seconds of the input that are left out
  std::function<bool()> stopAsked;          // ends waits for the input; may be empty
};

// Throws InputError and UsageError; so does OpenTest.
std::unique_ptr<Input> OpenMedia(const std::string& url, const MediaOptions& options);
// "size=1920x1080,rate=25,format=UYVY,interlace=top,channels=2,seconds=10,captions=on".
std::unique_ptr<Input> OpenTest(const std::string& options, std::uint32_t layout);

// The layout's number from its name, 0 for an unknown one.
std::uint32_t LayoutFromName(const std::string& name);
std::vector<std::string> LayoutNames();

// Memory blocks that go back for reuse when their last user lets go.
class BlockPool {
 public:
  BlockPool();
  // `bytes` of memory; the contents are whatever they were.
  std::shared_ptr<std::vector<std::uint8_t>> Get(std::size_t bytes);

 private:
  struct Shelf;
  std::shared_ptr<Shelf> shelf_;
};

}  // namespace xvrecord
