#include <va/va.h>

#include "support/vendor/ledger.h"
#include "support/vendor/va/va_driver.h"

// libva.so.2 as far as encoders and lists of devices ask; va_unsupported.cpp has the rest.
namespace xv::va {
namespace {

// What a test has ordered comes ahead of `act`; calls that give something up do so all the same.
template <class Act>
VAStatus Run(const char* name, VADisplay display, const Act& act, bool gives = false) {
  const vendor::CallStart start = vendor::Ledger::Get().Begin(name);
  VAStatus status = VA_STATUS_ERROR_OPERATION_FAILED;
  if (!Driver::Get().Lives(display)) {
    vendor::Ledger::Get().Broke(std::string(name) + " of a display that is not initialised");
    status = VA_STATUS_ERROR_INVALID_DISPLAY;
  } else if (gives || (!start.fault && !start.lost)) {
    status = act(Driver::Get());
  }
  if (start.fault) status = static_cast<VAStatus>(*start.fault);
  vendor::Ledger::Get().End({name, status, {}, {}});
  return status;
}

const char* Words(VAStatus status) {
  switch (status) {
    case VA_STATUS_SUCCESS:
      return "success (no error)";
    case VA_STATUS_ERROR_OPERATION_FAILED:
      return "operation failed";
    case VA_STATUS_ERROR_ALLOCATION_FAILED:
      return "resource allocation failed";
    case VA_STATUS_ERROR_INVALID_DISPLAY:
      return "invalid VADisplay";
    case VA_STATUS_ERROR_UNIMPLEMENTED:
      return "the requested function is not implemented";
    default:
      return "unknown libva error / description missing";
  }
}

}  // namespace
}  // namespace xv::va

using namespace xv::va;

int vaDisplayIsValid(VADisplay display) { return display == nullptr ? 0 : 1; }

VAStatus vaInitialize(VADisplay display, int* major, int* minor) {
  const xv::vendor::CallStart start = xv::vendor::Ledger::Get().Begin("vaInitialize");
  const VAStatus status =
      start.fault ? static_cast<VAStatus>(*start.fault) : Driver::Get().Initialize(display);
  *major = VA_MAJOR_VERSION;
  *minor = VA_MINOR_VERSION;
  xv::vendor::Ledger::Get().End({"vaInitialize", status, {}, {}});
  return status;
}

VAStatus vaTerminate(VADisplay display) {
  const xv::vendor::CallStart start = xv::vendor::Ledger::Get().Begin("vaTerminate");
  const VAStatus done = Driver::Get().Terminate(display);
  const VAStatus status = start.fault ? static_cast<VAStatus>(*start.fault) : done;
  xv::vendor::Ledger::Get().End({"vaTerminate", status, {}, {}});
  return status;
}

const char* vaQueryVendorString(VADisplay display) {
  return Driver::Get().Lives(display) ? "Stand-in for a VA driver 1.0" : nullptr;
}

const char* vaErrorStr(VAStatus status) { return Words(status); }

VAMessageCallback vaSetErrorCallback(VADisplay, VAMessageCallback, void*) { return nullptr; }
VAMessageCallback vaSetInfoCallback(VADisplay, VAMessageCallback, void*) { return nullptr; }

int vaMaxNumProfiles(VADisplay) { return 3; }
int vaMaxNumEntrypoints(VADisplay) { return 2; }

VAStatus vaQueryConfigProfiles(VADisplay display, VAProfile* profiles, int* count) {
  return Run("vaQueryConfigProfiles", display, [&](Driver&) {
    profiles[0] = VAProfileH264ConstrainedBaseline;
    profiles[1] = VAProfileH264Main;
    profiles[2] = VAProfileH264High;
    *count = 3;
    return VA_STATUS_SUCCESS;
  });
}

VAStatus vaQueryConfigEntrypoints(VADisplay display, VAProfile, VAEntrypoint* points, int* count) {
  return Run("vaQueryConfigEntrypoints", display, [&](Driver&) {
    points[0] = VAEntrypointVLD;
    points[1] = VAEntrypointEncSlice;
    *count = 2;
    return VA_STATUS_SUCCESS;
  });
}

VAStatus vaCreateSurfaces(VADisplay display, unsigned format, unsigned width, unsigned height,
                          VASurfaceID* ids, unsigned count, VASurfaceAttrib* attributes,
                          unsigned attributeCount) {
  return Run("vaCreateSurfaces", display, [&](Driver& driver) -> VAStatus {
    for (unsigned i = 0; i < attributeCount; ++i) {
      if (attributes[i].type == VASurfaceAttribPixelFormat &&
          attributes[i].value.value.i != VA_FOURCC_NV12) {
        return VA_STATUS_ERROR_INVALID_IMAGE_FORMAT;
      }
    }
    return driver.CreateSurfaces(format, width, height, ids, count);
  });
}

VAStatus vaDestroySurfaces(VADisplay display, VASurfaceID* ids, int count) {
  return Run(
      "vaDestroySurfaces", display,
      [&](Driver& driver) { return driver.DestroySurfaces(ids, count); }, true);
}

VAStatus vaSyncSurface(VADisplay display, VASurfaceID surface) {
  return Run("vaSyncSurface", display, [&](const Driver& driver) {
    return driver.Knows(surface) ? VA_STATUS_SUCCESS : VA_STATUS_ERROR_INVALID_SURFACE;
  });
}

VAStatus vaDeriveImage(VADisplay display, VASurfaceID surface, VAImage* image) {
  return Run("vaDeriveImage", display,
             [&](Driver& driver) { return driver.DeriveImage(surface, image); });
}

VAStatus vaDestroyImage(VADisplay display, VAImageID image) {
  return Run(
      "vaDestroyImage", display, [&](Driver& driver) { return driver.DestroyImage(image); }, true);
}

VAStatus vaMapBuffer(VADisplay display, VABufferID buffer, void** data) {
  return Run("vaMapBuffer", display, [&](Driver& driver) { return driver.Map(buffer, data); });
}

VAStatus vaUnmapBuffer(VADisplay display, VABufferID buffer) {
  return Run(
      "vaUnmapBuffer", display, [&](Driver& driver) { return driver.Unmap(buffer); }, true);
}
