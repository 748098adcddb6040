#pragma once

#include "xvwriter/frames.h"
#include "xvwriter/nodes.h"

// The component path: encoders and multiplexers as objects of their own, which hand packets to one
// another. A session takes it with the attribute "xfcodecs=true", for the formats "mpeg_nablet" and
// "mpeg_nablet_udp", and for "video::codec=packets", which passes on pictures that the host has
// encoded. Hosts that want packets in place of files use CCoXfEncoder alone.
//
//   frames -> CCoXfEncoder -> packets -> CCoXfMuxer -> file or stream
//
// CCoXfEncoder and CCoXfMuxer hold nothing but the choice: each has a table of classes that are
// tried in order, and forwards to the first object that can be made and whose Init succeeds. Makers
// of components implement IXfEncoder or IXfMuxer and register the class (registration.h);
// docs/components.md has the tables, the settings that name the classes, and an example.
//
// What holds for every component:
// - The shape of every record and the order of every table are fixed.
// - In arguments are borrowed for the call. A component that keeps a frame or a packet takes a
//   reference; what it hands out carries one for the caller.
// - Texts of Init are attribute text (nodes.h) where children stand as paths: "b='5M'
//   metadata::title='x' tag=mpeg2video". XvNodeCreate reads it.
// - Calls to one object come one after the other, on any threads.
// - Statuses above 0 count as success. No exception should leave an operation; one that does counts
//   as E_UNEXPECTED.
// - A call that has not come back when its time is over is given up with XV_E_TIMEOUT, and so is
// the
//   object: it gets no call any more and is released when the call comes back. Arguments stay valid
//   until then. That time is the `timeout` of Process and a second, and for all others 10 seconds
//   or what "patience_ms" in the settings says.
// - A component may offer IXvProps (writer.h); its property "last_error" gives words for a person
//   about its last failure. It may offer IXfTraced.
namespace xv {

enum eXfMediaType : std::uint32_t {
  eXfMT_Empty = 0,
  eXfMT_Video = 1,
  eXfMT_Audio = 2,
  eXfMT_Subtitles = 3,
  eXfMT_Data = 4,
};

// Describes a stream of packets. Members that do not apply or are not known are 0. Copied by value,
// but for the bytes at pbExtra: they belong to whoever gives the record, see there.
struct XV_STREAM_INFO {
  eXfMediaType eType;
  std::uint32_t cbExtra;        // bytes at pbExtra
  const std::uint8_t* pbExtra;  // the codec's headers, in the form of its containers
  std::int32_t nTimeBaseNum;    // seconds of one tick of the packets' stamps, as a fraction;
  std::int32_t nTimeBaseDen;    // 0/0: ticks of 100 ns
  // Video.
  std::int32_t nWidth;  // pixels
  std::int32_t nHeight;
  double dblRate;         // pictures a second
  std::int32_t nAspectX;  // of the whole picture
  std::int32_t nAspectY;
  // Sound.
  std::int32_t nSamplesPerSec;
  std::int32_t nChannels;
  std::int32_t nBlock;  // bytes of a block of samples, for codecs that have such
  // Any.
  char16_t tag[32];            // the codec by FFmpeg's name ("h264", "mpeg2video", "aac")
  std::int32_t nBits;          // of a sample, or of a pixel as the container stores it
  std::int32_t nBitrate;       // bits a second
  std::uint32_t fccTag;        // the codec's tag in containers, where it is not the usual one
  std::int32_t nProfile;       // as the codec's standard numbers it
  std::int32_t nLevel;         // the same
  std::int32_t nFrameSamples;  // samples of a packet, for codecs whose packets have equal ones
  std::uint32_t eInterlace;    // eXvInterlace
  std::uint32_t nReorder;      // pictures that the decoder holds back at most
  std::uint32_t nPrimaries;    // colour as ITU-T H.273 numbers it, 0 for not known
  std::uint32_t nTransfer;     // the same
  std::uint32_t nMatrix;       // the same and one more: 1 is RGB, 2 BT.709
  std::uint32_t nRange;        // 0 not known, 1 limited, 2 full
};

// XV_PACKET_TIME::nFlags.
enum eXfPacketFlags : std::uint32_t {
  eXfPF_Key = 0x10,  // decoding may start here
};

// A packet's stamps and place. A stamp of kNoTime is not known.
struct XV_PACKET_TIME {
  std::int64_t pts;        // ticks of the stream's time base
  std::int64_t dts;        // the same
  std::int64_t nPosition;  // bytes in the source, -1 where not known
  std::int32_t nDuration;  // ticks; 0 where not known
  std::uint32_t cbSize;    // bytes of the packet
  std::uint32_t nFlags;    // eXfPacketFlags
  std::int32_t nStream;    // index of the stream
  std::int32_t nIndex;     // number of the packet in its stream, from 0
  std::int32_t nOrder;     // the same
  std::int32_t nKey;       // packets since the last key; 0 for a key
  std::uint32_t nReserved;
};

// The shapes are part of the binary interface.
static_assert(sizeof(XV_STREAM_INFO) == 176 && sizeof(XV_PACKET_TIME) == 56);

// One encoded picture, or some encoded sound. Whoever makes it implements it. Any thread may read
// it; the stamps are set while nobody else reads.
struct IXfPacket : IUnknown {
  static constexpr Guid kIid{
      0x3f0c8d52, 0x6a1e, 0x4b7d, {0x92, 0x5f, 0x41, 0xc8, 0x0d, 0x77, 0x1e, 0xa3}};

  virtual HRESULT PacketTimeGet(XV_PACKET_TIME* time) noexcept = 0;
  // The stream that it belongs to. The extra data stay the packet's, valid while a reference is
  // held.
  virtual HRESULT PacketStreamInfoGet(XV_STREAM_INFO* info) noexcept = 0;
  // Start and stop of what is shown or heard, 100 ns. S_FALSE where there is no such time.
  virtual HRESULT PacketFrameTimeGet(XV_TIME* time) noexcept = 0;
  // The bytes. They stay the packet's, valid and unchanged while a reference is held.
  virtual HRESULT PacketDataGet(std::uint32_t* size, const std::uint8_t** data) noexcept = 0;
  // Replaces the record that PacketTimeGet gives. cbSize is not read.
  virtual HRESULT PacketTimeSet(const XV_PACKET_TIME* time) noexcept = 0;

 protected:
  ~IXfPacket() = default;
};

// Under this name (IXvFrameExtras::ObjectSet) a frame carries the packet that holds its picture.
// host::AddPacket attaches one.
inline constexpr char16_t kEncodedPacketName[] = u"video.encoded_packet";

// An encoder of one stream: Init, then Configure and Process in turn, Close.
struct IXfEncoder : IUnknown {
  static constexpr Guid kIid{
      0x8b1d4e70, 0x25c9, 0x4f86, {0xb3, 0x1a, 0x6e, 0x9f, 0x02, 0xd4, 0x58, 0xc7}};

  // `text`: the options of a node "video" or "audio", behind them "tag=" with the codec's name and
  // what the table adds for this class ("hw_only=true": refuse where only software would encode).
  // A failure makes the next class of the table be tried.
  virtual HRESULT Init(eXfMediaType type, const char16_t* text) = 0;
  // Takes one frame's picture or sound. `props` describe the frame; `text` may be null and is
  // "track='N'" for sound: which track of `props->aud` this encoder serves. The first call opens
  // the encoder. A null `frame` ends the stream: everything still held comes out of Process.
  // `reserved` is null.
  //   S_FALSE  nothing of the frame was taken.
  virtual HRESULT Configure(IXfFrame* frame, const XV_AV_PROPS* props, const char16_t* text,
                            void* reserved) = 0;
  // Gives the next packet, with a reference for the caller, or null when none came within
  // `timeout` (100 ns). `remaining` gets how many more are ready at least: the caller asks again
  // while it is above 0. Behind the end of the stream it stays above 0 until the last packet; null
  // with such a number means that the time was over. `reserved` is null.
  virtual HRESULT Process(IXfPacket** packet, std::int32_t* remaining, std::int64_t timeout,
                          void* reserved) = 0;
  // Lets go of everything. Packets that were given live on.
  virtual HRESULT Close() = 0;

 protected:
  ~IXfEncoder() = default;
};

// A multiplexer with one output: Init, AddStream for each stream, PutPacket, Close.
struct IXfMuxer : IUnknown {
  static constexpr Guid kIid{
      0xd52f90c4, 0x7e38, 0x4a19, {0x8c, 0x66, 0x15, 0xba, 0x43, 0xe9, 0x70, 0x2d}};

  // `name` is a path or a URL, `text` all attributes of the session. Nothing is written yet. A
  // failure makes the next class of the table be tried.
  virtual HRESULT Init(const char16_t* name, const char16_t* text) = 0;
  // Before the first packet. `info` says what is known; the packets' own records say the rest.
  // `index` (may be null) gets the number of the stream, from 0 in the order of the calls.
  // `reserved` is null.
  virtual HRESULT AddStream(const XV_STREAM_INFO* info, std::int32_t* index, void* reserved) = 0;
  // What is known of a stream now. The extra data are valid while the object at `owner` (may be
  // null: then until the next call) is held. XV_E_NOT_FOUND for no such stream.
  virtual HRESULT GetStream(std::int32_t index, XV_STREAM_INFO* info, IUnknown** owner) = 0;
  // Writes one packet, in the order of decoding stamps within its stream. The first packet writes
  // the header: a stream whose headers or format nobody has told by then is waited for, and packets
  // are held meanwhile. `reserved` is null.
  virtual HRESULT PutPacket(std::int32_t index, IXfPacket* packet, void* reserved) = 0;
  // Writes what is held and the trailer, closes the output.
  virtual HRESULT Close() = 0;

 protected:
  ~IXfMuxer() = default;
};

// Where the component path tells what it does, a line for each call and packet. A host implements
// it. Any thread, several at once; the line is borrowed for the call. It must not call back.
struct IXvTraceSink : IUnknown {
  static constexpr Guid kIid{
      0x61c7ae05, 0x93bf, 0x4d24, {0xa0, 0xe8, 0x7b, 0x3d, 0xf1, 0x16, 0x42, 0x98}};

  virtual void TraceLine(const char16_t* line) noexcept = 0;

 protected:
  ~IXvTraceSink() = default;
};

// What a component may offer: it is given the host's sink ahead of Init, null where there is none.
struct IXfTraced : IUnknown {
  static constexpr Guid kIid{
      0x0e94b7d3, 0x58f2, 0x4c60, {0x97, 0x0d, 0x82, 0x5a, 0x6c, 0x31, 0xef, 0x4b}};

  virtual HRESULT TraceSinkSet(IXvTraceSink* sink) noexcept = 0;

 protected:
  ~IXfTraced() = default;
};

// The classes of this library; XvCreateInstance makes them. Those of the table's choice also offer
// IXvProps, over a node "xv-props".
inline constexpr Guid CLSID_CoXfEncoder{
    0x5c30a1f8, 0x42d7, 0x4e9b, {0x86, 0x1f, 0x0b, 0x77, 0xc9, 0x5e, 0xd3, 0x64}};
inline constexpr Guid CLSID_CoXfMuxer{
    0xa9e61b42, 0x1d85, 0x4370, {0xbe, 0x53, 0xf4, 0x28, 0x90, 0x6c, 0x17, 0xda}};
// The components that encode and write with FFmpeg: IXfEncoder and IXfMuxer.
inline constexpr Guid CLSID_CoXfEncoderFFM{
    0x1f7b86d9, 0xc403, 0x4d5e, {0x9a, 0x72, 0xe0, 0x51, 0x3b, 0x8f, 0x64, 0x2c}};
inline constexpr Guid CLSID_CoXfMuxerFFM{
    0xe4083c5a, 0x67b1, 0x4f92, {0x85, 0xdd, 0x29, 0xc6, 0x7e, 0x10, 0xa8, 0xf3}};
inline constexpr char kProgIdEncoder[] = "XvWriterFFM.CoXfEncoder.1";
inline constexpr char kProgIdMuxer[] = "XvWriterFFM.CoXfMuxer.1";
inline constexpr char kProgIdEncoderFFM[] = "XvWriterFFM.CoXfEncoderFFM.1";
inline constexpr char kProgIdMuxerFFM[] = "XvWriterFFM.CoXfMuxerFFM.1";

}  // namespace xv

extern "C" {

// Sets the sink of the whole process, of which a reference is held; null takes it away. Without one
// nothing is formatted. A call that is under way may still use the old one. Any thread.
XV_EXPORT xv::HRESULT XvTraceSinkSet(xv::IXvTraceSink* sink);
}
