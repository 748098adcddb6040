#include "hw/cuda/cuda_headers.h"

#include <algorithm>
#include <utility>

namespace xv {
namespace {

constexpr std::uint8_t kStartCode[] = {0, 0, 0, 1};

// Takes a set and its length off the front; empty when there is none, or not all of it.
std::span<const std::uint8_t> TakeSet(std::span<const std::uint8_t>* raw) {
  if (raw->size() < 2) return {};
  const std::size_t length = (*raw)[0] * std::size_t{255} + (*raw)[1];
  if (length > raw->size() - 2) return {};
  const auto set = raw->subspan(2, length);
  *raw = raw->subspan(2 + length);
  return set;
}

}  // namespace

Status CudaHeadersToAnnexB(std::span<const std::uint8_t> raw, std::uint8_t* into,
                           std::size_t* size) {
  const std::size_t room = std::exchange(*size, 0);
  const auto sequence = TakeSet(&raw);
  const auto picture = TakeSet(&raw);
  if (sequence.empty() || picture.empty()) return E_FAIL;
  const std::size_t written = 2 * sizeof kStartCode + sequence.size() + picture.size();
  if (written > room) return E_FAIL;
  for (const auto set : {sequence, picture}) {
    into = std::copy(std::begin(kStartCode), std::end(kStartCode), into);
    into = std::copy(set.begin(), set.end(), into);
  }
  *size = written;
  return S_OK;
}

}  // namespace xv
