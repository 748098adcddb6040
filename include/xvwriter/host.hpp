#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xvwriter/frames.h"
#include "xvwriter/writer.h"

// RAII helpers for hosts: header-only, on top of the exported functions. Text is UTF-8 here.
namespace xv::host {

// A counted reference to an interface.
template <class T>
class Ptr {
 public:
  Ptr() = default;
  Ptr(const Ptr& other) : object_(other.object_) {
    if (object_ != nullptr) object_->AddRef();
  }
  Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Ptr& operator=(Ptr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ptr() {
    if (object_ != nullptr) object_->Release();
  }
  static Ptr Adopt(T* object) {
    Ptr ptr;
    ptr.object_ = object;
    return ptr;
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  // For out parameters.
  T** Receive() {
    *this = Ptr();
    return &object_;
  }

 private:
  T* object_ = nullptr;
};

// Another interface of the same object; empty when it has none.
template <class I, class T>
Ptr<I> QueryAs(const Ptr<T>& object) {
  void* out = nullptr;
  if (!object || Failed(object->QueryInterface(I::kIid, &out))) return {};
  return Ptr<I>::Adopt(static_cast<I*>(out));
}

// UTF-8 to UTF-16 and back. Ill-formed input becomes U+FFFD.
inline std::u16string Wide(std::string_view text) {
  std::u16string out;
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i++]);
    const int more = lead < 0x80 ? 0 : lead >= 0xF0 && lead < 0xF5 ? 3 : lead >= 0xE0 ? 2 : 1;
    char32_t code = more == 0 ? lead : lead & (0x3F >> more);
    bool good = lead < 0x80 || (lead >= 0xC2 && lead < 0xF5);
    for (int k = 0; k < more && good; ++k) {
      good = i < text.size() && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80;
      if (good) code = code << 6 | (static_cast<unsigned char>(text[i++]) & 0x3F);
    }
    if (!good || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) code = 0xFFFD;
    if (code >= 0x10000) {
      out += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
      code = 0xDC00 + ((code - 0x10000) & 0x3FF);
    }
    out += static_cast<char16_t>(code);
  }
  return out;
}

inline std::string Narrow(std::u16string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t code = text[i];
    const bool pair = code >= 0xD800 && code < 0xDC00 && i + 1 < text.size() &&
                      text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000;
    if (pair) {
      code = 0x10000 + ((code - 0xD800) << 10) + (text[++i] - 0xDC00);
    } else if (code >= 0xD800 && code < 0xE000) {
      code = 0xFFFD;
    }
    if (code < 0x80) {
      out += static_cast<char>(code);
      continue;
    }
    const int more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    out += static_cast<char>((0xFF00 >> (more + 1) & 0xFF) | code >> (6 * more));
    for (int k = more - 1; k >= 0; --k) out += static_cast<char>(0x80 | (code >> (6 * k) & 0x3F));
  }
  return out;
}

// Takes over an out string of the library. Null gives "".
inline std::string TakeString(char16_t* string) {
  std::string out;
  if (string != nullptr) out = Narrow({string, XvStringLength(string)});
  XvStringFree(string);
  return out;
}

// Whether two names are the same: the case of ASCII letters does not count.
inline bool SameText(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char x, char y) { return lower(x) == lower(y); });
}

// A status as a sentence with its number: "An argument is not valid. (0x80070057)".
inline std::string Describe(HRESULT result) {
  const char* sentence = StatusSentence(result);
  char number[24];
  std::snprintf(number, sizeof(number), " (0x%08X)", static_cast<unsigned>(result));
  return std::string(sentence != nullptr ? sentence : "The system reported an error.") + number;
}

// The host's own memory, kept alive by a frame: the frame's last reference lets go of it.
class SharedOwner final : public IUnknown {
 public:
  static Ptr<IUnknown> Make(std::shared_ptr<const void> memory) {
    if (memory == nullptr) return {};
    return Ptr<IUnknown>::Adopt(new SharedOwner(std::move(memory)));
  }
  HRESULT QueryInterface(const Guid& iid, void** out) noexcept override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (!(iid == IUnknown::kIid)) return E_NOINTERFACE;
    *out = static_cast<IUnknown*>(this);
    AddRef();
    return S_OK;
  }
  std::uint32_t AddRef() noexcept override { return ++count_; }
  std::uint32_t Release() noexcept override {
    const std::uint32_t left = --count_;
    if (left == 0) delete this;
    return left;
  }

 private:
  explicit SharedOwner(std::shared_ptr<const void> memory) : memory_(std::move(memory)) {}
  ~SharedOwner() = default;

  std::atomic<std::uint32_t> count_{1};
  std::shared_ptr<const void> memory_;
};

// Several pieces of memory under one owner.
class OwnerList final {
 public:
  void Add(std::shared_ptr<const void> memory) {
    if (memory == nullptr) return;
    owners_ = owners_ == nullptr ? std::move(memory)
                                 : std::make_shared<Pair>(std::move(owners_), std::move(memory));
  }
  std::shared_ptr<const void> Take() { return std::move(owners_); }

 private:
  using Pair = std::pair<std::shared_ptr<const void>, std::shared_ptr<const void>>;
  std::shared_ptr<const void> owners_;
};

// Builds one frame over the host's memory, without a copy. Each `keep` (may be null) is held until
// the frame and all that the writer made of it are gone; without it the memory must live that long.
// The setters chain; Build may be called once.
class FrameBuilder {
 public:
  FrameBuilder() { desc_.cbSize = sizeof(desc_); }

  // A picture. `height` is signed: for RGB layouts positive is bottom-up. `rowBytes` 0 means the
  // layout's natural row; chroma planes follow the luma plane directly.
  FrameBuilder& Video(std::uint32_t fourcc, int width, int height, double rate, const void* data,
                      std::size_t bytes, std::shared_ptr<const void> keep = nullptr,
                      int rowBytes = 0) {
    XV_VID_PROPS& vid = desc_.props.vid;
    vid.fccColor = fourcc;
    vid.nWidth = width;
    vid.nHeight = height;
    vid.nRowBytes = rowBytes;
    vid.dblRate = rate;
    desc_.video = static_cast<const std::uint8_t*>(data);
    desc_.cbVideo = static_cast<std::uint32_t>(bytes);
    owners_.Add(std::move(keep));
    return *this;
  }
  FrameBuilder& Format(eXvVideoFormat format) {
    desc_.props.vid.eVideoFormat = format;
    return *this;
  }
  FrameBuilder& Interlace(eXvInterlace order) {
    desc_.props.vid.eInterlace = order;
    return *this;
  }
  FrameBuilder& Aspect(int x, int y) {
    desc_.props.vid.nAspectX = static_cast<std::int16_t>(x);
    desc_.props.vid.nAspectY = static_cast<std::int16_t>(y);
    return *this;
  }
  // Interleaved samples. `bits` 16, 20, 24, 32, or -32 for 32-bit floats.
  FrameBuilder& Audio(int channels, int rate, int bits, const void* data, std::size_t bytes,
                      std::shared_ptr<const void> keep = nullptr, std::uint32_t trackMask = 0) {
    desc_.props.aud = {channels, rate, bits, trackMask};
    desc_.audio = static_cast<const std::uint8_t*>(data);
    desc_.cbAudio = static_cast<std::uint32_t>(bytes);
    owners_.Add(std::move(keep));
    return *this;
  }
  // Times in 100 ns; a `stop` that is not above `start` is taken as one frame later.
  FrameBuilder& Time(std::int64_t start, std::int64_t stop = 0, std::uint32_t flags = 0) {
    desc_.time.rtStart = start;
    desc_.time.rtStop = stop;
    desc_.time.eFlags = flags;
    return *this;
  }
  FrameBuilder& Timecode(unsigned hour, unsigned minute, unsigned second, unsigned frame,
                         bool dropFrame = false) {
    desc_.time.tcFrame = {hour, minute, second, frame, dropFrame ? eXvTC_DropFrame : 0, 0};
    return *this;
  }
  FrameBuilder& Props(const XV_AV_PROPS& props) {
    desc_.props = props;
    return *this;
  }

  // The frame, from the process's frame factory. Empty on failure, with the status in `result`.
  Ptr<IXvFrame> Build(HRESULT* result = nullptr) {
    Ptr<IXvFrameFactory> factory;
    Ptr<IXvFrame> frame;
    const Ptr<IUnknown> owner = SharedOwner::Make(owners_.Take());
    desc_.owner = owner.get();
    HRESULT status = XvFrameFactoryGet(factory.Receive());
    if (Succeeded(status)) status = factory->FrameCreate(&desc_, frame.Receive());
    if (result != nullptr) *result = status;
    return frame;
  }

 private:
  XvFrameDesc desc_{};
  OwnerList owners_;
};

// What goes onto a built frame, before it is pushed. Each gives a status.
inline HRESULT AddExtra(const Ptr<IXvFrame>& frame, std::uint32_t fourcc, const void* data,
                        std::size_t bytes, std::shared_ptr<const void> keep = nullptr) {
  const auto extras = QueryAs<IXvFrameExtras>(frame);
  const Ptr<IUnknown> owner = SharedOwner::Make(std::move(keep));
  return !extras ? E_NOINTERFACE
                 : extras->ExtraSet(fourcc, static_cast<std::uint32_t>(bytes),
                                    static_cast<const std::uint8_t*>(data), owner.get());
}
inline HRESULT AddExtra(const Ptr<IXvFrame>& frame, std::string_view name, const void* data,
                        std::size_t bytes, std::shared_ptr<const void> keep = nullptr) {
  const auto extras = QueryAs<IXvFrameExtras>(frame);
  const Ptr<IUnknown> owner = SharedOwner::Make(std::move(keep));
  return !extras ? E_NOINTERFACE
                 : extras->ExtraSetByName(Wide(name).c_str(), static_cast<std::uint32_t>(bytes),
                                          static_cast<const std::uint8_t*>(data), owner.get());
}
inline HRESULT AddObject(const Ptr<IXvFrame>& frame, std::string_view name, IUnknown* object) {
  const auto extras = QueryAs<IXvFrameExtras>(frame);
  return !extras ? E_NOINTERFACE : extras->ObjectSet(Wide(name).c_str(), object);
}
// An 8-bit mask (RGB8) that becomes the alpha of a 32-bit target.
inline HRESULT AddMask(const Ptr<IXvFrame>& frame, const Ptr<IXvFrame>& mask) {
  return AddObject(frame, "mask", mask.get());
}
// An encoded picture that takes the place of the frame's own.
inline HRESULT AddPacket(const Ptr<IXvFrame>& frame, IUnknown* packet) {
  return AddObject(frame, "video.encoded_packet", packet);
}

// The writer. Frames from one thread at a time; the destructor stops the recording.
class Writer {
 public:
  // Throws std::runtime_error when the object cannot be made.
  Writer() {
    void* out = nullptr;
    const HRESULT made = XvCreateInstance(CLSID_CoXvWriterFFM_I, nullptr, IXvWriter::kIid, &out);
    if (Failed(made)) throw std::runtime_error(Describe(made));
    writer_ = Ptr<IXvWriter>::Adopt(static_cast<IXvWriter*>(out));
    object_ = QueryAs<IXvObject_I>(writer_);
    receiver_ = QueryAs<IXvReceiver_I>(writer_);
    props_ = QueryAs<IXvProps>(writer_);
  }
  ~Writer() {
    if (object_) object_->ObjectStop();
  }
  Writer(Writer&&) = default;
  Writer& operator=(Writer&&) = default;

  // Target and attributes, and ready for frames. See IXvWriter::WriterSet,
  // IXvObject_I::ObjectStart.
  HRESULT Start(std::string_view target, std::string_view attributes = {}) {
    const HRESULT set = writer_->WriterSet(Wide(target).c_str(), Wide(attributes).c_str());
    return Failed(set) ? set : object_->ObjectStart(nullptr);
  }
  // See IXvReceiver_I::ReceiverPut.
  HRESULT Put(const Ptr<IXvFrame>& frame) {
    return receiver_->ReceiverPut(nullptr, nullptr, frame.get());
  }
  HRESULT Stop() { return object_->ObjectStop(); }

  // A property; "" when it is absent.
  std::string Get(std::string_view name) const {
    char16_t* value = nullptr;
    props_->PropsGet(Wide(name).c_str(), &value);
    return TakeString(value);
  }
  HRESULT Set(std::string_view name, std::string_view value) {
    return props_->PropsSet(Wide(name).c_str(), Wide(value).c_str());
  }
  // What went wrong last: stage, words, status. "" when nothing did.
  std::string LastError() const { return Get("quality::last_error"); }

  const Ptr<IXvWriter>& object() const { return writer_; }

 private:
  Ptr<IXvWriter> writer_;
  Ptr<IXvObject_I> object_;
  Ptr<IXvReceiver_I> receiver_;
  Ptr<IXvProps> props_;
};

// --- presets of the list of formats and codecs ---

// The attributes of an entry of the list, in order.
using EntryAttributes = std::vector<std::pair<std::string, std::string>>;

// What describes an entry itself is no preset; every other attribute of it is one.
inline bool IsPreset(std::string_view name) {
  constexpr std::string_view kOwn[] = {"id",      "name",    "extensions", "protocol",
                                       "network", "inherit", "qs_version", "qs_impl"};
  return std::none_of(std::begin(kOwn), std::end(kOwn),
                      [&](std::string_view own) { return SameText(own, name); });
}

// The entries of a list: `List` gives the attributes of the node of a path ("formats::format[2]"),
// nothing where there is none, by `std::optional<EntryAttributes> At(const std::string& path)`.
template <class List>
class PresetReader {
 public:
  explicit PresetReader(const List& list) : list_(list) {}

  // See PresetText.
  std::optional<std::string> Read(std::string_view format, std::string_view codec,
                                  std::string_view audioCodec) const {
    const auto chosen = Find("formats::format", format);
    if (!chosen) return std::nullopt;
    std::string text;
    if (!format.empty()) Append(chosen->second, "format", "", &text);
    for (const auto& [kind, name] : {std::pair("video", codec), std::pair("audio", audioCodec)}) {
      if (name.empty()) continue;
      const auto entry = Find(chosen->first + "::" + kind + "::codec", name);
      if (!entry) return std::nullopt;
      Append(entry->second, "codec", std::string(kind) + "::", &text);
    }
    return text;
  }

 private:
  using Entry = std::pair<std::string, EntryAttributes>;  // its path

  // The first of `nodes` with that id or name, in any case; the first of all for "".
  std::optional<Entry> Find(const std::string& nodes, std::string_view wanted) const {
    for (int i = 0;; ++i) {
      const std::string path = nodes + "[" + std::to_string(i) + "]";
      const std::optional<EntryAttributes> attributes = list_.At(path);
      if (!attributes) return std::nullopt;
      const bool found = std::any_of(attributes->begin(), attributes->end(), [&](const auto& one) {
        return (SameText(one.first, "id") || SameText(one.first, "name")) &&
               SameText(one.second, wanted);
      });
      if (found || wanted.empty()) return Entry(path, *attributes);
    }
  }
  // The entry's id under `idName` and its presets, each behind `prefix`. A value of a list came
  // out of quotes and holds those of the other kind at most.
  static void Append(const EntryAttributes& entry, const std::string& idName,
                     const std::string& prefix, std::string* text) {
    for (const auto& [name, value] : entry) {
      const bool isId = SameText(name, "id") && !value.empty();
      if (!isId && !IsPreset(name)) continue;
      const char quote = value.find('\'') == std::string::npos ? '\'' : '"';
      text->append(" ").append(prefix).append(isId ? idName : name).append("=");
      text->append(1, quote).append(value).append(1, quote);
    }
  }

  const List& list_;
};

// The served list of a writer, through its properties.
class ServedList {
 public:
  explicit ServedList(const Writer& writer) : props_(QueryAs<IXvProps>(writer.object())) {
    (void)writer.Get("supported_list");  // brings it up to date
  }
  std::optional<EntryAttributes> At(const std::string& path) const {
    const std::u16string node = Wide("supported_list::" + path);
    std::int32_t count = 0;
    if (Failed(props_->PropsGetCount(node.c_str(), &count))) return std::nullopt;
    EntryAttributes attributes;
    for (std::int32_t i = 0; i < count; ++i) {
      char16_t* name = nullptr;
      char16_t* value = nullptr;
      std::int32_t hasChildren = 0;
      (void)props_->PropsGetByIndex(node.c_str(), i, &name, &value, &hasChildren);
      std::string key = TakeString(name);
      attributes.emplace_back(std::move(key), TakeString(value));
    }
    return attributes;
  }

 private:
  Ptr<IXvProps> props_;
};

// The attributes that a choice of the served list stands for, as Writer::Start takes them: the ids
// and the presets of a format, a video codec and an audio codec of that format. Each is an id or a
// display name, in any case; "" chooses none, and without a format the codecs are those of the
// list's first entry, which is for all. Nothing when the list has no such entry. Attributes behind
// this text win over it:
//
//   const auto presets = xv::host::PresetText(writer, "MOV DNxHD", "DNxHD 145 Mbit/s 1080i");
//   if (presets) writer.Start("clip.mov", *presets + " audio::codec=pcm_s24le");
inline std::optional<std::string> PresetText(const Writer& writer, std::string_view format,
                                             std::string_view codec = {},
                                             std::string_view audioCodec = {}) {
  const ServedList list(writer);
  return PresetReader(list).Read(format, codec, audioCodec);
}

}  // namespace xv::host
