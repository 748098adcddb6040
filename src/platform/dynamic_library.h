#pragma once

#include <initializer_list>
#include <string>

#include "base/status.h"

namespace xv {

// One entry point of a vendor's library: where to put it, under which name it is exported.
struct LibrarySymbol {
  const char* name;
  void** target;
};

// A library that is loaded at run time and unloaded with the object. One caller at a time.
class DynamicLibrary {
 public:
  DynamicLibrary() = default;
  DynamicLibrary(DynamicLibrary&& other) noexcept;
  DynamicLibrary& operator=(DynamicLibrary&& other) noexcept;
  DynamicLibrary(const DynamicLibrary&) = delete;
  DynamicLibrary& operator=(const DynamicLibrary&) = delete;
  ~DynamicLibrary();

  // A bare name is searched as the system does. XV_E_VENDOR_LIBRARY when it cannot be loaded; Words
  // tells why.
  Status Open(const std::string& name);
  bool IsOpen() const { return handle_ != nullptr; }
  void Close();
  void* Symbol(const char* name) const;
  // All or nothing: when one is missing every target becomes null, and the result is
  // XV_E_VENDOR_LIBRARY.
  Status Load(std::initializer_list<LibrarySymbol> symbols);
  // The system's words for the last failure, the missing name included.
  const std::string& Words() const { return words_; }

 private:
  void* handle_ = nullptr;
  std::string words_;
};

}  // namespace xv
