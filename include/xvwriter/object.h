#pragma once

#include <cstdint>

#include "xvwriter/export.h"
#include "xvwriter/results.h"

// The object model: counted interfaces with 128-bit ids, class factories, aggregation.
//
// Rules that hold for every interface of this library:
// - Operations stand in the order of the document they implement, behind the three of IUnknown.
// - An out interface pointer carries a reference that the caller releases.
// - An out string is a block of its own that the caller frees with XvStringFree.
// - No exception leaves an operation; each is noexcept and answers with an HRESULT.
// - AddRef and Release may be called on any thread.
namespace xv {

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

struct IUnknown {
  static constexpr Guid kIid{
      0x00000000, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

  // Gives the interface `iid` of this object with a reference of its own.
  // E_POINTER for a null `out`; E_NOINTERFACE (and *out null) when the object has none.
  virtual HRESULT QueryInterface(const Guid& iid, void** out) noexcept = 0;
  // Both return the new count, for diagnostics only.
  virtual std::uint32_t AddRef() noexcept = 0;
  virtual std::uint32_t Release() noexcept = 0;

 protected:
  ~IUnknown() = default;
};

struct IClassFactory : IUnknown {
  static constexpr Guid kIid{
      0x00000001, 0x0000, 0x0000, {0xc0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

  // Makes an object. With `outer` set the object becomes part of that aggregate: `iid` must then be
  // IUnknown's, and the pointer given is the inner, non-delegating one.
  virtual HRESULT CreateInstance(IUnknown* outer, const Guid& iid, void** out) noexcept = 0;
  // Keeps the module loaded while the count of locks is above zero.
  virtual HRESULT LockServer(bool lock) noexcept = 0;

 protected:
  ~IClassFactory() = default;
};

}  // namespace xv

extern "C" {

// Gives the class factory of a class of this module. CLASS_E_CLASSNOTAVAILABLE for another id.
XV_EXPORT xv::HRESULT DllGetClassObject(const xv::Guid& classId, const xv::Guid& iid, void** out);

// S_OK when no object and no server lock of this module is alive, else S_FALSE.
XV_EXPORT xv::HRESULT DllCanUnloadNow();

// Makes an object of class `classId`. `outer` may be null; see IClassFactory::CreateInstance.
XV_EXPORT xv::HRESULT XvCreateInstance(const xv::Guid& classId, xv::IUnknown* outer,
                                       const xv::Guid& iid, void** out);

// Strings: `length` UTF-16 units and a terminating zero behind a hidden length. XvStringAlloc gives
// null when there is no memory; a null `text` gives a zero-filled string. XvStringLength and
// XvStringFree accept null.
XV_EXPORT char16_t* XvStringAlloc(const char16_t* text, std::uint32_t length);
XV_EXPORT std::uint32_t XvStringLength(const char16_t* string);
XV_EXPORT void XvStringFree(char16_t* string);
}
