#pragma once

#include <cstdint>
#include <memory>

#include "base/auto_obj_base.h"
#include "base/blob.h"
#include "base/ref.h"
#include "contracts/av_handles.h"
#include "convert/memory_shelf.h"
#include "xvwriter/frames.h"

namespace xv {

// Memory from av_malloc as a counted object.
class AVMalloc final : public AutoObjBase<AVMalloc> {
 public:
  explicit AVMalloc(std::size_t bytes) : data_(av_malloc(bytes)), size_(data_ ? bytes : 0) {}
  ~AVMalloc() override { av_free(data_); }
  void* data() const { return data_; }
  std::size_t size() const { return size_; }

 private:
  void* data_;
  std::size_t size_;
};

// Pictures of one size and format out of a pool, so that the steady state allocates nothing. Planes
// are 64-byte aligned and padded. One caller at a time; the pictures may be freed on any thread.
class PicturePool {
 public:
  // A writable picture; null when there is no memory or the format has no layout.
  AvPtr<AVFrame> Get(int format, int width, int height);

 private:
  std::shared_ptr<MemoryShelf> shelf_;
  int format_ = AV_PIX_FMT_NONE;
  int width_ = 0;
  int height_ = 0;
};

// A picture on its way from preparation to the encoder. One owner at a time.
class XvFrameFFM final : public AutoObjBase<XvFrameFFM> {
 public:
  static Status Create(XvFrameFFM** out);
  ~XvFrameFFM() override;

  // Wraps the host frame's picture without a copy; the AVFrame's buffer holds the host's reference,
  // so the memory lives as long as any encoder uses it. Null clears.
  //   E_NOINTERFACE        no IXfFrame view.
  //   XV_E_NO_PIXEL_FORMAT the layout has no pixel format, or the properties are not valid.
  //   E_INVALIDARG         the buffer is shorter than the properties say.
  Status Attach(IUnknown* hostFrame);
  // As Attach for memory with known properties; `owner` is held.
  Status AttachMemory(const XV_VID_PROPS& vid, const std::uint8_t* data, std::uint32_t size,
                      Ref<IUnknown> owner);
  // Takes a picture that this object then owns.
  void Adopt(AvPtr<AVFrame> picture);
  void Reset();

  // Keeps the host frame whose captions go into the packet. Releases an earlier one.
  void KeepSource(IXvFrame* source) { keptSource_ = Ref<IXvFrame>::Retain(source); }
  IXvFrame* KeptSource() const { return keptSource_.get(); }

  AVFrame* picture() const { return picture_.get(); }
  // The v210 bytes of a frame that FFmpeg has no format for (picture()->format is kPixFmtV210).
  bool borrowed() const { return borrowed_; }

 private:
  bool borrowed_ = false;
  AvPtr<AVFrame> picture_;
  AvPtr<AVSubtitle> subtitle_;
  Ref<IXvFrame> keptSource_;
};

// Field flags and sample aspect of `vid` onto a picture; HDYC is tagged BT.709.
void DescribePicture(const XV_VID_PROPS& vid, AVFrame* picture);

}  // namespace xv
