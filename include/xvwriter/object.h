#pragma once

#include <cstdint>

#include "xvwriter/export.h"
#include "xvwriter/results.h"

// The object model: counted interfaces with 128-bit ids, class factories, aggregation. It has the
// binary shape of the Component Object Model: an interface is a pointer to a table of functions, in
// the order in which the operations are declared here, behind the three of IUnknown.
//
// Rules that hold for every interface of this library:
// - The order of operations is fixed. An operation that does nothing here keeps its place and says
//   so ("Reserved"); a new one comes in a new interface with another id.
// - An in argument is borrowed for the call. What an object keeps, it holds a reference to.
// - An out interface pointer carries a reference that the caller releases; after a failure it is
//   null.
// - An out string is a block that the caller frees with XvStringFree; it may be null where an
//   operation says so. In strings are UTF-16 up to a zero, and null counts as empty unless said
//   otherwise.
// - An out argument that may not be null gives E_POINTER when it is.
// - No exception leaves an operation, and none may leave one that a host implements: each is
//   noexcept and answers with a status. E_OUTOFMEMORY may come from any of them.
// - AddRef and Release may be called on any thread. The other operations say which threads may call
//   them; "any thread" means beside one another too.
namespace xv {

// Of an interface or a class. In text "4c93300c-351a-422f-ae57-a8a5a9777c4c": the first three
// members as numbers, the last as bytes.
struct Guid {
  std::uint32_t data1 = 0;
  std::uint16_t data2 = 0;
  std::uint16_t data3 = 0;
  std::uint8_t data4[8] = {};

  friend constexpr bool operator==(const Guid& a, const Guid& b) {
    if (a.data1 != b.data1 || a.data2 != b.data2 || a.data3 != b.data3) return false;
    for (int i = 0; i < 8; ++i) {
      if (a.data4[i] != b.data4[i]) return false;
    }
    return true;
  }
};

// What every interface begins with. There is no virtual destructor: an object dies with its last
// reference, never by delete.
struct IUnknown {
  static constexpr Guid kIid{
      0x00000000, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

  // Another interface of the same object, with a reference. The object behind two pointers is the
  // same when both give the same pointer for IUnknown's id. Any thread.
  //   E_POINTER      `out` is null.
  //   E_NOINTERFACE  the object does not have it; *out is null.
  virtual HRESULT QueryInterface(const Guid& iid, void** out) noexcept = 0;
  // Both return the new count, for diagnostics only.
  virtual std::uint32_t AddRef() noexcept = 0;
  virtual std::uint32_t Release() noexcept = 0;

 protected:
  ~IUnknown() = default;
};

// Makes objects of one class. Any thread.
struct IClassFactory : IUnknown {
  static constexpr Guid kIid{
      0x00000001, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

  // Makes an object and gives its interface `iid`. With `outer` set the object becomes part of that
  // aggregate: its interfaces delegate to `outer`, which is not counted and must outlive it. `iid`
  // must then be IUnknown's, and the pointer given is the inner, non-delegating one, whose
  // reference the outer object keeps.
  //   CLASS_E_NOAGGREGATION  `outer` is set and `iid` is not IUnknown's.
  //   E_NOINTERFACE          the class does not have `iid`; nothing was made.
  virtual HRESULT CreateInstance(IUnknown* outer, const Guid& iid, void** out) noexcept = 0;
  // Counts: `lock` true adds one, false takes it off. DllCanUnloadNow says no while there is one.
  virtual HRESULT LockServer(bool lock) noexcept = 0;

 protected:
  ~IClassFactory() = default;
};

}  // namespace xv

extern "C" {

// The class factory of a class of this module. Any thread.
//   CLASS_E_CLASSNOTAVAILABLE  the class lives elsewhere; XvCreateInstance may find it.
XV_EXPORT xv::HRESULT DllGetClassObject(const xv::Guid& classId, const xv::Guid& iid, void** out);

// S_OK when no object and no server lock of this module is alive, else S_FALSE. The answer is old
// when it arrives: only a host that makes no more objects may rely on it.
XV_EXPORT xv::HRESULT DllCanUnloadNow();

// Makes an object of class `classId`: of this library, else of the module that a registered class
// names (registration.h). `outer` may be null; see IClassFactory::CreateInstance. Any thread.
//   CLASS_E_CLASSNOTAVAILABLE  no such class is registered, or its module cannot be loaded.
XV_EXPORT xv::HRESULT XvCreateInstance(const xv::Guid& classId, xv::IUnknown* outer,
                                       const xv::Guid& iid, void** out);

// Strings: `length` UTF-16 units and a terminating zero behind a hidden length, so that a zero may
// stand inside. Any thread; a block may be freed on another one than it was made on.
//
// A new string; a null `text` gives one that is filled with zeros. Null when there is no memory or
// `length` is near 2^31.
XV_EXPORT char16_t* XvStringAlloc(const char16_t* text, std::uint32_t length);
// Units without the terminating zero; 0 for null. For strings of XvStringAlloc and out strings
// only.
XV_EXPORT std::uint32_t XvStringLength(const char16_t* string);
// Null is allowed.
XV_EXPORT void XvStringFree(char16_t* string);
}
