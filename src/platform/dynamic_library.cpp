#include "platform/dynamic_library.h"

#include <dlfcn.h>

#include <utility>

namespace xv {
namespace {

std::string SystemWords() {
  const char* words = dlerror();
  return words == nullptr ? std::string() : words;
}

}  // namespace

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept
    : handle_(std::exchange(other.handle_, nullptr)), words_(std::move(other.words_)) {}

DynamicLibrary& DynamicLibrary::operator=(DynamicLibrary&& other) noexcept {
  if (this != &other) {
    Close();
    handle_ = std::exchange(other.handle_, nullptr);
    words_ = std::move(other.words_);
  }
  return *this;
}

DynamicLibrary::~DynamicLibrary() { Close(); }

Status DynamicLibrary::Open(const std::string& name) {
  Close();
  words_.clear();
  // An empty name would be the program itself.
  if (name.empty()) return E_INVALIDARG;
  handle_ = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ != nullptr) return S_OK;
  words_ = SystemWords();
  return XV_E_VENDOR_LIBRARY;
}

void DynamicLibrary::Close() {
  if (handle_ != nullptr) dlclose(std::exchange(handle_, nullptr));
}

void* DynamicLibrary::Symbol(const char* name) const {
  return handle_ == nullptr ? nullptr : dlsym(handle_, name);
}

Status DynamicLibrary::Load(std::initializer_list<LibrarySymbol> symbols) {
  for (const LibrarySymbol& symbol : symbols) {
    *symbol.target = Symbol(symbol.name);
    if (*symbol.target != nullptr) continue;
    words_ = std::string("missing entry point ") + symbol.name;
    for (const LibrarySymbol& other : symbols) *other.target = nullptr;
    return XV_E_VENDOR_LIBRARY;
  }
  return S_OK;
}

}  // namespace xv
