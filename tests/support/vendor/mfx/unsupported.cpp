#include "support/vendor/ledger.h"

// Entry points of the interface that the runtime has not. The dispatchers load no runtime that
// lacks one of them.
#define XV_UNSUPPORTED(name)                                      \
  extern "C" int name();                                          \
  int name() {                                                    \
    constexpr int kUnsupported = -3;                              \
    xv::vendor::Ledger::Get().Begin(#name);                       \
    xv::vendor::Ledger::Get().End({#name, kUnsupported, {}, {}}); \
    return kUnsupported;                                          \
  }

XV_UNSUPPORTED(MFXAudioUSER_Load)
XV_UNSUPPORTED(MFXAudioUSER_UnLoad)
XV_UNSUPPORTED(MFXCloneSession)
XV_UNSUPPORTED(MFXDisjoinSession)
XV_UNSUPPORTED(MFXDoWork)
XV_UNSUPPORTED(MFXGetPriority)
XV_UNSUPPORTED(MFXJoinSession)
XV_UNSUPPORTED(MFXSetPriority)
XV_UNSUPPORTED(MFXVideoCORE_GetHandle)
XV_UNSUPPORTED(MFXVideoCORE_QueryPlatform)
XV_UNSUPPORTED(MFXVideoCORE_SetBufferAllocator)
XV_UNSUPPORTED(MFXVideoDECODE_Close)
XV_UNSUPPORTED(MFXVideoDECODE_DecodeFrameAsync)
XV_UNSUPPORTED(MFXVideoDECODE_DecodeHeader)
XV_UNSUPPORTED(MFXVideoDECODE_GetDecodeStat)
XV_UNSUPPORTED(MFXVideoDECODE_GetPayload)
XV_UNSUPPORTED(MFXVideoDECODE_GetVideoParam)
XV_UNSUPPORTED(MFXVideoDECODE_Init)
XV_UNSUPPORTED(MFXVideoDECODE_Query)
XV_UNSUPPORTED(MFXVideoDECODE_QueryIOSurf)
XV_UNSUPPORTED(MFXVideoDECODE_Reset)
XV_UNSUPPORTED(MFXVideoDECODE_SetSkipMode)
XV_UNSUPPORTED(MFXVideoENCODE_GetEncodeStat)
XV_UNSUPPORTED(MFXVideoENCODE_Query)
XV_UNSUPPORTED(MFXVideoENCODE_Reset)
XV_UNSUPPORTED(MFXVideoENC_Close)
XV_UNSUPPORTED(MFXVideoENC_GetVideoParam)
XV_UNSUPPORTED(MFXVideoENC_Init)
XV_UNSUPPORTED(MFXVideoENC_ProcessFrameAsync)
XV_UNSUPPORTED(MFXVideoENC_Query)
XV_UNSUPPORTED(MFXVideoENC_QueryIOSurf)
XV_UNSUPPORTED(MFXVideoENC_Reset)
XV_UNSUPPORTED(MFXVideoPAK_Close)
XV_UNSUPPORTED(MFXVideoPAK_GetVideoParam)
XV_UNSUPPORTED(MFXVideoPAK_Init)
XV_UNSUPPORTED(MFXVideoPAK_ProcessFrameAsync)
XV_UNSUPPORTED(MFXVideoPAK_Query)
XV_UNSUPPORTED(MFXVideoPAK_QueryIOSurf)
XV_UNSUPPORTED(MFXVideoPAK_Reset)
XV_UNSUPPORTED(MFXVideoUSER_GetPlugin)
XV_UNSUPPORTED(MFXVideoUSER_Load)
XV_UNSUPPORTED(MFXVideoUSER_LoadByPath)
XV_UNSUPPORTED(MFXVideoUSER_ProcessFrameAsync)
XV_UNSUPPORTED(MFXVideoUSER_Register)
XV_UNSUPPORTED(MFXVideoUSER_UnLoad)
XV_UNSUPPORTED(MFXVideoUSER_Unregister)
XV_UNSUPPORTED(MFXVideoVPP_Close)
XV_UNSUPPORTED(MFXVideoVPP_GetVPPStat)
XV_UNSUPPORTED(MFXVideoVPP_GetVideoParam)
XV_UNSUPPORTED(MFXVideoVPP_Init)
XV_UNSUPPORTED(MFXVideoVPP_Query)
XV_UNSUPPORTED(MFXVideoVPP_QueryIOSurf)
XV_UNSUPPORTED(MFXVideoVPP_Reset)
XV_UNSUPPORTED(MFXVideoVPP_RunFrameVPPAsync)
XV_UNSUPPORTED(MFXVideoVPP_RunFrameVPPAsyncEx)
