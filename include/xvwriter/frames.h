#pragma once

#include "xvwriter/media.h"
#include "xvwriter/object.h"

// Frames: what a host pushes. A frame object offers IXvFrame and IXfFrame (query either from the
// other) and, optionally, IXvFrameExtras. The writer calls only what stands here.
namespace xv {

struct IXvNode;

struct IXvFrame : IUnknown {
  static constexpr Guid kIid{
      0xb13616f3, 0x4648, 0x4f97, {0x9c, 0x40, 0x0f, 0x6c, 0x2d, 0x2f, 0xff, 0xa8}};

  // A side-data block under a four-character key. S_OK with size 0 and a null pointer if there is
  // none. The frame keeps ownership.
  virtual HRESULT FrameExtraGet(std::uint32_t fourcc, std::uint32_t* size,
                                const std::uint8_t** data) noexcept = 0;
  // Everything in one call. The buffers stay the frame's, valid while a reference is held.
  virtual HRESULT FrameAllGet(XV_TIME* time, XV_AV_PROPS* props, std::uint32_t* audioSize,
                              const std::uint8_t** audio, std::uint32_t* videoSize,
                              const std::uint8_t** video) noexcept = 0;
  // As FrameExtraGet, by name. Absent: S_FALSE. A number: S_OK, size 0, the number in the pointer.
  virtual HRESULT FrameExtraGetByName(const char16_t* name, std::uint32_t* size,
                                      const std::uint8_t** data) noexcept = 0;

 protected:
  ~IXvFrame() = default;
};

struct IXfFrame : IUnknown {
  static constexpr Guid kIid{
      0x0f5f725e, 0x18e5, 0x42e2, {0x9d, 0xa5, 0xf5, 0x81, 0xac, 0xb1, 0x0c, 0x5c}};

  virtual HRESULT FramePropsGet(XV_AV_PROPS* props, std::uint32_t* count) noexcept = 0;
  virtual HRESULT FrameTimeGet(XV_TIME* time) noexcept = 0;
  virtual HRESULT FrameTimeSet(const XV_TIME* time) noexcept = 0;
  virtual HRESULT FrameInfoGet(XV_FRAME_INFO* info) noexcept = 0;
  virtual HRESULT FrameVideoGet(std::uint32_t* size, const std::uint8_t** data) noexcept = 0;
  virtual HRESULT FrameAudioGet(std::uint32_t* size, const std::uint8_t** data) noexcept = 0;

 protected:
  ~IXfFrame() = default;
};

// What else a frame may carry. Setters belong to the time before the frame is pushed: one caller,
// no other reader. Getters may run on any thread.
struct IXvFrameExtras : IUnknown {
  static constexpr Guid kIid{
      0xf302c1ae, 0xf0a2, 0x4069, {0xa8, 0xc5, 0x11, 0x42, 0x6d, 0xdb, 0x13, 0xf3}};

  // Attaches side data without a copy. `owner` (may be null) is held until the frame dies or the
  // block is replaced; it must keep `data` alive.
  virtual HRESULT ExtraSet(std::uint32_t fourcc, std::uint32_t size, const std::uint8_t* data,
                           IUnknown* owner) noexcept = 0;
  virtual HRESULT ExtraSetByName(const char16_t* name, std::uint32_t size, const std::uint8_t* data,
                                 IUnknown* owner) noexcept = 0;
  virtual HRESULT NumberSet(const char16_t* name, std::int64_t value) noexcept = 0;
  virtual HRESULT TextSet(const char16_t* name, const char16_t* value) noexcept = 0;
  // S_FALSE and a null string when there is none.
  virtual HRESULT TextGet(const char16_t* name, char16_t** value) noexcept = 0;
  // Attached objects: masks ("mask", "mask8"), a ready packet ("video.encoded_packet").
  virtual HRESULT ObjectSet(const char16_t* name, IUnknown* object) noexcept = 0;
  // S_FALSE and a null pointer when there is none.
  virtual HRESULT ObjectGet(const char16_t* name, IUnknown** object) noexcept = 0;
  // The frame's own attributes, null until set. They override the session's for this frame.
  virtual HRESULT NodeSet(IXvNode* node) noexcept = 0;
  virtual HRESULT NodeGet(IXvNode** node) noexcept = 0;
  // A frame that shows `width` x `height` pixels from (left, top) of this one, sharing its memory.
  // E_INVALIDARG for a rectangle outside the picture or, with subsampled layouts, on odd edges;
  // E_NOTIMPL for planar layouts.
  virtual HRESULT CropView(std::int32_t left, std::int32_t top, std::int32_t width,
                           std::int32_t height, IXvFrame** view) noexcept = 0;

 protected:
  ~IXvFrameExtras() = default;
};

// How a frame is made. Memory is never copied: `owner` keeps it alive and is released with the
// frame's last reference, on whichever thread drops it.
struct XvFrameDesc {
  std::uint32_t cbSize;  // sizeof(XvFrameDesc)
  std::uint32_t nReserved;
  XV_TIME time;
  XV_AV_PROPS props;
  const std::uint8_t* video;  // may be null
  const std::uint8_t* audio;  // interleaved samples, may be null
  std::uint32_t cbVideo;
  std::uint32_t cbAudio;
  IUnknown* owner;  // may be null: then the memory must outlive the frame
};

struct IXvFrameFactory : IUnknown {
  static constexpr Guid kIid{
      0x95c7a737, 0xf5bd, 0x4976, {0x9a, 0x07, 0x27, 0xa4, 0x87, 0x1d, 0x5f, 0xe5}};

  virtual HRESULT FrameCreate(const XvFrameDesc* desc, IXvFrame** out) noexcept = 0;

 protected:
  ~IXvFrameFactory() = default;
};

}  // namespace xv

extern "C" {

// The process's frame factory: the one a host has set, else the built-in one.
XV_EXPORT xv::HRESULT XvFrameFactoryGet(xv::IXvFrameFactory** out);
// Puts the host's factory in the place of the built-in one; null brings that back.
XV_EXPORT xv::HRESULT XvFrameFactorySet(xv::IXvFrameFactory* factory);
}
