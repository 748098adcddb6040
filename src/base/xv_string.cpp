#include <cstdlib>
#include <cstring>
#include <limits>

#include "xvwriter/object.h"

namespace {

// The block: length in units, then the units, then a zero.
constexpr std::size_t kHead = sizeof(std::uint64_t);  // keeps the text 8-byte aligned

std::uint8_t* BlockOf(const char16_t* string) {
  return reinterpret_cast<std::uint8_t*>(const_cast<char16_t*>(string)) - kHead;
}

}  // namespace

extern "C" {

char16_t* XvStringAlloc(const char16_t* text, std::uint32_t length) {
  if (length > std::numeric_limits<std::uint32_t>::max() / sizeof(char16_t) - 16) return nullptr;
  const std::size_t bytes = std::size_t{length} * sizeof(char16_t);
  auto* block = static_cast<std::uint8_t*>(std::calloc(1, kHead + bytes + sizeof(char16_t)));
  if (block == nullptr) return nullptr;
  std::memcpy(block, &length, sizeof(length));
  if (text != nullptr && bytes > 0) std::memcpy(block + kHead, text, bytes);
  return reinterpret_cast<char16_t*>(block + kHead);
}

std::uint32_t XvStringLength(const char16_t* string) {
  if (string == nullptr) return 0;
  std::uint32_t length = 0;
  std::memcpy(&length, BlockOf(string), sizeof(length));
  return length;
}

void XvStringFree(char16_t* string) {
  if (string != nullptr) std::free(BlockOf(string));
}
}
