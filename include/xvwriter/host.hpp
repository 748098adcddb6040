#pragma once

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <ratio>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "xvwriter/frames.h"
#include "xvwriter/version.h"
#include "xvwriter/writer.h"

// RAII helpers for hosts: header-only, on top of the exported functions. A recording is
//
//   xv::host::Writer writer;
//   xv::HRESULT result = writer.Start("clip.mov", "video::codec=prores_ks");
//   while (...) result = writer.Put(xv::host::FrameBuilder().Video(...).Audio(...).Time(...));
//   result = writer.Stop();
//
// - Text is UTF-8 here; the interfaces below have UTF-16.
// - What may fail answers with a status that may not be dropped. Only the constructor of Writer
//   throws (std::runtime_error), and everything may throw std::bad_alloc.
// - Nothing is copied but text and planar sound: a frame borrows the host's memory and holds the
//   owner that came with it.
// - A Writer, a FrameBuilder and a frame that is being made belong to one thread at a time. Frames
//   that have been put may be let go of on any thread, and their owners with them.
//
// docs/hosts.md tells the whole story, with an example of each side feature; list.hpp reads the
// list of formats and codecs.
namespace xv::host {

// --- counted references ---

// A counted reference to an interface. Copies share, the last one lets go.
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
  // Takes over a reference that the caller has, such as one out of an out argument.
  [[nodiscard]] static Ptr Adopt(T* object) {
    Ptr ptr;
    ptr.object_ = object;
    return ptr;
  }

  // Stays this object's reference.
  [[nodiscard]] T* get() const { return object_; }
  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  // For out arguments: lets go of what is held and gives the place for the new reference.
  [[nodiscard]] T** Receive() {
    *this = Ptr();
    return &object_;
  }

 private:
  T* object_ = nullptr;
};

// Another interface of the same object; empty when it has none.
template <class I, class T>
[[nodiscard]] Ptr<I> QueryAs(const Ptr<T>& object) {
  void* out = nullptr;
  if (!object || Failed(object->QueryInterface(I::kIid, &out))) return {};
  return Ptr<I>::Adopt(static_cast<I*>(out));
}

// --- text ---

// UTF-8 to UTF-16 and back. Ill-formed input becomes U+FFFD.
[[nodiscard]] inline std::u16string Wide(std::string_view text) {
  std::u16string out;
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i++]);
    const int more = lead < 0x80 ? 0 : lead >= 0xF0 && lead < 0xF5 ? 3 : lead >= 0xE0 ? 2 : 1;
    char32_t code = more == 0 ? char32_t{lead} : static_cast<char32_t>(lead & (0x3F >> more));
    bool good = lead < 0x80 || (lead >= 0xC2 && lead < 0xF5);
    for (int k = 0; k < more && good; ++k) {
      good = i < text.size() && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80;
      if (good) code = code << 6 | (static_cast<unsigned char>(text[i++]) & 0x3Fu);
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

[[nodiscard]] inline std::string Narrow(std::u16string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t code = text[i];
    const bool pair = code >= 0xD800 && code < 0xDC00 && i + 1 < text.size() &&
                      text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000;
    if (pair) {
      code = 0x10000 + ((code - 0xD800) << 10) + (char32_t{text[++i]} - 0xDC00);
    } else if (code >= 0xD800 && code < 0xE000) {
      code = 0xFFFD;
    }
    if (code < 0x80) {
      out += static_cast<char>(code);
      continue;
    }
    const int more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    out += static_cast<char>((0xFF00u >> (more + 1) & 0xFFu) | code >> (6 * more));
    for (int k = more - 1; k >= 0; --k) out += static_cast<char>(0x80 | (code >> (6 * k) & 0x3F));
  }
  return out;
}

// Takes over an out string of the library and frees it. Null gives "".
[[nodiscard]] inline std::string TakeString(char16_t* string) {
  std::string out;
  if (string != nullptr) out = Narrow({string, XvStringLength(string)});
  XvStringFree(string);
  return out;
}

// A status as a sentence with its number: "An argument is not valid. (0x80070057)".
[[nodiscard]] inline std::string Describe(HRESULT result) {
  const char* sentence = StatusSentence(result);
  char number[24];
  std::snprintf(number, sizeof(number), " (0x%08X)", static_cast<unsigned>(result));
  return std::string(sentence != nullptr ? sentence : "The system reported an error.") + number;
}

// --- attribute text: "name=value name2='value 2'" ---

// White space of attribute text: that of ASCII, and U+FDD0 to U+FDEE, U+FFEE, U+FFEF.
[[nodiscard]] inline bool HasBlank(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[i + k]); };
    if (std::string_view(" \t\r\n").find(text[i]) != text.npos) return true;
    if (byte(0) != 0xEF || i + 2 >= text.size()) continue;
    if (byte(1) == 0xB7 && byte(2) >= 0x90 && byte(2) <= 0xAE) return true;
    if (byte(1) == 0xBF && (byte(2) == 0xAE || byte(2) == 0xAF)) return true;
  }
  return false;
}

// `value` as attribute text may hold it. Attribute text has two kinds of quotes and no escapes, so
// this gives 'value', "value" where it has a single quote, and the value itself where it has both
// kinds and neither white space nor a quote at its start. Nothing for what no attribute text can
// hold: a zero character, and both kinds of quotes together with white space or a quote in front.
[[nodiscard]] inline std::optional<std::string> Quote(std::string_view value) {
  const auto has = [&](std::string_view text) { return value.find(text) != value.npos; };
  if (value.find('\0') != value.npos) return std::nullopt;
  if (!has("'")) return "'" + std::string(value) + "'";
  if (!has("\"")) return '"' + std::string(value) + '"';
  if (HasBlank(value) || value.front() == '\'' || value.front() == '"') return std::nullopt;
  return std::string(value);
}

// "name='value'", to be put together with others behind blanks; a `name` may be a path
// ("video::b"). Nothing where Quote gives nothing, and for a name that attribute text cannot hold:
// an empty one or one with an empty part, one with white space, "=" or a zero character.
[[nodiscard]] inline std::optional<std::string> Attribute(std::string_view name,
                                                          std::string_view value) {
  const std::string_view unfit("=\0", 2);
  const bool parts = !name.empty() && name.substr(0, 2) != "::" && name.find("::::") == name.npos &&
                     (name.size() < 2 || name.substr(name.size() - 2) != "::");
  const std::optional<std::string> quoted = Quote(value);
  if (!parts || !quoted || HasBlank(name)) return std::nullopt;
  if (name.find_first_of(unfit) != name.npos) return std::nullopt;
  return std::string(name) + "=" + *quoted;
}

// --- frames ---

// Times and durations: counts of 100 nanoseconds. Coarser durations of std::chrono convert by
// themselves (std::chrono::milliseconds(40)); finer ones and fractions ask to be rounded, such as
// the start of frame `i` at 30000/1001 frames a second:
//
//   std::chrono::round<Ticks>(std::chrono::duration<std::int64_t, std::ratio<1001, 30000>>(i))
using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, kTimeUnitsPerSecond>>;

// The host's own memory, kept alive by a frame: the frame's last reference lets go of it.
class SharedOwner final : public IUnknown {
 public:
  // Empty for a null `memory`.
  [[nodiscard]] static Ptr<IUnknown> Make(std::shared_ptr<const void> memory) {
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
  [[nodiscard]] std::shared_ptr<const void> Take() { return std::move(owners_); }

 private:
  using Pair = std::pair<std::shared_ptr<const void>, std::shared_ptr<const void>>;
  std::shared_ptr<const void> owners_;
};

// One block of memory for planar sound, as Audio wants it: a sample of each channel in turn.
// `channels` are not null, `sampleBytes` is 2, 3 or 4.
[[nodiscard]] inline std::shared_ptr<std::vector<std::uint8_t>> Interleave(
    const std::vector<const void*>& channels, std::size_t samples, std::size_t sampleBytes) {
  const std::size_t step = channels.size() * sampleBytes;
  auto out = std::make_shared<std::vector<std::uint8_t>>(step * samples);
  for (std::size_t c = 0; c < channels.size(); ++c) {
    const auto* from = static_cast<const std::uint8_t*>(channels[c]);
    std::uint8_t* to = out->data() + c * sampleBytes;
    for (std::size_t i = 0; i < samples; ++i, from += sampleBytes, to += step) {
      std::memcpy(to, from, sampleBytes);
    }
  }
  return out;
}

// Builds one frame. The setters come in any order and chain; Build uses the builder up. A value
// that no frame can hold is noted and comes out of Build as E_INVALIDARG; nothing is ever cut.
//
// Memory is borrowed: each `keep` (may be null) is held until the frame and all that the writer
// made of it are gone; without it the memory must live that long, which is up to Writer::Stop.
class FrameBuilder {
 public:
  FrameBuilder() { desc_.cbSize = sizeof(desc_); }
  // A copy builds a second frame over the same memory; a builder that was moved from is used up.
  FrameBuilder(const FrameBuilder&) = default;
  FrameBuilder& operator=(const FrameBuilder&) = default;
  FrameBuilder(FrameBuilder&& other) : FrameBuilder(std::as_const(other)) { other.UseUp(); }
  FrameBuilder& operator=(FrameBuilder&& other) {
    if (this == &other) return *this;
    *this = std::as_const(other);
    other.UseUp();
    return *this;
  }
  ~FrameBuilder() = default;

  // A picture in one of the layouts of media.h: `width` pixels, `height` lines (signed: for RGB
  // layouts positive is bottom-up), `rate` frames a second (0: not known), `bytes` of memory at
  // `data`. `rowBytes` is the distance of two lines of the first plane; 0 is the layout's natural
  // one. Further planes follow the first directly, as media.h says.
  FrameBuilder& Video(std::uint32_t layout, std::int64_t width, std::int64_t height, double rate,
                      const void* data, std::size_t bytes,
                      std::shared_ptr<const void> keep = nullptr, std::size_t rowBytes = 0) & {
    XV_VID_PROPS& vid = desc_.props.vid;
    vid.fccColor = layout;
    vid.nWidth = ToInt(width);
    vid.nHeight = ToInt(height);
    vid.nRowBytes = ToInt(rowBytes);
    vid.dblRate = rate;
    desc_.video = static_cast<const std::uint8_t*>(data);
    desc_.cbVideo = ToSize(bytes, data);
    hasVideo_ = true;
    owners_.Add(std::move(keep));
    return *this;
  }
  // A standard raster and rate; what Video leaves at 0 is taken from it.
  FrameBuilder& Format(eXvVideoFormat format) & {
    format_ = format;
    return *this;
  }
  FrameBuilder& Interlace(eXvInterlace order) & {
    interlace_ = order;
    return *this;
  }
  // Of the whole picture: 16, 9. Up to 32767.
  FrameBuilder& Aspect(int x, int y) & {
    if (x < 0 || y < 0 || x > INT16_MAX || y > INT16_MAX) status_ = E_INVALIDARG;
    aspect_ = {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y)};
    return *this;
  }
  // Interleaved little-endian samples: one of each channel in turn. `bits` 16, 20 or 24 (both in
  // three bytes), 32, or -32 for 32-bit floats. `trackMask`: see XV_AUD_PROPS.
  FrameBuilder& Audio(int channels, int rate, int bits, const void* data, std::size_t bytes,
                      std::shared_ptr<const void> keep = nullptr, std::uint32_t trackMask = 0) & {
    desc_.props.aud = {channels, rate, bits, trackMask};
    desc_.audio = static_cast<const std::uint8_t*>(data);
    desc_.cbAudio = ToSize(bytes, data);
    hasAudio_ = true;
    owners_.Add(std::move(keep));
    return *this;
  }
  // Planar sound: one pointer a channel, `samples` samples at each. They are interleaved into
  // memory that the frame owns before this returns; the planes may go then.
  FrameBuilder& AudioPlanes(int rate, int bits, const std::vector<const void*>& channels,
                            std::size_t samples, std::uint32_t trackMask = 0) & {
    constexpr std::size_t kMost = std::numeric_limits<std::uint32_t>::max();
    const std::size_t sampleBytes = SampleBytes(bits);
    bool good = sampleBytes > 0 && !channels.empty() && channels.size() <= 32;
    for (const void* channel : channels) good = good && channel != nullptr;
    if (!good || samples > kMost / (sampleBytes * channels.size())) {
      status_ = E_INVALIDARG;
      return *this;
    }
    const auto block = Interleave(channels, samples, sampleBytes);
    return Audio(static_cast<int>(channels.size()), rate, bits, block->data(), block->size(), block,
                 trackMask);
  }
  // When the frame is shown. A `stop` that is not above `start` is taken as one frame later.
  // Without this, frames follow one another at their rate; so does a frame at 0 with neither stop
  // nor flags. XV_TIME says what jumps and gaps come to; `flags` are eXvTimeFlags.
  FrameBuilder& Time(Ticks start, Ticks stop = Ticks::zero(), std::uint32_t flags = 0) & {
    desc_.time.rtStart = start.count();
    desc_.time.rtStop = stop.count();
    desc_.time.eFlags = flags;
    return *this;
  }
  // The source's time code of this frame, after SMPTE ST 12-1.
  FrameBuilder& Timecode(unsigned hour, unsigned minute, unsigned second, unsigned frame,
                         bool dropFrame = false) & {
    desc_.time.tcFrame = {hour, minute, second, frame, dropFrame ? eXvTC_DropFrame : 0, 0};
    return *this;
  }
  // The properties that no setter speaks of. Video owns layout, size, row bytes and rate, Audio its
  // whole record, Format, Interlace and Aspect one member each: where they were called, before or
  // after this, what they said counts, zeros too.
  FrameBuilder& Props(const XV_AV_PROPS& props) & {
    base_ = props;
    return *this;
  }
  // The frame's own attributes, which win over the session's for this frame ("crop=8",
  // "embed_cc=false"; docs/hosts.md lists them). Calls add up.
  FrameBuilder& Attributes(std::string_view text) & {
    if (text.find('\0') != text.npos) status_ = E_INVALIDARG;
    attributes_.append(attributes_.empty() ? "" : " ").append(text);
    return *this;
  }

  // The same on a builder without a name, to be chained up to Build or Writer::Put.
  FrameBuilder&& Video(std::uint32_t layout, std::int64_t width, std::int64_t height, double rate,
                       const void* data, std::size_t bytes,
                       std::shared_ptr<const void> keep = nullptr, std::size_t rowBytes = 0) && {
    return std::move(Video(layout, width, height, rate, data, bytes, std::move(keep), rowBytes));
  }
  FrameBuilder&& Format(eXvVideoFormat format) && { return std::move(Format(format)); }
  FrameBuilder&& Interlace(eXvInterlace order) && { return std::move(Interlace(order)); }
  FrameBuilder&& Aspect(int x, int y) && { return std::move(Aspect(x, y)); }
  FrameBuilder&& Audio(int channels, int rate, int bits, const void* data, std::size_t bytes,
                       std::shared_ptr<const void> keep = nullptr, std::uint32_t trackMask = 0) && {
    return std::move(Audio(channels, rate, bits, data, bytes, std::move(keep), trackMask));
  }
  FrameBuilder&& AudioPlanes(int rate, int bits, const std::vector<const void*>& channels,
                             std::size_t samples, std::uint32_t trackMask = 0) && {
    return std::move(AudioPlanes(rate, bits, channels, samples, trackMask));
  }
  FrameBuilder&& Time(Ticks start, Ticks stop = Ticks::zero(), std::uint32_t flags = 0) && {
    return std::move(Time(start, stop, flags));
  }
  FrameBuilder&& Timecode(unsigned hour, unsigned minute, unsigned second, unsigned frame,
                          bool dropFrame = false) && {
    return std::move(Timecode(hour, minute, second, frame, dropFrame));
  }
  FrameBuilder&& Props(const XV_AV_PROPS& props) && { return std::move(Props(props)); }
  FrameBuilder&& Attributes(std::string_view text) && { return std::move(Attributes(text)); }

  // The frame, from the process's frame factory. Empty on failure; `result` (may be null) gets
  //   S_OK           made.
  //   E_INVALIDARG   a size or number out of range: above 4 GiB, above 2^31 - 1 pixels, an aspect
  //                  above 32767, channels that are null, or text with a zero character.
  //   E_POINTER      a size without memory.
  //   E_UNEXPECTED   the builder has been used up.
  //   E_NOINTERFACE  attributes were given and the host's own frames take none.
  //   others         what the factory says.
  // The owners are let go of in any case.
  [[nodiscard]] Ptr<IXvFrame> Build(HRESULT* result = nullptr) && {
    Ptr<IXvFrame> frame;
    const Ptr<IUnknown> owner = SharedOwner::Make(owners_.Take());
    HRESULT status = status_;
    UseUp();
    if (Succeeded(status)) status = Make(owner.get(), frame);
    if (Failed(status)) frame = {};
    if (result != nullptr) *result = status;
    return frame;
  }

 private:
  void UseUp() {
    (void)owners_.Take();
    status_ = E_UNEXPECTED;
  }
  std::int32_t ToInt(std::int64_t value) {
    if (value >= INT32_MIN && value <= INT32_MAX) return static_cast<std::int32_t>(value);
    status_ = E_INVALIDARG;
    return 0;
  }
  std::int32_t ToInt(std::size_t value) {
    if (value <= INT32_MAX) return static_cast<std::int32_t>(value);
    status_ = E_INVALIDARG;
    return 0;
  }
  std::uint32_t ToSize(std::size_t bytes, const void* data) {
    if (bytes > 0 && data == nullptr) status_ = E_POINTER;
    if (bytes > std::numeric_limits<std::uint32_t>::max()) status_ = E_INVALIDARG;
    return Failed(status_) ? 0 : static_cast<std::uint32_t>(bytes);
  }
  static std::size_t SampleBytes(int bits) {
    return bits == 16 ? 2 : bits == 20 || bits == 24 ? 3 : bits == 32 || bits == -32 ? 4 : 0;
  }
  // What the setters said, over what Props said.
  XV_AV_PROPS Merged() const {
    XV_AV_PROPS props = base_;
    const XV_VID_PROPS& own = desc_.props.vid;
    if (hasVideo_) {
      props.vid.fccColor = own.fccColor;
      props.vid.nWidth = own.nWidth;
      props.vid.nHeight = own.nHeight;
      props.vid.nRowBytes = own.nRowBytes;
      props.vid.dblRate = own.dblRate;
    }
    if (hasAudio_) props.aud = desc_.props.aud;
    if (format_) props.vid.eVideoFormat = *format_;
    if (interlace_) props.vid.eInterlace = *interlace_;
    if (aspect_) std::tie(props.vid.nAspectX, props.vid.nAspectY) = *aspect_;
    return props;
  }
  HRESULT Make(IUnknown* owner, Ptr<IXvFrame>& frame) {
    desc_.props = Merged();
    desc_.owner = owner;
    Ptr<IXvFrameFactory> factory;
    HRESULT status = XvFrameFactoryGet(factory.Receive());
    if (Succeeded(status)) status = factory->FrameCreate(&desc_, frame.Receive());
    if (Failed(status) || attributes_.empty()) return status;
    const auto extras = QueryAs<IXvFrameExtras>(frame);
    Ptr<IXvNode> node;
    status = XvNodeCreate(Wide(attributes_).c_str(), node.Receive());
    if (Failed(status)) return status;
    return extras ? extras->NodeSet(node.get()) : E_NOINTERFACE;
  }

  XvFrameDesc desc_{};
  XV_AV_PROPS base_{};
  bool hasVideo_ = false;
  bool hasAudio_ = false;
  std::optional<eXvVideoFormat> format_;
  std::optional<eXvInterlace> interlace_;
  std::optional<std::pair<std::int16_t, std::int16_t>> aspect_;
  std::string attributes_;
  OwnerList owners_;
  HRESULT status_ = S_OK;
};

// What goes onto a built frame, before it is put. Bytes are borrowed as FrameBuilder borrows them.
//   E_INVALIDARG   more than 4 GiB, or no name.
//   E_POINTER      an empty frame, or a size without memory.
//   E_NOINTERFACE  the host's own frame that takes no extras.
[[nodiscard]] inline HRESULT CheckExtra(const Ptr<IXvFrame>& frame, const void* data,
                                        std::size_t bytes) {
  if (bytes > std::numeric_limits<std::uint32_t>::max()) return E_INVALIDARG;
  if (!frame || (bytes > 0 && data == nullptr)) return E_POINTER;
  return QueryAs<IXvFrameExtras>(frame) ? S_OK : E_NOINTERFACE;
}
// A block under a four-character key, such as the captions of docs/captions.md.
[[nodiscard]] inline HRESULT AddExtra(const Ptr<IXvFrame>& frame, std::uint32_t fourcc,
                                      const void* data, std::size_t bytes,
                                      std::shared_ptr<const void> keep = nullptr) {
  const HRESULT status = CheckExtra(frame, data, bytes);
  if (Failed(status)) return status;
  const Ptr<IUnknown> owner = SharedOwner::Make(std::move(keep));
  return QueryAs<IXvFrameExtras>(frame)->ExtraSet(fourcc, static_cast<std::uint32_t>(bytes),
                                                  static_cast<const std::uint8_t*>(data),
                                                  owner.get());
}
// The same under a name of any length.
[[nodiscard]] inline HRESULT AddExtra(const Ptr<IXvFrame>& frame, std::string_view name,
                                      const void* data, std::size_t bytes,
                                      std::shared_ptr<const void> keep = nullptr) {
  const HRESULT status = CheckExtra(frame, data, bytes);
  if (Failed(status)) return status;
  const Ptr<IUnknown> owner = SharedOwner::Make(std::move(keep));
  return QueryAs<IXvFrameExtras>(frame)->ExtraSetByName(
      Wide(name).c_str(), static_cast<std::uint32_t>(bytes), static_cast<const std::uint8_t*>(data),
      owner.get());
}
// An object under a name; the frame holds a reference. Null takes it off again.
[[nodiscard]] inline HRESULT AddObject(const Ptr<IXvFrame>& frame, std::string_view name,
                                       IUnknown* object) {
  const HRESULT status = CheckExtra(frame, nullptr, 0);
  if (Failed(status)) return status;
  return QueryAs<IXvFrameExtras>(frame)->ObjectSet(Wide(name).c_str(), object);
}
// An 8-bit mask (kFccRGB8, of the picture's size) that becomes the alpha of a 32-bit target: 0 is
// transparent. E_POINTER for an empty mask.
[[nodiscard]] inline HRESULT AddMask(const Ptr<IXvFrame>& frame, const Ptr<IXvFrame>& mask) {
  return mask ? AddObject(frame, "mask", mask.get()) : E_POINTER;
}

// --- the writer ---

using Milliseconds = std::chrono::duration<double, std::milli>;

// What a session counts. Everything starts at zero with the first frame and stays readable after
// the stop, until the next session's first frame.
struct Statistics {
  struct Stream {
    std::int64_t packets = 0;
    std::int64_t bytes = 0;
  };
  std::int64_t framesIn = 0;    // frames that an open session was given
  std::int64_t drops = 0;       // of these, refused by a full queue or skipped for their time
  std::int64_t videoDeque = 0;  // pictures that wait for the encoder right now
  std::int64_t ptsErrors = 0;   // pictures whose time was not above the one before
  std::int64_t captionsSeen = 0;
  std::int64_t captionsWritten = 0;   // to side files
  std::int64_t captionsEmbedded = 0;  // into pictures
  std::int64_t captionsLost = 0;
  Milliseconds encodeP50{};  // half of the pictures were encoded within this
  Milliseconds encodeP99{};
  Milliseconds writeP50{};  // the same of packets and their writing
  Milliseconds writeP99{};
  std::vector<Stream> streams;             // of the main output, in its order
  std::vector<std::string> unusedOptions;  // attributes that nobody took
  std::string lastError;                   // stage, words, status; "" when nothing went wrong
  HRESULT lastStatus = S_OK;               // of the last failure
  // What this header has no member for, as the library gives it: name behind "quality::", text.
  std::vector<std::pair<std::string, std::string>> others;
};

// Puts the texts of the properties "quality::..." into their members.
class StatisticsReader {
 public:
  void Take(std::string name, std::string text) {
    if (TakeNumber(name, text) || TakeTime(name, text) || TakeStream(name, text)) return;
    if (name == "last_error") {
      statistics_.lastError = std::move(text);
    } else if (name == "last_status") {
      statistics_.lastStatus = ReadStatus(text);
    } else if (name == "unused_options") {
      Split(text, &statistics_.unusedOptions);
    } else {
      statistics_.others.emplace_back(std::move(name), std::move(text));
    }
  }
  [[nodiscard]] Statistics Done() { return std::move(statistics_); }

  // "0x80070070"; S_OK for any other text.
  [[nodiscard]] static HRESULT ReadStatus(std::string_view text) {
    std::uint32_t code = 0;
    const bool read = text.substr(0, 2) == "0x" && Read(text.substr(2), &code, 16);
    return read ? static_cast<HRESULT>(code) : S_OK;
  }

 private:
  template <class Number>
  static bool Read(std::string_view text, Number* number, int base = 10) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, *number, base);
    return error == std::errc() && stop == end;
  }
  bool TakeNumber(std::string_view name, std::string_view text) {
    constexpr std::pair<std::string_view, std::int64_t Statistics::*> kMembers[] = {
        {"frames_in", &Statistics::framesIn},
        {"drops", &Statistics::drops},
        {"video.deque", &Statistics::videoDeque},
        {"pts_errors", &Statistics::ptsErrors},
        {"captions.seen", &Statistics::captionsSeen},
        {"captions.written", &Statistics::captionsWritten},
        {"captions.embedded", &Statistics::captionsEmbedded},
        {"captions.lost", &Statistics::captionsLost}};
    for (const auto& [known, member] : kMembers) {
      if (name == known) return Read(text, &(statistics_.*member));
    }
    return false;
  }
  // "12.345" in any locale: microseconds are what is read.
  bool TakeTime(std::string_view name, std::string text) {
    constexpr std::pair<std::string_view, Milliseconds Statistics::*> kMembers[] = {
        {"encode_ms.p50", &Statistics::encodeP50},
        {"encode_ms.p99", &Statistics::encodeP99},
        {"write_ms.p50", &Statistics::writeP50},
        {"write_ms.p99", &Statistics::writeP99}};
    for (const auto& [known, member] : kMembers) {
      if (name != known) continue;
      const std::size_t point = text.find('.');
      std::int64_t microseconds = 0;
      if (point == std::string::npos || text.size() != point + 4) return false;
      if (!Read(text.erase(point, 1), &microseconds)) return false;
      statistics_.*member = std::chrono::duration<double, std::micro>(microseconds);
      return true;
    }
    return false;
  }
  // "packets.N", "bytes.N".
  bool TakeStream(std::string_view name, std::string_view text) {
    const std::size_t dot = name.find('.');
    if (dot == name.npos) return false;
    const bool packets = name.substr(0, dot) == "packets";
    std::size_t stream = 0;
    std::int64_t count = 0;
    if (!packets && name.substr(0, dot) != "bytes") return false;
    if (!Read(name.substr(dot + 1), &stream) || stream > 4096 || !Read(text, &count)) return false;
    if (statistics_.streams.size() <= stream) statistics_.streams.resize(stream + 1);
    (packets ? statistics_.streams[stream].packets : statistics_.streams[stream].bytes) = count;
    return true;
  }
  static void Split(std::string_view words, std::vector<std::string>* out) {
    while (!words.empty()) {
      const std::string_view word = words.substr(0, words.find(' '));
      if (!word.empty()) out->emplace_back(word);
      words.remove_prefix(std::min(word.size() + 1, words.size()));
    }
  }

  Statistics statistics_;
};

// The writer. Start, Put and Stop come from one thread at a time; Get, Set, Merge, Stats and
// LastError may run on any thread beside them. The destructor stops the recording; a failure of
// that is lost, so call Stop where it counts. A Writer that has been moved from answers
// E_UNEXPECTED to everything and reads as empty.
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
  ~Writer() { Halt(); }
  Writer(Writer&& other) noexcept { *this = std::move(other); }
  // What this writer was recording is stopped first.
  Writer& operator=(Writer&& other) noexcept {
    if (this == &other) return *this;
    Halt();
    writer_ = std::move(other.writer_);
    object_ = std::move(other.object_);
    receiver_ = std::move(other.receiver_);
    props_ = std::move(other.props_);
    started_ = std::exchange(other.started_, false);
    recorded_ = std::exchange(other.recorded_, false);
    return *this;
  }

  // Sets target (a path or a URL) and attributes, and gets ready for frames. The output is opened
  // by the first frame, so a target that cannot be written shows there.
  //   E_INVALIDARG  text with a zero character in it.
  //   E_UNEXPECTED  an empty target.
  //   XV_E_IN_USE   a recording runs; it goes on. Stop it first.
  [[nodiscard]] HRESULT Start(std::string_view target, std::string_view attributes = {}) {
    if (!writer_) return E_UNEXPECTED;
    if (HasZero(target) || HasZero(attributes)) return E_INVALIDARG;
    const HRESULT set = writer_->WriterSet(Wide(target).c_str(), Wide(attributes).c_str());
    if (Failed(set)) return set;
    const HRESULT armed = object_->ObjectStart(nullptr);
    started_ = Succeeded(armed);
    recorded_ = false;
    return armed;
  }
  // Takes one frame. The reference stays the caller's.
  //   S_OK          taken.
  //   S_FALSE       dropped: the queue is full, or its time leaves no place for it.
  //   E_POINTER     an empty frame: its Build has failed and said why.
  //   E_UNEXPECTED  no Start, or a Stop since.
  //   others        this frame's failure, or one that the encoding thread had before. Stop then.
  [[nodiscard]] HRESULT Put(const Ptr<IXvFrame>& frame) {
    if (!started_) return E_UNEXPECTED;
    if (!frame) return E_POINTER;
    recorded_ = true;
    return receiver_->ReceiverPut(nullptr, nullptr, frame.get());
  }
  // Builds the frame and takes it; a failure of the one or the other.
  [[nodiscard]] HRESULT Put(FrameBuilder&& builder) {
    HRESULT built = S_OK;
    const Ptr<IXvFrame> frame = std::move(builder).Build(&built);
    return Failed(built) ? built : Put(frame);
  }
  // Encodes what waits, writes the trailer and closes every file. Gives the session's own status:
  //   S_OK      nothing failed. A second output that was too slow has left its note in LastError.
  //   S_FALSE   nothing was recorded since Start.
  //   < 0       the last failure that was noted, of a side file or second output too; LastError
  //             says it in words. What could be written is in the file.
  // Attributes stay readable, and so do the statistics. Frames are refused until the next Start.
  [[nodiscard]] HRESULT Stop() {
    if (!object_) return E_UNEXPECTED;
    const bool recorded = recorded_;
    const HRESULT stopped = Halt();
    if (Failed(stopped)) return stopped;
    return recorded ? StatisticsReader::ReadStatus(Get("quality::last_status")) : S_FALSE;
  }

  // A property; "" when it is absent.
  [[nodiscard]] std::string Get(std::string_view name) const {
    char16_t* value = nullptr;
    if (props_ && !HasZero(name)) (void)props_->PropsGet(Wide(name).c_str(), &value);
    return TakeString(value);
  }
  // Sets a property to `value` as it is, "=" and "<" included; "" removes it. A running session
  // does not see it; the next Start does.
  //   E_INVALIDARG         no name, or what no attribute text can hold (Attribute).
  //   XV_E_FILE_NOT_FOUND  a path with an empty part.
  [[nodiscard]] HRESULT Set(std::string_view name, std::string_view value) {
    if (!props_) return E_UNEXPECTED;
    if (name.empty() || HasZero(name) || HasZero(value)) return E_INVALIDARG;
    if (value.find('=') == value.npos) {
      return props_->PropsSet(Wide(name).c_str(), Wide(value).c_str());
    }
    // With an "=" the interface takes a value for attribute text.
    const std::optional<std::string> text = Attribute(name, value);
    return text ? props_->PropsSet(u"", Wide(*text).c_str()) : E_INVALIDARG;
  }
  // Merges attribute text, or replaces by XML, the node of that path ("" is the root). See
  // IXvProps::PropsSet.
  [[nodiscard]] HRESULT Merge(std::string_view path, std::string_view text) {
    if (!props_) return E_UNEXPECTED;
    if (HasZero(path) || HasZero(text)) return E_INVALIDARG;
    return props_->PropsSet(Wide(path).c_str(), Wide(text).c_str());
  }
  // What went wrong last: stage, words, status. "" when nothing did.
  [[nodiscard]] std::string LastError() const { return Get("quality::last_error"); }
  // The statistics as they are now, while frames flow too.
  [[nodiscard]] Statistics Stats() const {
    StatisticsReader reader;
    std::int32_t count = 0;
    if (!props_ || Failed(props_->PropsGetCount(u"quality", &count))) return reader.Done();
    for (std::int32_t i = 0; i < count; ++i) {
      char16_t* name = nullptr;
      char16_t* value = nullptr;
      std::int32_t hasChildren = 0;
      (void)props_->PropsGetByIndex(u"quality", i, &name, &value, &hasChildren);
      std::string key = TakeString(name);
      reader.Take(std::move(key), TakeString(value));
    }
    return reader.Done();
  }

  // The object behind, for what has no helper here. Frames that go around this class are unknown to
  // its Stop.
  [[nodiscard]] const Ptr<IXvWriter>& object() const { return writer_; }

 private:
  static bool HasZero(std::string_view text) { return text.find('\0') != text.npos; }
  HRESULT Halt() noexcept {
    started_ = false;
    recorded_ = false;
    return object_ ? object_->ObjectStop() : S_FALSE;
  }

  Ptr<IXvWriter> writer_;
  Ptr<IXvObject_I> object_;
  Ptr<IXvReceiver_I> receiver_;
  Ptr<IXvProps> props_;
  bool started_ = false;
  bool recorded_ = false;  // a frame was put since Start
};

}  // namespace xv::host
