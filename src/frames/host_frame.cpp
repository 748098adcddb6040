#include "frames/host_frame.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

#include "base/auto_obj_base.h"
#include "base/guard.h"
#include "base/text.h"
#include "media/pixel_layout.h"
#include "picture/crop.h"
#include "xvwriter/nodes.h"

namespace xv {
namespace {

struct ExtraBlock {
  std::uint32_t fourcc = 0;  // 0: keyed by name
  std::string name;
  std::uint32_t size = 0;
  const std::uint8_t* data = nullptr;
  Ref<IUnknown> owner;
};

struct NamedObject {
  std::string name;
  Ref<IUnknown> object;
};

struct NamedText {
  std::string name;
  std::string value;
};

template <class T>
T* FindNamed(std::vector<T>& items, const std::string& name) {
  const auto found = std::find_if(items.begin(), items.end(), [&](const T& item) {
    return !item.name.empty() && EqualsNoCase(item.name, name);
  });
  return found == items.end() ? nullptr : &*found;
}

// One object with three views.
class HostFrame final : public AutoObjBase<HostFrame, IXvFrame, IXfFrame, IXvFrameExtras> {
 public:
  HostFrame(const XvFrameDesc& desc, Ref<IUnknown> owner)
      : time_(desc.time),
        props_(desc.props),
        video_(desc.video),
        audio_(desc.audio),
        videoSize_(desc.video == nullptr ? 0 : desc.cbVideo),
        audioSize_(desc.audio == nullptr ? 0 : desc.cbAudio),
        owner_(std::move(owner)) {}

  // IXvFrame
  HRESULT FrameExtraGet(std::uint32_t fourcc, std::uint32_t* size,
                        const std::uint8_t** data) noexcept override {
    if (size == nullptr || data == nullptr) return E_POINTER;
    const ExtraBlock* block = FindFourCC(fourcc);
    *size = block == nullptr ? 0 : block->size;
    *data = block == nullptr ? nullptr : block->data;
    return S_OK;
  }
  HRESULT FrameAllGet(XV_TIME* time, XV_AV_PROPS* props, std::uint32_t* audioSize,
                      const std::uint8_t** audio, std::uint32_t* videoSize,
                      const std::uint8_t** video) noexcept override {
    if (time != nullptr) *time = time_;
    if (props != nullptr) *props = props_;
    if (audioSize != nullptr) *audioSize = audioSize_;
    if (audio != nullptr) *audio = audio_;
    if (videoSize != nullptr) *videoSize = videoSize_;
    if (video != nullptr) *video = video_;
    return S_OK;
  }
  HRESULT FrameExtraGetByName(const char16_t* name, std::uint32_t* size,
                              const std::uint8_t** data) noexcept override {
    return Guarded([&]() -> Status {
      if (name == nullptr || size == nullptr || data == nullptr) return E_POINTER;
      const std::string key = Utf8FromUtf16(name);
      const ExtraBlock* block = FindNamed(extras_, key);
      if (block == nullptr && key.size() == 4) block = FindFourCC(FourCCOf(key));
      *size = block == nullptr ? 0 : block->size;
      *data = block == nullptr ? nullptr : block->data;
      return block == nullptr ? S_FALSE : S_OK;
    });
  }

  // IXfFrame
  HRESULT FramePropsGet(XV_AV_PROPS* props, std::uint32_t* count) noexcept override {
    if (props == nullptr) return E_POINTER;
    *props = props_;
    if (count != nullptr) *count = 0;
    return S_OK;
  }
  HRESULT FrameTimeGet(XV_TIME* time) noexcept override {
    if (time == nullptr) return E_POINTER;
    *time = time_;
    return S_OK;
  }
  HRESULT FrameTimeSet(const XV_TIME* time) noexcept override {
    if (time == nullptr) return E_POINTER;
    time_ = *time;
    return S_OK;
  }
  HRESULT FrameInfoGet(XV_FRAME_INFO* info) noexcept override {
    if (info == nullptr) return E_POINTER;
    *info = {};
    info->time = time_;
    info->props = props_;
    info->cbAudio = audioSize_;
    info->pbAudio = audio_;
    return S_OK;
  }
  HRESULT FrameVideoGet(std::uint32_t* size, const std::uint8_t** data) noexcept override {
    if (size == nullptr || data == nullptr) return E_POINTER;
    *size = videoSize_;
    *data = video_;
    return S_OK;
  }
  HRESULT FrameAudioGet(std::uint32_t* size, const std::uint8_t** data) noexcept override {
    if (size == nullptr || data == nullptr) return E_POINTER;
    *size = audioSize_;
    *data = audio_;
    return S_OK;
  }

  // IXvFrameExtras
  HRESULT ExtraSet(std::uint32_t fourcc, std::uint32_t size, const std::uint8_t* data,
                   IUnknown* owner) noexcept override {
    return Guarded([&]() -> Status {
      if (fourcc == 0) return E_INVALIDARG;
      std::erase_if(extras_, [&](const ExtraBlock& block) { return block.fourcc == fourcc; });
      if (data != nullptr)
        extras_.push_back({fourcc, {}, size, data, Ref<IUnknown>::Retain(owner)});
      return S_OK;
    });
  }
  HRESULT ExtraSetByName(const char16_t* name, std::uint32_t size, const std::uint8_t* data,
                         IUnknown* owner) noexcept override {
    return Guarded([&]() -> Status {
      return SetNamedBlock(name, size, data, Ref<IUnknown>::Retain(owner), data == nullptr);
    });
  }
  HRESULT NumberSet(const char16_t* name, std::int64_t value) noexcept override {
    return Guarded([&]() -> Status {
      const auto* carrier =
          reinterpret_cast<const std::uint8_t*>(static_cast<std::intptr_t>(value));
      return SetNamedBlock(name, 0, carrier, nullptr, false);
    });
  }
  HRESULT TextSet(const char16_t* name, const char16_t* value) noexcept override {
    return Guarded([&]() -> Status {
      const std::string key = Utf8FromUtf16(name);
      if (key.empty()) return E_INVALIDARG;
      std::erase_if(texts_, [&](const NamedText& text) { return EqualsNoCase(text.name, key); });
      if (value != nullptr) texts_.push_back({key, Utf8FromUtf16(value)});
      return S_OK;
    });
  }
  HRESULT TextGet(const char16_t* name, char16_t** value) noexcept override {
    return Guarded([&]() -> Status {
      if (value == nullptr) return E_POINTER;
      *value = nullptr;
      const NamedText* text = FindNamed(texts_, Utf8FromUtf16(name));
      return text == nullptr ? Status(S_FALSE) : GiveString(text->value, value);
    });
  }
  HRESULT ObjectSet(const char16_t* name, IUnknown* object) noexcept override {
    return Guarded([&]() -> Status {
      const std::string key = Utf8FromUtf16(name);
      if (key.empty()) return E_INVALIDARG;
      std::erase_if(objects_,
                    [&](const NamedObject& item) { return EqualsNoCase(item.name, key); });
      if (object != nullptr) objects_.push_back({key, Ref<IUnknown>::Retain(object)});
      return S_OK;
    });
  }
  HRESULT ObjectGet(const char16_t* name, IUnknown** object) noexcept override {
    return Guarded([&]() -> Status {
      if (object == nullptr) return E_POINTER;
      *object = nullptr;
      const NamedObject* found = FindNamed(objects_, Utf8FromUtf16(name));
      if (found == nullptr) return S_FALSE;
      *object = Ref<IUnknown>(found->object).Detach();
      return S_OK;
    });
  }
  HRESULT NodeSet(IXvNode* node) noexcept override {
    node_ = Ref<IXvNode>::Retain(node);
    return S_OK;
  }
  HRESULT NodeGet(IXvNode** node) noexcept override {
    if (node == nullptr) return E_POINTER;
    *node = Ref<IXvNode>(node_).Detach();
    return *node == nullptr ? S_FALSE : S_OK;
  }
  HRESULT CropView(std::int32_t left, std::int32_t top, std::int32_t width, std::int32_t height,
                   IXvFrame** view) noexcept override;

 private:
  static std::uint32_t FourCCOf(const std::string& text) {
    std::uint32_t code = 0;
    for (int i = 3; i >= 0; --i) {
      code = code << 8 | static_cast<unsigned char>(text[static_cast<std::size_t>(i)]);
    }
    return code;
  }
  const ExtraBlock* FindFourCC(std::uint32_t fourcc) const {
    for (const ExtraBlock& block : extras_) {
      if (fourcc != 0 && block.fourcc == fourcc) return &block;
    }
    return nullptr;
  }
  Status SetNamedBlock(const char16_t* name, std::uint32_t size, const std::uint8_t* data,
                       Ref<IUnknown> owner, bool removeOnly) {
    const std::string key = Utf8FromUtf16(name);
    if (key.empty()) return E_INVALIDARG;
    std::erase_if(extras_, [&](const ExtraBlock& block) {
      return !block.name.empty() && EqualsNoCase(block.name, key);
    });
    if (!removeOnly) extras_.push_back({0, key, size, data, std::move(owner)});
    return S_OK;
  }

  XV_TIME time_;
  XV_AV_PROPS props_;
  const std::uint8_t* video_;
  const std::uint8_t* audio_;
  std::uint32_t videoSize_;
  std::uint32_t audioSize_;
  Ref<IUnknown> owner_;
  std::vector<ExtraBlock> extras_;
  std::vector<NamedText> texts_;
  std::vector<NamedObject> objects_;
  Ref<IXvNode> node_;
};

// The first byte of the view in the parent's buffer and the bytes that it spans.
struct ViewSpan {
  std::int64_t offset;
  std::int64_t bytes;
};

ViewSpan SpanOfView(const XV_VID_PROPS& vid, std::int32_t left, std::int32_t top,
                    std::int32_t width, std::int32_t height) {
  const std::int64_t rowBytes = vid.nRowBytes;
  const std::int64_t pixelBytes = BitsPerPixel(vid.fccColor) / 8;
  // A bottom-up buffer starts with the last line.
  const std::int64_t lines = std::abs(vid.nHeight);
  const bool bottomUp = IsBottomUp(vid.fccColor, vid.nHeight);
  const std::int64_t firstRow = bottomUp ? lines - top - height : top;
  return {firstRow * rowBytes + left * pixelBytes, (height - 1) * rowBytes + width * pixelBytes};
}

HRESULT HostFrame::CropView(std::int32_t left, std::int32_t top, std::int32_t width,
                            std::int32_t height, IXvFrame** view) noexcept {
  return Guarded([&]() -> Status {
    if (view == nullptr) return E_POINTER;
    *view = nullptr;
    const XV_VID_PROPS& vid = props_.vid;
    if (left < 0 || top < 0 || width < 1 || height < 1 || left > vid.nWidth - width ||
        top > std::abs(vid.nHeight) - height) {
      return E_INVALIDARG;
    }
    const int bits = BitsPerPixel(vid.fccColor);
    if (IsPlanar(vid.fccColor) || vid.fccColor == kFccV210 || vid.fccColor == kFccR210 ||
        bits < 8) {
      return E_NOTIMPL;
    }
    if (bits == 16 && ((left | width) & 1) != 0) return E_INVALIDARG;

    XvFrameDesc desc{};
    desc.cbSize = sizeof(desc);
    desc.time = time_;
    desc.props = props_;
    desc.props.vid =
        CutProps(vid, {left, top, vid.nWidth - width - left, std::abs(vid.nHeight) - height - top});
    if (vid.nRowBytes == 0) desc.props.vid.nRowBytes = NaturalRowBytes(vid.fccColor, vid.nWidth);
    XV_VID_PROPS parent = vid;
    parent.nRowBytes = desc.props.vid.nRowBytes;
    const ViewSpan span = SpanOfView(parent, left, top, width, height);
    if (span.offset < 0 || span.offset + span.bytes > videoSize_) return E_INVALIDARG;
    desc.video = video_ + span.offset;
    desc.cbVideo = static_cast<std::uint32_t>(span.bytes);
    desc.audio = audio_;
    desc.cbAudio = audioSize_;
    auto cropped = MakeRef<HostFrame>(desc, Ref<IUnknown>::Retain(static_cast<IXvFrame*>(this)));
    cropped->extras_ = extras_;
    cropped->texts_ = texts_;
    cropped->objects_ = objects_;
    cropped->node_ = node_;
    *view = cropped.Detach();
    return S_OK;
  });
}

class FrameFactoryImpl final : public AutoObjBase<FrameFactoryImpl, IXvFrameFactory> {
 public:
  HRESULT FrameCreate(const XvFrameDesc* desc, IXvFrame** out) noexcept override {
    return Guarded([&]() -> Status {
      if (desc == nullptr || out == nullptr) return E_POINTER;
      if (desc->cbSize < sizeof(XvFrameDesc)) return E_INVALIDARG;
      *out = MakeRef<HostFrame>(*desc, Ref<IUnknown>::Retain(desc->owner)).Detach();
      return S_OK;
    });
  }
};

std::mutex& FactoryLock() {
  static std::mutex lock;
  return lock;
}

Ref<IXvFrameFactory>& HostFactory() {
  static Ref<IXvFrameFactory> factory;
  return factory;
}

}  // namespace

Ref<IXvFrameFactory> BuiltInFrameFactory() { return MakeRef<FrameFactoryImpl>(); }

Ref<IXvFrameFactory> FrameFactory() {
  const std::lock_guard guard(FactoryLock());
  return HostFactory() ? HostFactory() : BuiltInFrameFactory();
}

}  // namespace xv

extern "C" {

std::int32_t XvRowBytesGet(std::uint32_t layout, std::int32_t width) {
  return xv::NaturalRowBytes(layout, width);
}

xv::HRESULT XvFrameFactoryGet(xv::IXvFrameFactory** out) {
  return xv::Guarded([&]() -> xv::Status {
    if (out == nullptr) return xv::E_POINTER;
    *out = xv::FrameFactory().Detach();
    return xv::S_OK;
  });
}

xv::HRESULT XvFrameFactorySet(xv::IXvFrameFactory* factory) {
  return xv::Guarded([&]() -> xv::Status {
    const std::lock_guard guard(xv::FactoryLock());
    xv::HostFactory() = xv::Ref<xv::IXvFrameFactory>::Retain(factory);
    return xv::S_OK;
  });
}
}
