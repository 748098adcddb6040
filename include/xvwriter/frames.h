#pragma once

#include "xvwriter/media.h"
#include "xvwriter/object.h"

// Frames: what a host pushes. A frame object offers IXvFrame and IXfFrame (query either from the
// other) and, optionally, IXvFrameExtras; the frames of XvFrameFactoryGet offer all three, and a
// host may implement its own. The writer calls only what stands here.
//
// Ownership. The memory behind a frame is the frame's: the writer reads it for as long as it holds
// a reference, which may be long after the put (a queue, an encoder's look-ahead, a raw packet on
// its way to the disk), and never writes to it. The last reference may go on any thread.
//
// Threads. Whoever makes a frame owns it until it is pushed; setters belong to that time. From then
// on several threads read it at once, so a frame of a host's must not change any more.
namespace xv {

struct IXvNode;

struct IXvFrame : IUnknown {
  static constexpr Guid kIid{
      0xb13616f3, 0x4648, 0x4f97, {0x9c, 0x40, 0x0f, 0x6c, 0x2d, 0x2f, 0xff, 0xa8}};

  // A side-data block under a four-character key (FourCC("C608")). S_OK in any case: size 0 and a
  // null pointer when the frame has none. The block stays the frame's.
  virtual HRESULT FrameExtraGet(std::uint32_t fourcc, std::uint32_t* size,
                                const std::uint8_t** data) noexcept = 0;
  // Everything in one call; each argument may be null. A buffer that the frame does not have is
  // null with size 0. Buffers stay the frame's, valid while a reference is held. What this gives is
  // what is recorded: props describe the bytes, time is the host's, before any correction.
  virtual HRESULT FrameAllGet(XV_TIME* time, XV_AV_PROPS* props, std::uint32_t* audioSize,
                              const std::uint8_t** audio, std::uint32_t* videoSize,
                              const std::uint8_t** video) noexcept = 0;
  // A side-data block by its name, in any case; a name of four letters finds a four-character key
  // too.
  //   S_OK     a block; or a number: size 0, the number itself as the pointer's value.
  //   S_FALSE  the frame has nothing of that name; size 0 and null.
  virtual HRESULT FrameExtraGetByName(const char16_t* name, std::uint32_t* size,
                                      const std::uint8_t** data) noexcept = 0;

 protected:
  ~IXvFrame() = default;
};

// The second view of the same frame: each part by itself. The writer asks for it with every
// picture, so a frame without it is refused (E_NOINTERFACE from the put).
struct IXfFrame : IUnknown {
  static constexpr Guid kIid{
      0x0f5f725e, 0x18e5, 0x42e2, {0x9d, 0xa5, 0xf5, 0x81, 0xac, 0xb1, 0x0c, 0x5c}};

  // `count` may be null; it gets 0.
  virtual HRESULT FramePropsGet(XV_AV_PROPS* props, std::uint32_t* count) noexcept = 0;
  virtual HRESULT FrameTimeGet(XV_TIME* time) noexcept = 0;
  // Before the frame is pushed.
  virtual HRESULT FrameTimeSet(const XV_TIME* time) noexcept = 0;
  // Time, properties and sound in one record.
  virtual HRESULT FrameInfoGet(XV_FRAME_INFO* info) noexcept = 0;
  // The picture's bytes, the sound's bytes: size 0 and null when there are none. The frame's, as
  // above.
  virtual HRESULT FrameVideoGet(std::uint32_t* size, const std::uint8_t** data) noexcept = 0;
  virtual HRESULT FrameAudioGet(std::uint32_t* size, const std::uint8_t** data) noexcept = 0;

 protected:
  ~IXfFrame() = default;
};

// What else a frame may carry: side data, numbers, texts, objects, attributes. Setters belong to
// the time before the frame is pushed: one caller, no other reader. Getters may run on any thread.
// Names compare without regard to case; an empty one gives E_INVALIDARG.
struct IXvFrameExtras : IUnknown {
  static constexpr Guid kIid{
      0xf302c1ae, 0xf0a2, 0x4069, {0xa8, 0xc5, 0x11, 0x42, 0x6d, 0xdb, 0x13, 0xf3}};

  // Attaches side data without a copy, in the place of what was under that key. `owner` (may be
  // null) is held until the frame dies or the block is replaced and must keep `data` alive; after a
  // failure it is not held. A null `data` takes the block off. docs/captions.md lists the keys that
  // are read.
  //   E_INVALIDARG  the key is 0.
  virtual HRESULT ExtraSet(std::uint32_t fourcc, std::uint32_t size, const std::uint8_t* data,
                           IUnknown* owner) noexcept = 0;
  // The same under a name, beside what has a four-character key.
  virtual HRESULT ExtraSetByName(const char16_t* name, std::uint32_t size, const std::uint8_t* data,
                                 IUnknown* owner) noexcept = 0;
  // A number under a name, in the place of a block of that name. Read by FrameExtraGetByName.
  virtual HRESULT NumberSet(const char16_t* name, std::int64_t value) noexcept = 0;
  // A copy of a text under a name; null takes it off. Texts have names apart from those of blocks.
  virtual HRESULT TextSet(const char16_t* name, const char16_t* value) noexcept = 0;
  // S_FALSE and a null string when the frame has no such text.
  virtual HRESULT TextGet(const char16_t* name, char16_t** value) noexcept = 0;
  // A counted object under a name; null takes it off. The writer reads "mask", and "mask8" where
  // that is absent: a frame in kFccRGB8 whose bytes become the alpha of a picture that has none,
  // where the encoder takes 32-bit pixels with alpha. The smaller of both sizes counts.
  virtual HRESULT ObjectSet(const char16_t* name, IUnknown* object) noexcept = 0;
  // S_FALSE and a null pointer when the frame has no such object.
  virtual HRESULT ObjectGet(const char16_t* name, IUnknown** object) noexcept = 0;
  // The frame's own attributes, which win over the session's for this frame; docs/hosts.md lists
  // the names. XvNodeCreate makes a node. The frame holds a reference, not a copy: leave the node
  // as it is from the put on. Null takes it off.
  virtual HRESULT NodeSet(IXvNode* node) noexcept = 0;
  // S_FALSE and a null pointer when the frame has no attributes.
  virtual HRESULT NodeGet(IXvNode** node) noexcept = 0;
  // A frame that shows `width` x `height` pixels from (left, top) of this one, top meaning the
  // upper edge as it is seen. Its aspect is that of the cut: shapes stay. It shares the memory,
  // holds this frame, and has its sound, time and extras of now.
  //   E_INVALIDARG  a rectangle that is empty or not inside the picture, or, with 16 bits a pixel,
  //   an
  //                 odd left or width; a buffer too small for the properties.
  //   E_NOTIMPL     a layout of planes or of 10 bits, or an unknown one.
  virtual HRESULT CropView(std::int32_t left, std::int32_t top, std::int32_t width,
                           std::int32_t height, IXvFrame** view) noexcept = 0;

 protected:
  ~IXvFrameExtras() = default;
};

// How a frame is made. Memory is never copied: `owner` keeps it alive and is released with the
// frame's last reference, on whichever thread drops it. The record itself is copied.
struct XvFrameDesc {
  std::uint32_t cbSize;  // sizeof(XvFrameDesc)
  std::uint32_t nReserved;
  XV_TIME time;
  XV_AV_PROPS props;
  const std::uint8_t* video;  // a picture as props.vid says, may be null
  const std::uint8_t* audio;  // interleaved samples as props.aud says, may be null
  std::uint32_t cbVideo;      // bytes at `video`; below 5 counts as no picture
  std::uint32_t cbAudio;      // bytes at `audio`; below 5 counts as no sound
  IUnknown* owner;            // may be null: then the memory must outlive the frame
};

// Makes frames: for hosts, and for the pictures that the writer converts to another geometry. Any
// thread.
struct IXvFrameFactory : IUnknown {
  static constexpr Guid kIid{
      0x95c7a737, 0xf5bd, 0x4976, {0x9a, 0x07, 0x27, 0xa4, 0x87, 0x1d, 0x5f, 0xe5}};

  // A frame with one reference. After a failure `owner` is not held and the memory is the caller's.
  // The properties are taken as they are; what does not fit shows when the frame is put.
  //   E_INVALIDARG  cbSize is too small: the record is of another version.
  virtual HRESULT FrameCreate(const XvFrameDesc* desc, IXvFrame** out) noexcept = 0;

 protected:
  ~IXvFrameFactory() = default;
};

}  // namespace xv

extern "C" {

// The natural distance, in bytes, of two lines of a layout's first plane: S of media.h, the least
// that counts. 0 for an unknown layout or a width below 1. Any thread.
XV_EXPORT std::int32_t XvRowBytesGet(std::uint32_t layout, std::int32_t width);

// The process's frame factory, with a reference: the one a host has set, else the built-in one. Any
// thread.
XV_EXPORT xv::HRESULT XvFrameFactoryGet(xv::IXvFrameFactory** out);
// Puts the host's factory in the place of the built-in one, for the whole process; null brings that
// back. The library holds a reference until then. Frames that are there stay as they are. Any
// thread, at best before the first writer is made.
XV_EXPORT xv::HRESULT XvFrameFactorySet(xv::IXvFrameFactory* factory);
}
