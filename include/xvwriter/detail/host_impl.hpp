#pragma once

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <tuple>

#include "xvwriter/host.hpp"

// What host.hpp declares. For host.hpp, not for hosts.
namespace xv::host::detail {

// White space of attribute text: that of ASCII, and U+FDD0 to U+FDEE, U+FFEE, U+FFEF.
inline bool HasBlank(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[i + k]); };
    if (std::string_view(" \t\r\n").find(text[i]) != text.npos) return true;
    if (byte(0) != 0xEF || i + 2 >= text.size()) continue;
    if (byte(1) == 0xB7 && byte(2) >= 0x90 && byte(2) <= 0xAE) return true;
    if (byte(1) == 0xBF && (byte(2) == 0xAE || byte(2) == 0xAF)) return true;
  }
  return false;
}

// One block of memory for planar sound, as Audio wants it: a sample of each channel in turn.
// `channels` are not null, `sampleBytes` is 2, 3 or 4.
inline std::shared_ptr<std::vector<std::uint8_t>> Interleave(
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

// Whether something can be put onto the frame at all.
inline HRESULT CheckExtra(const Ptr<IXvFrame>& frame, const void* data, std::size_t bytes) {
  if (bytes > std::numeric_limits<std::uint32_t>::max()) return E_INVALIDARG;
  if (!frame || (bytes > 0 && data == nullptr)) return E_POINTER;
  return QueryAs<IXvFrameExtras>(frame) ? S_OK : E_NOINTERFACE;
}

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
    } else if (name == "bad_values") {
      Split(text, &statistics_.badValues);
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
        {"side_file_errors", &Statistics::sideFileErrors},
        {"drops", &Statistics::drops},
        {"video.deque", &Statistics::videoDeque},
        {"video.buffers", &Statistics::videoBuffers},
        {"pts_errors", &Statistics::ptsErrors},
        {"rebases", &Statistics::rebases},
        {"repeats", &Statistics::repeats},
        {"audio.silence", &Statistics::audioSilence},
        {"audio.cut", &Statistics::audioCut},
        {"audio.left_out", &Statistics::audioLeftOut},
        {"video.left_out", &Statistics::videoLeftOut},
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
  static void Split(std::string_view lines, std::vector<std::string>* out) {
    while (!lines.empty()) {
      const std::string_view line = lines.substr(0, lines.find('\n'));
      if (!line.empty()) out->emplace_back(line);
      lines.remove_prefix(std::min(line.size() + 1, lines.size()));
    }
  }

  Statistics statistics_;
};

}  // namespace xv::host::detail

namespace xv::host {

inline std::u16string Wide(std::string_view text) {
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

inline std::string Narrow(std::u16string_view text) {
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

inline std::string TakeString(char16_t* string) {
  std::string out;
  if (string != nullptr) out = Narrow({string, XvStringLength(string)});
  XvStringFree(string);
  return out;
}

inline std::string Describe(HRESULT result) {
  const char* sentence = StatusSentence(result);
  char number[24];
  std::snprintf(number, sizeof(number), " (0x%08X)", static_cast<unsigned>(result));
  return std::string(sentence != nullptr ? sentence : "The system reported an error.") + number;
}

inline std::optional<std::string> Quote(std::string_view value) {
  const auto has = [&](std::string_view text) { return value.find(text) != value.npos; };
  if (value.find('\0') != value.npos) return std::nullopt;
  if (!has("'")) return "'" + std::string(value) + "'";
  if (!has("\"")) return '"' + std::string(value) + '"';
  if (detail::HasBlank(value) || value.front() == '\'' || value.front() == '"') return std::nullopt;
  return std::string(value);
}

inline std::optional<std::string> Attribute(std::string_view name, std::string_view value) {
  const std::string_view unfit("=\0", 2);
  const bool parts = !name.empty() && name.substr(0, 2) != "::" && name.find("::::") == name.npos &&
                     (name.size() < 2 || name.substr(name.size() - 2) != "::");
  const std::optional<std::string> quoted = Quote(value);
  if (!parts || !quoted || detail::HasBlank(name)) return std::nullopt;
  if (name.find_first_of(unfit) != name.npos) return std::nullopt;
  return std::string(name) + "=" + *quoted;
}

inline HRESULT AddExtra(const Ptr<IXvFrame>& frame, std::uint32_t fourcc, const void* data,
                        std::size_t bytes, std::shared_ptr<const void> keep) {
  const HRESULT status = detail::CheckExtra(frame, data, bytes);
  if (Failed(status)) return status;
  const Ptr<IUnknown> owner = detail::SharedOwner::Make(std::move(keep));
  return QueryAs<IXvFrameExtras>(frame)->ExtraSet(fourcc, static_cast<std::uint32_t>(bytes),
                                                  static_cast<const std::uint8_t*>(data),
                                                  owner.get());
}

inline HRESULT AddExtra(const Ptr<IXvFrame>& frame, std::string_view name, const void* data,
                        std::size_t bytes, std::shared_ptr<const void> keep) {
  const HRESULT status = detail::CheckExtra(frame, data, bytes);
  if (Failed(status)) return status;
  const Ptr<IUnknown> owner = detail::SharedOwner::Make(std::move(keep));
  return QueryAs<IXvFrameExtras>(frame)->ExtraSetByName(
      Wide(name).c_str(), static_cast<std::uint32_t>(bytes), static_cast<const std::uint8_t*>(data),
      owner.get());
}

inline HRESULT AddObject(const Ptr<IXvFrame>& frame, std::string_view name, IUnknown* object) {
  const HRESULT status = detail::CheckExtra(frame, nullptr, 0);
  if (Failed(status)) return status;
  return QueryAs<IXvFrameExtras>(frame)->ObjectSet(Wide(name).c_str(), object);
}

inline HRESULT AddMask(const Ptr<IXvFrame>& frame, const Ptr<IXvFrame>& mask) {
  return mask ? AddObject(frame, "mask", mask.get()) : E_POINTER;
}

inline FrameBuilder& FrameBuilder::Video(std::uint32_t layout, std::int64_t width,
                                         std::int64_t height, double rate, const void* data,
                                         std::size_t bytes, std::shared_ptr<const void> keep,
                                         std::size_t rowBytes) & {
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

inline FrameBuilder& FrameBuilder::Aspect(int x, int y) & {
  if (x < 0 || y < 0 || x > INT16_MAX || y > INT16_MAX) status_ = E_INVALIDARG;
  aspect_ = {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y)};
  return *this;
}

inline FrameBuilder& FrameBuilder::Audio(int channels, int rate, int bits, const void* data,
                                         std::size_t bytes, std::shared_ptr<const void> keep,
                                         std::uint32_t trackMask) & {
  desc_.props.aud = {channels, rate, bits, trackMask};
  desc_.audio = static_cast<const std::uint8_t*>(data);
  desc_.cbAudio = ToSize(bytes, data);
  hasAudio_ = true;
  owners_.Add(std::move(keep));
  return *this;
}

inline FrameBuilder& FrameBuilder::AudioPlanes(int rate, int bits,
                                               const std::vector<const void*>& channels,
                                               std::size_t samples, std::uint32_t trackMask) & {
  constexpr std::size_t kMost = std::numeric_limits<std::uint32_t>::max();
  const std::size_t sampleBytes = SampleBytes(bits);
  bool good = sampleBytes > 0 && !channels.empty() && channels.size() <= 32;
  for (const void* channel : channels) good = good && channel != nullptr;
  if (!good || samples > kMost / (sampleBytes * channels.size())) {
    status_ = E_INVALIDARG;
    return *this;
  }
  const auto block = detail::Interleave(channels, samples, sampleBytes);
  return Audio(static_cast<int>(channels.size()), rate, bits, block->data(), block->size(), block,
               trackMask);
}

inline FrameBuilder& FrameBuilder::Time(Ticks start, Ticks stop, std::uint32_t flags) & {
  desc_.time.rtStart = start.count();
  desc_.time.rtStop = stop.count();
  desc_.time.eFlags = flags;
  return *this;
}

inline FrameBuilder& FrameBuilder::Timecode(unsigned hour, unsigned minute, unsigned second,
                                            unsigned frame, bool dropFrame) & {
  desc_.time.tcFrame = {hour, minute, second, frame, dropFrame ? eXvTC_DropFrame : 0, 0};
  return *this;
}

inline FrameBuilder& FrameBuilder::Attributes(std::string_view text) & {
  if (text.find('\0') != text.npos) status_ = E_INVALIDARG;
  attributes_.append(attributes_.empty() ? "" : " ").append(text);
  return *this;
}

inline Ptr<IXvFrame> FrameBuilder::Build(HRESULT* result) && {
  Ptr<IXvFrame> frame;
  const Ptr<IUnknown> owner = detail::SharedOwner::Make(owners_.Take());
  HRESULT status = status_;
  UseUp();
  if (Succeeded(status)) status = Make(owner.get(), frame);
  if (Failed(status)) frame = {};
  if (result != nullptr) *result = status;
  return frame;
}

inline void FrameBuilder::UseUp() {
  (void)owners_.Take();
  status_ = E_UNEXPECTED;
}

inline std::int32_t FrameBuilder::ToInt(std::int64_t value) {
  if (value >= INT32_MIN && value <= INT32_MAX) return static_cast<std::int32_t>(value);
  status_ = E_INVALIDARG;
  return 0;
}

inline std::int32_t FrameBuilder::ToInt(std::size_t value) {
  if (value <= INT32_MAX) return static_cast<std::int32_t>(value);
  status_ = E_INVALIDARG;
  return 0;
}

inline std::uint32_t FrameBuilder::ToSize(std::size_t bytes, const void* data) {
  if (bytes > 0 && data == nullptr) status_ = E_POINTER;
  if (bytes > std::numeric_limits<std::uint32_t>::max()) status_ = E_INVALIDARG;
  return Failed(status_) ? 0 : static_cast<std::uint32_t>(bytes);
}

inline XV_AV_PROPS FrameBuilder::Merged() const {
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

inline HRESULT FrameBuilder::Make(IUnknown* owner, Ptr<IXvFrame>& frame) {
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

inline std::size_t FrameBuilder::SampleBytes(int bits) {
  return bits == 16 ? 2 : bits == 20 || bits == 24 ? 3 : bits == 32 || bits == -32 ? 4 : 0;
}

inline Writer::Writer() {
  void* out = nullptr;
  const HRESULT made = XvCreateInstance(CLSID_CoXvWriterFFM_I, nullptr, IXvWriter::kIid, &out);
  if (Failed(made)) throw std::runtime_error(Describe(made));
  writer_ = Ptr<IXvWriter>::Adopt(static_cast<IXvWriter*>(out));
  object_ = QueryAs<IXvObject_I>(writer_);
  receiver_ = QueryAs<IXvReceiver_I>(writer_);
  props_ = QueryAs<IXvProps>(writer_);
}

inline Writer& Writer::operator=(Writer&& other) noexcept {
  if (this == &other) return *this;
  Halt();
  writer_ = std::move(other.writer_);
  object_ = std::move(other.object_);
  receiver_ = std::move(other.receiver_);
  props_ = std::move(other.props_);
  started_ = other.started_.exchange(false);
  recorded_ = other.recorded_.exchange(false);
  return *this;
}

inline HRESULT Writer::Start(std::string_view target, std::string_view attributes) {
  if (!writer_) return E_UNEXPECTED;
  if (HasZero(target) || HasZero(attributes)) return E_INVALIDARG;
  const std::lock_guard control(control_);
  const HRESULT set = writer_->WriterSet(Wide(target).c_str(), Wide(attributes).c_str());
  if (Failed(set)) return set;
  const HRESULT armed = object_->ObjectStart(nullptr);
  started_ = Succeeded(armed);
  recorded_ = false;
  return armed;
}

inline HRESULT Writer::Put(const Ptr<IXvFrame>& frame) {
  if (!started_) return E_UNEXPECTED;  // ahead of the lock: a Stop waits for it
  const std::shared_lock beside(puts_);
  if (!started_) return E_UNEXPECTED;
  if (!frame) return E_POINTER;
  recorded_ = true;
  return receiver_->ReceiverPut(nullptr, nullptr, frame.get());
}

inline HRESULT Writer::Put(FrameBuilder&& builder) {
  HRESULT built = S_OK;
  const Ptr<IXvFrame> frame = std::move(builder).Build(&built);
  return Failed(built) ? built : Put(frame);
}

inline HRESULT Writer::Stop() {
  if (!object_) return E_UNEXPECTED;
  const std::lock_guard control(control_);
  started_ = false;  // no further put enters
  const std::lock_guard alone(puts_);
  const bool recorded = recorded_;
  const HRESULT stopped = Halt();
  if (Failed(stopped)) return stopped;
  return recorded ? detail::StatisticsReader::ReadStatus(Get("quality::last_status")) : S_FALSE;
}

inline HRESULT Writer::StopAtOnce() {
  const HRESULT told = Set("stop.at_once", "true");
  if (Failed(told)) return told;
  const HRESULT stopped = Stop();
  const HRESULT taken = Set("stop.at_once", "");
  return Failed(stopped) ? stopped : Failed(taken) ? taken : stopped;
}

inline std::string Writer::Get(std::string_view name) const {
  char16_t* value = nullptr;
  if (props_ && !HasZero(name)) (void)props_->PropsGet(Wide(name).c_str(), &value);
  return TakeString(value);
}

inline HRESULT Writer::Set(std::string_view name, std::string_view value) {
  if (!props_) return E_UNEXPECTED;
  if (name.empty() || HasZero(name) || HasZero(value)) return E_INVALIDARG;
  if (value.find('=') == value.npos) {
    return props_->PropsSet(Wide(name).c_str(), Wide(value).c_str());
  }
  // With an "=" the interface takes a value for attribute text.
  const std::optional<std::string> text = Attribute(name, value);
  return text ? props_->PropsSet(u"", Wide(*text).c_str()) : E_INVALIDARG;
}

inline HRESULT Writer::Merge(std::string_view path, std::string_view text) {
  if (!props_) return E_UNEXPECTED;
  if (HasZero(path) || HasZero(text)) return E_INVALIDARG;
  return props_->PropsSet(Wide(path).c_str(), Wide(text).c_str());
}

inline Statistics Writer::Stats() const {
  detail::StatisticsReader reader;
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

inline HRESULT Writer::Halt() noexcept {
  started_ = false;
  recorded_ = false;
  return object_ ? object_->ObjectStop() : S_FALSE;
}

}  // namespace xv::host
