#pragma once

#include "xvwriter/frames.h"
#include "xvwriter/nodes.h"

// The writer object: class CCoXvWriterFFM_I, made by XvCreateInstance with CLSID_CoXvWriterFFM_I.
// It offers IXvObject_I, IXvReceiver_I, IXvWriter, IXvProps, IXfReceiver and IXfWriter; query any
// from any.
//
//   idle --ObjectStart--> armed --first frame--> recording --ObjectStop--> idle
//
// WriterSet names the target and the attributes while the object is idle or armed. The first frame
// opens the output, since only it says what is to be written. Target and attributes stay after a
// stop, so that ObjectStart alone records to the same target again; a frame after ObjectStop,
// without a start, does so too where the target is a stream, but never over a file that was just
// finished. The last Release stops a recording as ObjectStop does.
//
// Threads: any operation may be called on any thread, beside others too, while the caller holds a
// reference. WriterSet, ObjectStart, ObjectStop and the puts are served in the order of their
// calls; a stop waits for the put at hand, and refuses those that wait with it. The others never
// wait. One process may have any number of writers; each encodes and writes on its own threads.
namespace xv {

inline constexpr Guid CLSID_CoXvWriterFFM_I{
    0x4c93300c, 0x351a, 0x422f, {0xae, 0x57, 0xa8, 0xa5, 0xa9, 0x77, 0x7c, 0x4c}};
inline constexpr char kProgIdWriter[] = "XvWriterFFM.CoXvWriterFFM_I.1";

// The wait time that means "as long as it takes", in milliseconds.
inline constexpr std::uint32_t kInfinite = 0xFFFFFFFFu;

// Start and stop.
struct IXvObject_I : IUnknown {
  static constexpr Guid kIid{
      0x658ea335, 0x0f87, 0x43b2, {0x8a, 0xa9, 0x6f, 0xe5, 0x4b, 0x2a, 0x7f, 0x6d}};

  // Arms the writer and holds `source` (may be null) until the stop; see IXvSource. Correction of
  // times begins anew. A recording to the same target replaces what the last one wrote there.
  //   S_FALSE       it is armed or recording already; its source and its clock stay.
  //   E_UNEXPECTED  there is no target: WriterSet first.
  virtual HRESULT ObjectStart(IUnknown* source) noexcept = 0;
  // Encodes what waits, writes the trailer, closes every file, lets go of frames and source and
  // goes idle. Takes as long as that takes; a receiver that takes nothing is given up after
  // "io_timeout". Always S_OK: how the session went stays readable as the properties
  // "quality::last_status" and "quality::last_error", until the next session's first frame.
  // Stopping twice is allowed.
  virtual HRESULT ObjectStop() noexcept = 0;
  // E_NOTIMPL, all four.
  virtual HRESULT ObjectReserved3(void*) noexcept = 0;
  virtual HRESULT ObjectReserved4(void*) noexcept = 0;
  virtual HRESULT ObjectReserved5(void*) noexcept = 0;
  virtual HRESULT ObjectReserved6(void*) noexcept = 0;

 protected:
  ~IXvObject_I() = default;
};

// Frames in.
struct IXvReceiver_I : IUnknown {
  static constexpr Guid kIid{
      0xf4bb6454, 0x1a70, 0x48ce, {0xb9, 0x1d, 0x5d, 0x74, 0xab, 0xac, 0x75, 0x5e}};

  // Takes one frame; `a` and `b` are not used. Any thread. The caller's reference stays
  // the caller's; the writer holds another as long as it reads the frame. Opens the output
  // with the first frame. When the video queue is full the call waits for the encoder, or drops the
  // frame with "video.drop_frames=true".
  //   S_OK            taken.
  //   S_FALSE         dropped or skipped: not a frame, a time that leaves no place, a full queue.
  //   E_NOINTERFACE   the frame has no IXfFrame.
  //   E_INVALIDARG    the picture's memory is shorter than its properties say. Others may follow.
  //   XV_E_NO_VALID_MEDIA  the frame has neither a picture nor sound, or one whose format is not
  //                   valid. It is not taken, and as the first one it opens nothing.
  //   XV_E_NO_PIXEL_FORMAT  the picture's layout is unknown; the same.
  //   XV_E_DISK_FULL  less space than "diskspace.min": the recording has been closed.
  //   XV_E_NOT_OPEN   the output could not be opened, or was closed by a failure before, or a stop
  //                   came meanwhile. Stop.
  //   E_UNEXPECTED    there is no target: WriterSet first.
  //   XV_E_ALREADY_EXISTS  the target is the file that was finished at the last stop, and neither
  //                   WriterSet nor ObjectStart came since: the file stays as it is.
  //   other < 0       this frame's failure, or one of the encoding thread, which arrives with the
  //                   next frame and with every one from then on. Stop.
  virtual HRESULT ReceiverPut(const void* a, const void* b, IUnknown* frame) noexcept = 0;
  // Accepted and ignored: S_OK.
  virtual HRESULT ReceiverReserved2(void*) noexcept = 0;
  virtual HRESULT ReceiverReserved3(void*) noexcept = 0;

 protected:
  ~IXvReceiver_I() = default;
};

// Target and attributes.
struct IXvWriter : IUnknown {
  static constexpr Guid kIid{
      0xe8f8241d, 0x1d55, 0x4eee, {0x81, 0x5e, 0x49, 0xb3, 0xc4, 0x54, 0x03, 0x5d}};

  // Sets the target (a path or a URL) and the session's attributes, "name=value name2='value 2'",
  // in the place of what was set before; either may be null or empty. docs/attributes.md lists the
  // attributes; what nobody took is named in "quality::unused_options" once the output is open.
  //   XV_E_IN_USE  a recording runs; nothing has changed.
  virtual HRESULT WriterSet(const char16_t* name, const char16_t* attributes) noexcept = 0;
  // A copy of the target's name, "" before the first WriterSet.
  virtual HRESULT WriterGet(char16_t** name) noexcept = 0;
  // E_NOTIMPL.
  virtual HRESULT WriterReserved3(void*) noexcept = 0;

 protected:
  ~IXvWriter() = default;
};

// The same operations in the other family's shape.
struct IXfReceiver : IUnknown {
  static constexpr Guid kIid{
      0xdd781e12, 0xd3bc, 0x4f3d, {0xa1, 0x97, 0x5f, 0x96, 0xb4, 0x3d, 0x49, 0x5a}};

  // As IXvReceiver_I::ReceiverPut, but a frame without the view gives the failed query's result.
  virtual HRESULT ReceiverPut(IUnknown* frame) noexcept = 0;
  // E_NOTIMPL.
  virtual HRESULT XfReceiverReserved2(void*) noexcept = 0;
  virtual HRESULT XfReceiverReserved3(void*) noexcept = 0;

 protected:
  ~IXfReceiver() = default;
};

// Target, attributes and stop for hosts of that family.
struct IXfWriter : IXfReceiver {
  static constexpr Guid kIid{
      0x30376343, 0x70f6, 0x4574, {0x89, 0x8a, 0x3b, 0x64, 0xc1, 0x21, 0x24, 0xed}};

  // E_NOTIMPL, all three.
  virtual HRESULT XfWriterReserved1(void*) noexcept = 0;
  virtual HRESULT XfWriterReserved2(void*) noexcept = 0;
  virtual HRESULT XfWriterReserved3(void*) noexcept = 0;
  // IXvWriter::WriterSet(name, attributes); `reserved` is not used.
  virtual HRESULT WriterNameSet(const char16_t* name, void* reserved,
                                const char16_t* attributes) noexcept = 0;
  // The target and the session's attributes as text, both the caller's; each out argument may be
  // null.
  virtual HRESULT WriterNameGet(char16_t** name, char16_t** attributes) noexcept = 0;
  // IXvObject_I::ObjectStop().
  virtual HRESULT WriterClose() noexcept = 0;

 protected:
  ~IXfWriter() = default;
};

// Options by name, in one flat call style, over a tree of nodes (nodes.h). Names may be "::" paths;
// the root is the empty name. Any thread, also while frames flow. A session reads copies when it
// opens, so a change counts from the next start.
//
// Besides what a host has set the tree shows
//   quality         statistics of the session, read only (docs/hosts.md)
//   supported_list  what can be written on this machine (docs/list.md)
//   m_config        settings of that list
//   _process_name_, _process_pid_, dll-version, dll-path, dll-date   about process and library
struct IXvProps : IUnknown {
  static constexpr Guid kIid{
      0xac7a1ae6, 0xb0ef, 0x453e, {0xa6, 0x5b, 0x2c, 0x71, 0x09, 0x53, 0xd6, 0x88}};

  // By what the value is: null or empty removes the property; text without "=" is stored as it is;
  // with "=" outside quotes it is attribute text and merges into the node of that name; with "<"
  // too it is XML and replaces that node, whose name its first element must have.
  //   E_INVALIDARG         a null name, plain text for the root, an element of another name.
  //   XV_E_FILE_NOT_FOUND  a path with an empty part.
  virtual HRESULT PropsSet(const char16_t* name, const char16_t* value) noexcept = 0;
  // S_OK with a null string when there is no such property. The empty name gives the tree as XML,
  // "supported_list" the list, brought up to date, as XML 1.0.
  virtual HRESULT PropsGet(const char16_t* name, char16_t** value) noexcept = 0;
  // Attributes of a node; "path::_info_" counts its schema entries.
  //   XV_E_NOT_FOUND  no such node; the count is 0.
  virtual HRESULT PropsGetCount(const char16_t* node, std::int32_t* count) noexcept = 0;
  // The index-th attribute, and behind the last attribute the children, with their text as the
  // value. Both strings are the caller's. `hasChildren` gets 1 for a child with attributes or
  // children below it. Values of "quality" are those of the moment; its first names keep their
  // places.
  //   XV_E_NOT_FOUND  no such node, or past the end.
  virtual HRESULT PropsGetByIndex(const char16_t* node, std::int32_t index, char16_t** name,
                                  char16_t** value, std::int32_t* hasChildren) noexcept = 0;
  // Removes an attribute, else a node. "path::_all_props_" clears the attributes, "_all_nodes_" the
  // children.
  //   E_INVALIDARG    no name.
  //   XV_E_NOT_FOUND  nothing there.
  virtual HRESULT PropsRemove(const char16_t* name) noexcept = 0;
  // Whether the node exists and, for an index from 0 up, has a child of that index. S_OK either
  // way.
  virtual HRESULT PropsHasChild(const char16_t* name, std::int32_t index,
                                std::int32_t* hasChild) noexcept = 0;
  // What is known of attributes: entries that the node of `path` declares itself, by index.
  virtual HRESULT PropsInfoGetCount(const char16_t* path, std::int32_t* count) noexcept = 0;
  virtual HRESULT PropsInfoGetByIndex(const char16_t* path, std::int32_t index, char16_t** name,
                                      IXvNode** info) noexcept = 0;
  // The entry of one attribute, looked for up through the parents. That of a codec in the list
  // ("supported_list::formats::format[3]::video::codec[2]::preset") is looked for where its id is
  // described too; the list is loaded where it is not there yet. A string is null where the entry
  // has no such item. XV_E_NOT_FOUND without an entry.
  virtual HRESULT PropsInfoGet(const char16_t* name, char16_t** type, char16_t** defaultValue,
                               char16_t** values) noexcept = 0;
  // Makes or changes an entry; arguments but the name may be null and leave what is there.
  virtual HRESULT PropsInfoSet(const char16_t* name, const char16_t* type,
                               const char16_t* defaultValue, const char16_t* values) noexcept = 0;

 protected:
  ~IXvProps() = default;
};

// What the object of ObjectStart may offer: the format that its frames will have. A host implements
// it. This writer opens with its first frame and takes the format from there, so it holds the
// source and does not ask.
struct IXvSource : IUnknown {
  static constexpr Guid kIid{
      0x2a7b6bd8, 0x5794, 0x429d, {0xa3, 0xdb, 0x0d, 0xe5, 0x6f, 0x49, 0x60, 0x47}};

  virtual HRESULT SourcePropsGet(XV_AV_PROPS* props) noexcept = 0;

 protected:
  ~IXvSource() = default;
};

// Gets UTF-8 texts that need a person's attention, such as a thread that does not end. May be
// called on any thread, several at once, and must not throw or call back into a writer.
using XvWarningHandler = void (*)(const char* text, void* context);

}  // namespace xv

// Replaces the handler of the whole process; null brings back the default, which prints to standard
// error. `context` is passed on and stays the host's; a call that is under way may still use the
// old one. Any thread.
extern "C" XV_EXPORT void XvSetWarningHandler(xv::XvWarningHandler handler, void* context);
