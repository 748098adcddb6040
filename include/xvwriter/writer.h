#pragma once

#include "xvwriter/frames.h"
#include "xvwriter/nodes.h"

// The writer object: class CCoXvWriterFFM_I.
namespace xv {

inline constexpr Guid CLSID_CoXvWriterFFM_I{
    0x4c93300c, 0x351a, 0x422f, {0xae, 0x57, 0xa8, 0xa5, 0xa9, 0x77, 0x7c, 0x4c}};
inline constexpr char kProgIdWriter[] = "XvWriterFFM.CoXvWriterFFM_I.1";

// The wait time that means "as long as it takes", in milliseconds.
inline constexpr std::uint32_t kInfinite = 0xFFFFFFFFu;

struct IXvObject_I : IUnknown {
  static constexpr Guid kIid{
      0x658ea335, 0x0f87, 0x43b2, {0x8a, 0xa9, 0x6f, 0xe5, 0x4b, 0x2a, 0x7f, 0x6d}};

  // Arms the writer and keeps `source` (may be null). E_UNEXPECTED without a target; S_FALSE when
  // it is armed already, and then the first source stays.
  virtual HRESULT ObjectStart(IUnknown* source) noexcept = 0;
  // Drains, writes the trailer, closes every file and goes idle. Always S_OK; a failure of the
  // session stays readable as the property "quality::last_error". Target and attributes stay.
  virtual HRESULT ObjectStop() noexcept = 0;
  // E_NOTIMPL, all four.
  virtual HRESULT ObjectReserved3(void*) noexcept = 0;
  virtual HRESULT ObjectReserved4(void*) noexcept = 0;
  virtual HRESULT ObjectReserved5(void*) noexcept = 0;
  virtual HRESULT ObjectReserved6(void*) noexcept = 0;

 protected:
  ~IXvObject_I() = default;
};

struct IXvReceiver_I : IUnknown {
  static constexpr Guid kIid{
      0xf4bb6454, 0x1a70, 0x48ce, {0xb9, 0x1d, 0x5d, 0x74, 0xab, 0xac, 0x75, 0x5e}};

  // Takes one frame; `a` and `b` are not used. One caller at a time. The frame is borrowed for the
  // call; what the writer keeps is a reference. Opens the output with the first frame.
  //   S_OK      taken.
  //   S_FALSE   dropped or skipped: no frame view, a duplicate in time, a full queue.
  //   < 0       failed. A failure of the encoding thread arrives with the next frame.
  virtual HRESULT ReceiverPut(const void* a, const void* b, IUnknown* frame) noexcept = 0;
  // Accepted and ignored: S_OK.
  virtual HRESULT ReceiverReserved2(void*) noexcept = 0;
  virtual HRESULT ReceiverReserved3(void*) noexcept = 0;

 protected:
  ~IXvReceiver_I() = default;
};

struct IXvWriter : IUnknown {
  static constexpr Guid kIid{
      0xe8f8241d, 0x1d55, 0x4eee, {0x81, 0x5e, 0x49, 0xb3, 0xc4, 0x54, 0x03, 0x5d}};

  // Sets the target (a path or a URL) and the session's attributes, "name=value name2='value 2'".
  // Either may be null or empty. XV_E_IN_USE while recording; nothing changes then.
  virtual HRESULT WriterSet(const char16_t* name, const char16_t* attributes) noexcept = 0;
  // A copy of the target's name.
  virtual HRESULT WriterGet(char16_t** name) noexcept = 0;
  // E_NOTIMPL.
  virtual HRESULT WriterReserved3(void*) noexcept = 0;

 protected:
  ~IXvWriter() = default;
};

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

struct IXfWriter : IXfReceiver {
  static constexpr Guid kIid{
      0x30376343, 0x70f6, 0x4574, {0x89, 0x8a, 0x3b, 0x64, 0xc1, 0x21, 0x24, 0xed}};

  // E_NOTIMPL, all three.
  virtual HRESULT XfWriterReserved1(void*) noexcept = 0;
  virtual HRESULT XfWriterReserved2(void*) noexcept = 0;
  virtual HRESULT XfWriterReserved3(void*) noexcept = 0;
  // WriterSet(name, attributes); `reserved` is not used.
  virtual HRESULT WriterNameSet(const char16_t* name, void* reserved,
                                const char16_t* attributes) noexcept = 0;
  // The target and the session's attributes as text; each out argument may be null.
  virtual HRESULT WriterNameGet(char16_t** name, char16_t** attributes) noexcept = 0;
  // ObjectStop().
  virtual HRESULT WriterClose() noexcept = 0;

 protected:
  ~IXfWriter() = default;
};

// Options by name, in one flat call style. Names may be "::" paths. Thread-safety: any thread, also
// while frames flow; a running session reads copies, so a change counts from the next start.
struct IXvProps : IUnknown {
  static constexpr Guid kIid{
      0xac7a1ae6, 0xb0ef, 0x453e, {0xa6, 0x5b, 0x2c, 0x71, 0x09, 0x53, 0xd6, 0x88}};

  virtual HRESULT PropsSet(const char16_t* name, const char16_t* value) noexcept = 0;
  // S_OK with a null string when the name is absent. An empty name gives the tree as XML.
  virtual HRESULT PropsGet(const char16_t* name, char16_t** value) noexcept = 0;
  virtual HRESULT PropsGetCount(const char16_t* node, std::int32_t* count) noexcept = 0;
  virtual HRESULT PropsGetByIndex(const char16_t* node, std::int32_t index, char16_t** name,
                                  char16_t** value, std::int32_t* hasChildren) noexcept = 0;
  virtual HRESULT PropsRemove(const char16_t* name) noexcept = 0;
  virtual HRESULT PropsHasChild(const char16_t* name, std::int32_t index,
                                std::int32_t* hasChild) noexcept = 0;
  virtual HRESULT PropsInfoGetCount(const char16_t* path, std::int32_t* count) noexcept = 0;
  virtual HRESULT PropsInfoGetByIndex(const char16_t* path, std::int32_t index, char16_t** name,
                                      IXvNode** info) noexcept = 0;
  virtual HRESULT PropsInfoGet(const char16_t* name, char16_t** type, char16_t** defaultValue,
                               char16_t** values) noexcept = 0;
  virtual HRESULT PropsInfoSet(const char16_t* name, const char16_t* type,
                               const char16_t* defaultValue, const char16_t* values) noexcept = 0;

 protected:
  ~IXvProps() = default;
};

// What the object of ObjectStart may offer: the format that its frames will have.
struct IXvSource : IUnknown {
  static constexpr Guid kIid{
      0x2a7b6bd8, 0x5794, 0x429d, {0xa3, 0xdb, 0x0d, 0xe5, 0x6f, 0x49, 0x60, 0x47}};

  virtual HRESULT SourcePropsGet(XV_AV_PROPS* props) noexcept = 0;

 protected:
  ~IXvSource() = default;
};

// Texts that would otherwise need a person's attention go here; the default prints to standard
// error. May be called on any thread.
using XvWarningHandler = void (*)(const char* text, void* context);

}  // namespace xv

extern "C" XV_EXPORT void XvSetWarningHandler(xv::XvWarningHandler handler, void* context);
