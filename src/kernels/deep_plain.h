#pragma once

#include <cstdint>

#include "kernels/simd_level.h"

// Reference of DeepKernels; the vector variants use it for the rest of a row.
namespace xv::plain {

template <bool kLumaFirst>
void PackV210(const std::uint8_t* source, std::uint8_t* target, int width,
              Stores = Stores::kCached);
void UnpackV210(const std::uint8_t* source, std::uint8_t* target, int width,
                Stores = Stores::kCached);
void PlanesFromV210(const std::uint8_t* source, std::uint16_t* y, std::uint16_t* u,
                    std::uint16_t* v, int width);
void V210FromPlanes(const std::uint16_t* y, const std::uint16_t* u, const std::uint16_t* v,
                    std::uint8_t* target, int width);

}  // namespace xv::plain
