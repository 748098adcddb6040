#pragma once

#include <cstdint>

#include "xvwriter/results.h"

// The interface of the vendor's library, libnvcuvenc.so: its entry points and the records that
// travel through them. All calls are C functions; each returns an HRESULT, negative on failure.
namespace xv {

using CudaHandle = void*;

inline constexpr std::int32_t kCudaCodecH264 = 4;

// Parameters as the library numbers them. A value passes through a pointer to what the comment
// says; an integer has 32 bits.
enum CudaParam : std::int32_t {
  kCudaOutputSize = 1,         // two integers: width, height
  kCudaAspect = 2,             // three integers: x, y and a flag
  kCudaFieldMode = 3,          // integer: 0 pictures, 1 top field first, 2 bottom field first
  kCudaReferenceDistance = 4,  // integer: from one reference picture to the next
  kCudaKeyDistance = 5,        // integer
  kCudaDynamicGop = 6,         // integer
  kCudaRateControl = 7,        // integer
  kCudaAverageRate = 8,        // 64 bits, bits per second
  kCudaPeakRate = 9,           // likewise
  kCudaQuantiserI = 10,        // integer
  kCudaQuantiserP = 11,        // integer
  kCudaQuantiserB = 12,        // integer
  kCudaFrameRate = 13,         // two integers: numerator, denominator
  kCudaDeblock = 14,           // integer
  kCudaProfileLevel = 15,      // integer: the profile, and 256 times the level
  kCudaDeinterlace = 19,       // integer
  kCudaInputSize = 21,         // two integers: width, height
  kCudaLastFinished = 31,      // read, integer: number of the picture that was finished last
  kCudaNoCabac = 34,           // integer
  kCudaNoHeaders = 36,         // integer: no parameter sets in the stream
  kCudaAdapter = 38,           // integer
  kCudaChosenAdapter = 39,     // read, integer; -1 goes in
  kCudaAdapterCount = 41,      // read, integer
  kCudaAdapterRecord = 42,     // read, CudaAdapter
};

// What the library tells of one adapter.
struct CudaAdapter {
  std::int32_t index = 0;  // goes in
  std::uint8_t rest[280]{};
};
static_assert(sizeof(CudaAdapter) == 284);

// A picture that goes in, or the end of the stream.
struct CudaFrame {
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::int32_t pitch = 0;          // bytes from one row to the next
  std::int32_t layout = 0;         // 0 UYVY, 1 YUY2, 2 YV12, 3 another
  std::int32_t structure = 0;      // 1 top field first, 2 bottom field first, 3 a whole picture
  std::int32_t topFieldFirst = 0;  // 0 or 1, as the following ones
  std::int32_t repeatFirstField = 0;
  std::int32_t progressive = 0;
  std::int32_t last = 0;  // the stream ends; there are no pixels
  const std::uint8_t* pixels = nullptr;
};

// What the library tells when it begins and ends a picture.
struct CudaFrameEvent {
  std::int32_t number = 0;  // of the picture in order of showing, from 0
  std::int32_t type = 0;    // 0 and 1 are intra pictures
};

// What the library calls, on its own thread, with the user pointer of the registration.
struct CudaCallbacks {
  // Where the next bytes go, and in `room` how many; null when there is no place.
  std::uint8_t* (*acquire)(std::int32_t* room, void* user);
  void (*release)(std::int32_t bytes, std::uint8_t* buffer, void* user);
  void (*beginFrame)(const CudaFrameEvent* event, void* user);
  void (*endFrame)(const CudaFrameEvent* event, void* user);
};

// The entry points, in the order in which they are looked for.
struct CudaEntryPoints {
  HRESULT (*NVCreateEncoder)(CudaHandle* out);
  HRESULT (*NVDestroyEncoder)(CudaHandle encoder);
  HRESULT (*NVIsSupportedCodec)(CudaHandle encoder, std::int32_t codec);
  HRESULT(*NVIsSupportedCodecProfile)
  (CudaHandle encoder, std::int32_t codec, std::int32_t profile);
  HRESULT (*NVSetCodec)(CudaHandle encoder, std::int32_t codec);
  HRESULT (*NVGetCodec)(CudaHandle encoder, std::int32_t* codec);
  HRESULT (*NVIsSupportedParam)(CudaHandle encoder, std::int32_t id);
  HRESULT (*NVSetParamValue)(CudaHandle encoder, std::int32_t id, const void* value);
  HRESULT (*NVGetParamValue)(CudaHandle encoder, std::int32_t id, void* value);
  HRESULT (*NVSetDefaultParam)(CudaHandle encoder);
  HRESULT (*NVCreateHWEncoder)(CudaHandle encoder);
  HRESULT(*NVGetSPSPPS)
  (CudaHandle encoder, std::uint8_t* into, std::int32_t room, std::int32_t* size);
  HRESULT(*NVEncodeFrame)
  (CudaHandle encoder, const CudaFrame* frame, std::uint32_t flags, void* memory);
  HRESULT (*NVGetHWEncodeCaps)(std::int32_t* caps);
  HRESULT (*NVRegisterCB)(CudaHandle encoder, CudaCallbacks callbacks, void* user);
};

}  // namespace xv
