#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <ratio>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xvwriter/detail/memory_owners.hpp"
#include "xvwriter/frames.h"
#include "xvwriter/ptr.hpp"
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
// - A FrameBuilder and a frame that is being made belong to one thread at a time, a Writer to any.
// Frames
//   that have been put may be let go of on any thread, and their owners with them.
//
// docs/hosts.md tells the whole story, with an example of each side feature; list.hpp reads the
// list of formats and codecs.
namespace xv::host {

// --- text ---

// UTF-8 to UTF-16 and back. Ill-formed input becomes U+FFFD.
[[nodiscard]] std::u16string Wide(std::string_view text);
[[nodiscard]] std::string Narrow(std::u16string_view text);

// Takes over an out string of the library and frees it. Null gives "".
[[nodiscard]] std::string TakeString(char16_t* string);

// A status as a sentence with its number: "An argument is not valid. (0x80070057)".
[[nodiscard]] std::string Describe(HRESULT result);

// --- attribute text: "name=value name2='value 2'" ---

// `value` as attribute text may hold it. Attribute text has two kinds of quotes and no escapes, so
// this gives 'value', "value" where it has a single quote, and the value itself where it has both
// kinds and neither white space nor a quote at its start. Nothing for what no attribute text can
// hold: a zero character, and both kinds of quotes together with white space or a quote in front.
[[nodiscard]] std::optional<std::string> Quote(std::string_view value);

// "name='value'", to be put together with others behind blanks; a `name` may be a path
// ("video::b"). Nothing where Quote gives nothing, and for a name that attribute text cannot hold:
// an empty one or one with an empty part, one with white space, "=" or a zero character.
[[nodiscard]] std::optional<std::string> Attribute(std::string_view name, std::string_view value);

// --- frames ---

// Times and durations: counts of 100 nanoseconds. Coarser durations of std::chrono convert by
// themselves (std::chrono::milliseconds(40)); finer ones and fractions ask to be rounded, such as
// the start of frame `i` at 30000/1001 frames a second:
//
//   std::chrono::round<Ticks>(std::chrono::duration<std::int64_t, std::ratio<1001, 30000>>(i))
using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, kTimeUnitsPerSecond>>;

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
                      std::shared_ptr<const void> keep = nullptr, std::size_t rowBytes = 0) &;
  // A standard raster and rate; what Video leaves at 0 is taken from it.
  FrameBuilder& Format(eXvVideoFormat format) & {
    format_ = format;
    return *this;
  }
  // Field order; progressive where neither this nor a standard format says one.
  FrameBuilder& Interlace(eXvInterlace order) & {
    interlace_ = order;
    return *this;
  }
  // Of the whole picture: 16, 9. Up to 32767.
  FrameBuilder& Aspect(int x, int y) &;
  // Interleaved little-endian samples: one of each channel in turn. `bits` 16, 20 or 24 (both in
  // three bytes), 32, or -32 for 32-bit floats. `trackMask`: see XV_AUD_PROPS.
  FrameBuilder& Audio(int channels, int rate, int bits, const void* data, std::size_t bytes,
                      std::shared_ptr<const void> keep = nullptr, std::uint32_t trackMask = 0) &;
  // Planar sound: one pointer a channel, `samples` samples at each. They are interleaved into
  // memory that the frame owns before this returns; the planes may go then.
  FrameBuilder& AudioPlanes(int rate, int bits, const std::vector<const void*>& channels,
                            std::size_t samples, std::uint32_t trackMask = 0) &;
  // When the frame is shown. A `stop` that is not above `start` is taken as one frame later.
  // Without this, frames follow one another at their rate; so does a frame at 0 with neither stop
  // nor flags. XV_TIME says what jumps and gaps come to; `flags` are eXvTimeFlags.
  FrameBuilder& Time(Ticks start, Ticks stop = Ticks::zero(), std::uint32_t flags = 0) &;
  // The source's time code of this frame, after SMPTE ST 12-1.
  FrameBuilder& Timecode(unsigned hour, unsigned minute, unsigned second, unsigned frame,
                         bool dropFrame = false) &;
  // The properties that no setter speaks of. Video owns layout, size, row bytes and rate, Audio its
  // whole record, Format, Interlace and Aspect one member each: where they were called, before or
  // after this, what they said counts, zeros too.
  FrameBuilder& Props(const XV_AV_PROPS& props) & {
    base_ = props;
    return *this;
  }
  // The frame's own attributes, which win over the session's for this frame ("crop=8",
  // "embed_cc=false"; docs/hosts.md lists them). Calls add up.
  FrameBuilder& Attributes(std::string_view text) &;

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
  [[nodiscard]] Ptr<IXvFrame> Build(HRESULT* result = nullptr) &&;

 private:
  void UseUp();
  std::int32_t ToInt(std::int64_t value);
  std::int32_t ToInt(std::size_t value);
  std::uint32_t ToSize(std::size_t bytes, const void* data);
  static std::size_t SampleBytes(int bits);
  // What the setters said, over what Props said.
  XV_AV_PROPS Merged() const;
  HRESULT Make(IUnknown* owner, Ptr<IXvFrame>& frame);

  XvFrameDesc desc_{};
  XV_AV_PROPS base_{};
  bool hasVideo_ = false;
  bool hasAudio_ = false;
  std::optional<eXvVideoFormat> format_;
  std::optional<eXvInterlace> interlace_;
  std::optional<std::pair<std::int16_t, std::int16_t>> aspect_;
  std::string attributes_;
  detail::OwnerList owners_;
  HRESULT status_ = S_OK;
};

// What goes onto a built frame, before it is put. Bytes are borrowed as FrameBuilder borrows them.
//   E_INVALIDARG   more than 4 GiB, or no name.
//   E_POINTER      an empty frame, or a size without memory.
//   E_NOINTERFACE  the host's own frame that takes no extras.
// After a failure nothing is held.

// A block under a four-character key, such as the captions of docs/captions.md.
[[nodiscard]] HRESULT AddExtra(const Ptr<IXvFrame>& frame, std::uint32_t fourcc, const void* data,
                               std::size_t bytes, std::shared_ptr<const void> keep = nullptr);
// The same under a name of any length.
[[nodiscard]] HRESULT AddExtra(const Ptr<IXvFrame>& frame, std::string_view name, const void* data,
                               std::size_t bytes, std::shared_ptr<const void> keep = nullptr);
// An object under a name; the frame holds a reference. Null takes it off again.
[[nodiscard]] HRESULT AddObject(const Ptr<IXvFrame>& frame, std::string_view name,
                                IUnknown* object);
// An 8-bit mask (kFccRGB8, of the picture's size) that becomes the alpha of a 32-bit target: 0 is
// transparent. E_POINTER for an empty mask.
[[nodiscard]] HRESULT AddMask(const Ptr<IXvFrame>& frame, const Ptr<IXvFrame>& mask);

// --- the writer ---

using Milliseconds = std::chrono::duration<double, std::milli>;

// What a session counts. Everything starts at zero with the first frame and stays readable after
// the stop, until the next session's first frame.
struct Statistics {
  struct Stream {
    std::int64_t packets = 0;
    std::int64_t bytes = 0;
  };
  std::int64_t framesIn = 0;        // frames that an open session was given
  std::int64_t sideFileErrors = 0;  // what a side file (WAV, dump, SCC, ANC) could not take
  std::int64_t drops = 0;           // of these, refused by a full queue or skipped for their time
  std::int64_t videoDeque = 0;      // pictures that wait for the encoder right now
  std::int64_t videoBuffers = 0;    // how many may wait; 0: the host's thread encodes
  std::int64_t ptsErrors = 0;       // pictures whose time was not above the one before
  std::int64_t rebases = 0;         // frames whose time jumped, or that asked for a new offset
  std::int64_t repeats = 0;         // pictures that stood in for missing ones
  std::int64_t audioSilence = 0;    // milliseconds of silence where samples were missing
  std::int64_t audioCut = 0;        // milliseconds of samples for which there was no time
  std::int64_t audioLeftOut = 0;    // frames with sound, where the first one had none
  std::int64_t videoLeftOut = 0;    // frames with a picture, where the first one had none
  std::int64_t captionsSeen = 0;
  std::int64_t captionsWritten = 0;   // to side files
  std::int64_t captionsEmbedded = 0;  // into pictures
  std::int64_t captionsLost = 0;
  Milliseconds encodeP50{};  // half of the pictures were encoded within this
  Milliseconds encodeP99{};
  Milliseconds writeP50{};  // the same of packets and their writing
  Milliseconds writeP99{};
  std::vector<Stream> streams;  // of the main output, in its order
  // Attributes that nobody took, with the nearest known name where there is one: "vidoe::b (did you
  // mean video::b?)".
  std::vector<std::string> unusedOptions;
  // Attributes with a value that cannot have been meant, and what is expected.
  std::vector<std::string> badValues;
  // Stage, words, status of the last failure. Where nothing failed, words about what was done to
  // the source's times and tracks; "" when nothing was.
  std::string lastError;
  HRESULT lastStatus = S_OK;  // of the last failure
  // What this header has no member for, as the library gives it: name behind "quality::", text.
  std::vector<std::pair<std::string, std::string>> others;
};

// The writer. Any operation may be called on any thread, beside others too: frames are taken one
// after the other in the order of their Puts, a Stop waits for the frame at hand and refuses those
// that come behind it. Only a move and the destructor must be alone. The destructor stops the
// recording; a failure of that is lost, so call Stop where it counts. A Writer that has been moved
// from answers E_UNEXPECTED to everything and reads as empty.
class Writer {
 public:
  // Throws std::runtime_error when the object cannot be made.
  Writer();
  ~Writer() { Halt(); }
  Writer(Writer&& other) noexcept { *this = std::move(other); }
  // What this writer was recording is stopped first.
  Writer& operator=(Writer&& other) noexcept;

  // Sets target (a path or a URL) and attributes, and gets ready for frames. The output is opened
  // by the first frame, so a target that cannot be written shows there.
  //   E_INVALIDARG  text with a zero character in it.
  //   E_UNEXPECTED  an empty target.
  //   XV_E_IN_USE   a recording runs; it goes on. Stop it first.
  [[nodiscard]] HRESULT Start(std::string_view target, std::string_view attributes = {});
  // Takes one frame. The reference stays the caller's.
  //   S_OK          taken.
  //   S_FALSE       dropped: the queue is full, or its time leaves no place for it.
  //   E_POINTER     an empty frame: its Build has failed and said why.
  //   E_UNEXPECTED  no Start, or a Stop since, also one that runs now.
  //   others        this frame's failure, or one that the encoding thread had before. Stop then.
  [[nodiscard]] HRESULT Put(const Ptr<IXvFrame>& frame);
  // Builds the frame and takes it; a failure of the one or the other.
  [[nodiscard]] HRESULT Put(FrameBuilder&& builder);
  // Encodes what waits, writes the trailer and closes every file. Gives the session's own status:
  //   S_OK      nothing failed. A second output that was too slow has left its note in LastError.
  //   S_FALSE   nothing was recorded since Start.
  //   < 0       the last failure that was noted, of a side file or second output too; LastError
  //             says it in words. What could be written is in the file.
  // Attributes stay readable, and so do the statistics. Frames are refused until the next Start.
  [[nodiscard]] HRESULT Stop();
  // Stops within moments: pictures that wait are dropped, those that an encoder holds are given up,
  // and the files are closed as they are, playable. A Stop that runs on another thread is hurried
  // likewise, and both return when it is done. As Stop, but
  //   XV_E_ABORTED  pictures were given up; LastError says how many.
  // (The property "stop.at_once" does it without this class.)
  [[nodiscard]] HRESULT StopAtOnce();

  // A property; "" when it is absent.
  [[nodiscard]] std::string Get(std::string_view name) const;
  // Sets a property to `value` as it is, "=" and "<" included; "" removes it. A running session
  // does not see it; the next Start does.
  //   E_INVALIDARG         no name, or what no attribute text can hold (Attribute).
  //   XV_E_FILE_NOT_FOUND  a path with an empty part.
  [[nodiscard]] HRESULT Set(std::string_view name, std::string_view value);
  // Merges attribute text, or replaces by XML, the node of that path ("" is the root). See
  // IXvProps::PropsSet.
  [[nodiscard]] HRESULT Merge(std::string_view path, std::string_view text);
  // What went wrong last: stage, words, status; see Statistics::lastError.
  [[nodiscard]] std::string LastError() const { return Get("quality::last_error"); }
  // The statistics as they are now, while frames flow too.
  [[nodiscard]] Statistics Stats() const;

  // The object behind, for what has no helper here. Frames that go around this class are unknown to
  // its Stop.
  [[nodiscard]] const Ptr<IXvWriter>& object() const { return writer_; }

 private:
  static bool HasZero(std::string_view text) { return text.find('\0') != text.npos; }
  HRESULT Halt() noexcept;

  Ptr<IXvWriter> writer_;
  Ptr<IXvObject_I> object_;
  Ptr<IXvReceiver_I> receiver_;
  Ptr<IXvProps> props_;
  std::mutex control_;      // one Start or Stop; ahead of puts_
  std::shared_mutex puts_;  // shared by the puts at hand; a Stop waits for all of them
  std::atomic<bool> started_{false};
  std::atomic<bool> recorded_{false};  // a frame was put since Start
};

}  // namespace xv::host

#include "xvwriter/detail/host_impl.hpp"
