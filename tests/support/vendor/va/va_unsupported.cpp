#include "support/vendor/ledger.h"

// The rest of libva's names: programs that are linked to it do not start without one of them.
#define XV_UNSUPPORTED(name)                                        \
  extern "C" int name();                                            \
  int name() {                                                      \
    constexpr int kUnimplemented = 0x14;                            \
    xv::vendor::Ledger::Get().Begin(#name);                         \
    xv::vendor::Ledger::Get().End({#name, kUnimplemented, {}, {}}); \
    return kUnimplemented;                                          \
  }
// Of a pointer to words.
#define XV_NAMELESS(name)        \
  extern "C" const char* name(); \
  const char* name() { return "unknown"; }

XV_NAMELESS(vaBufferTypeStr)
XV_NAMELESS(vaConfigAttribTypeStr)
XV_NAMELESS(vaEntrypointStr)
XV_NAMELESS(vaProfileStr)
XV_NAMELESS(vaStatusStr)
XV_UNSUPPORTED(vaAcquireBufferHandle)
XV_UNSUPPORTED(vaAssociateSubpicture)
XV_UNSUPPORTED(vaAttachProtectedSession)
XV_UNSUPPORTED(vaBeginPicture)
XV_UNSUPPORTED(vaBufferInfo)
XV_UNSUPPORTED(vaBufferSetNumElements)
XV_UNSUPPORTED(vaCopy)
XV_UNSUPPORTED(vaCreateBuffer)
XV_UNSUPPORTED(vaCreateBuffer2)
XV_UNSUPPORTED(vaCreateConfig)
XV_UNSUPPORTED(vaCreateContext)
XV_UNSUPPORTED(vaCreateImage)
XV_UNSUPPORTED(vaCreateMFContext)
XV_UNSUPPORTED(vaCreateProtectedSession)
XV_UNSUPPORTED(vaCreateSubpicture)
XV_UNSUPPORTED(vaDeassociateSubpicture)
XV_UNSUPPORTED(vaDestroyBuffer)
XV_UNSUPPORTED(vaDestroyConfig)
XV_UNSUPPORTED(vaDestroyContext)
XV_UNSUPPORTED(vaDestroyProtectedSession)
XV_UNSUPPORTED(vaDestroySubpicture)
XV_UNSUPPORTED(vaDetachProtectedSession)
XV_UNSUPPORTED(vaEndPicture)
XV_UNSUPPORTED(vaExportSurfaceHandle)
XV_UNSUPPORTED(vaGetConfigAttributes)
XV_UNSUPPORTED(vaGetDisplayAttributes)
XV_UNSUPPORTED(vaGetImage)
XV_UNSUPPORTED(vaGetLibFunc)
XV_UNSUPPORTED(vaLockSurface)
XV_UNSUPPORTED(vaMFAddContext)
XV_UNSUPPORTED(vaMFReleaseContext)
XV_UNSUPPORTED(vaMFSubmit)
XV_UNSUPPORTED(vaMaxNumConfigAttributes)
XV_UNSUPPORTED(vaMaxNumDisplayAttributes)
XV_UNSUPPORTED(vaMaxNumImageFormats)
XV_UNSUPPORTED(vaMaxNumSubpictureFormats)
XV_UNSUPPORTED(vaProtectedSessionExecute)
XV_UNSUPPORTED(vaPutImage)
XV_UNSUPPORTED(vaQueryConfigAttributes)
XV_UNSUPPORTED(vaQueryDisplayAttributes)
XV_UNSUPPORTED(vaQueryImageFormats)
XV_UNSUPPORTED(vaQueryProcessingRate)
XV_UNSUPPORTED(vaQuerySubpictureFormats)
XV_UNSUPPORTED(vaQuerySurfaceAttributes)
XV_UNSUPPORTED(vaQuerySurfaceError)
XV_UNSUPPORTED(vaQuerySurfaceStatus)
XV_UNSUPPORTED(vaQueryVideoProcFilterCaps)
XV_UNSUPPORTED(vaQueryVideoProcFilters)
XV_UNSUPPORTED(vaQueryVideoProcPipelineCaps)
XV_UNSUPPORTED(vaReleaseBufferHandle)
XV_UNSUPPORTED(vaRenderPicture)
XV_UNSUPPORTED(vaSetDisplayAttributes)
XV_UNSUPPORTED(vaSetDriverName)
XV_UNSUPPORTED(vaSetImagePalette)
XV_UNSUPPORTED(vaSetSubpictureChromakey)
XV_UNSUPPORTED(vaSetSubpictureGlobalAlpha)
XV_UNSUPPORTED(vaSetSubpictureImage)
XV_UNSUPPORTED(vaSyncBuffer)
XV_UNSUPPORTED(vaSyncSurface2)
XV_UNSUPPORTED(vaUnlockSurface)
XV_UNSUPPORTED(va_TracePutSurface)
XV_UNSUPPORTED(va_newDisplayContext)
XV_UNSUPPORTED(va_newDriverContext)

extern "C" int va_trace_flag;
int va_trace_flag = 0;  // libva's libraries for other windows' systems read it
