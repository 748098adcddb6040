#include <dlfcn.h>
#include <fmt/format.h>

#include <optional>

#include "support/vendor/mfx/encoder.h"
#include "support/vendor/mfx/param_rules.h"
#include "support/vendor/va/va_memory.h"

// Intel's runtime as its dispatchers load it: of sessions on hardware under libmfxhw64.so.1 and
// libmfx-gen.so.1.2, of software under libmfxsw64.so.1 or libvplswref64.so.1. It encodes H.264 out
// of NV12 with libx264.
//
// A session on hardware wants a VA display of the stand-in for libva ahead of all else. A device
// that a test has lost stays so until the session is closed, one that failed until its encoder is.
namespace xv::mfx {
namespace {

using vendor::Call;
using vendor::Ledger;

constexpr mfxVersion kVersion = {{35, 1}};

struct Session {
  bool hardware = false;
  mfxIMPL implementation = 0;
  mfxHDL display = nullptr;
  std::optional<mfxFrameAllocator> allocator;
  std::unique_ptr<Encoder> encoder;
  mfxStatus lost = MFX_ERR_NONE;    // of the session
  mfxStatus failed = MFX_ERR_NONE;  // of its encoder
};

std::mutex lock;  // guards what follows; the calls of one session come from one thread
std::set<Session*> sessions;

Session* Find(mfxSession handle) {
  const std::lock_guard held(lock);
  const auto found = sessions.find(reinterpret_cast<Session*>(handle));
  return found == sessions.end() ? nullptr : *found;
}

template <class T>
std::string Bytes(const T& value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

bool IsHardwareLibrary() {
  Dl_info info{};
  dladdr(reinterpret_cast<const void*>(&IsHardwareLibrary), &info);
  const std::string_view name = info.dli_fname;
  return name.find("mfxsw64") == name.npos && name.find("vplswref64") == name.npos;
}

// What a test has ordered; it marks the session.
std::optional<mfxStatus> Ordered(const std::string& name, Session* session) {
  const vendor::CallStart start = Ledger::Get().Begin(name);
  if (start.lost) return MFX_ERR_DEVICE_LOST;
  if (!start.fault) return std::nullopt;
  const auto code = static_cast<mfxStatus>(*start.fault);
  const bool lost = code == MFX_ERR_DEVICE_LOST;
  const bool failed = code == MFX_ERR_DEVICE_FAILED || code == MFX_ERR_ABORTED;
  if (session == nullptr || (!lost && !failed)) return code;
  (lost ? session->lost : session->failed) = code;
  if (session->encoder) session->encoder->Fail();
  return code;
}

mfxStatus End(Call call, mfxStatus result) {
  call.result = result;
  Ledger::Get().End(std::move(call));
  return result;
}

// One call: what a test has ordered comes ahead of `act`, which gets the session.
template <class Act>
mfxStatus Run(Call call, mfxSession handle, const Act& act) {
  Session* const session = Find(handle);
  const std::optional<mfxStatus> ordered = Ordered(call.name, session);
  if (session == nullptr) {
    Ledger::Get().Broke(call.name + " for a session that is not there");
    return End(std::move(call), MFX_ERR_INVALID_HANDLE);
  }
  if (ordered) return End(std::move(call), *ordered);
  if (session->lost != MFX_ERR_NONE) return End(std::move(call), session->lost);
  const mfxStatus result = act(*session);
  return End(std::move(call), result);
}

// Likewise, of a session with an encoder.
template <class Act>
mfxStatus RunEncoder(const Call& call, mfxSession handle, const Act& act) {
  return Run(call, handle, [&](Session& session) {
    if (!session.encoder) {
      Ledger::Get().Broke(call.name + " without an encoder");
      return MFX_ERR_NOT_INITIALIZED;
    }
    return session.failed != MFX_ERR_NONE ? session.failed : act(*session.encoder);
  });
}

// The packaged runtime's answer to a session without a display.
mfxStatus AskDisplay(const char* call, const Session& session) {
  if (!session.hardware || session.display != nullptr) return MFX_ERR_NONE;
  Ledger::Get().Broke(fmt::format("{}: the session has no VA display", call));
  return MFX_ERR_INVALID_VIDEO_PARAM;
}

// From 1.
int AdapterOf(mfxIMPL implementation) {
  const mfxIMPL base = implementation & 0xFF;
  return base < MFX_IMPL_HARDWARE2 ? 1 : static_cast<int>(base) - 3;
}

bool Offers(mfxIMPL asked, const vendor::Settings& settings) {
  const mfxIMPL base = asked & 0xFF, via = asked & 0x0F00;
  if (!IsHardwareLibrary()) return settings.software && (base == 1 || base == 0 || base == 3);
  const bool path = via == 0 || via == MFX_IMPL_VIA_ANY || via == MFX_IMPL_VIA_VAAPI;
  return path && base != MFX_IMPL_SOFTWARE;
}

mfxStatus Open(const mfxInitParam& param, mfxSession* handle) {
  const vendor::Settings settings = Ledger::Get().Current();
  const mfxVersion& asked = param.Version;
  if (!Offers(param.Implementation, settings)) return MFX_ERR_UNSUPPORTED;
  if (asked.Major != kVersion.Major || asked.Minor > kVersion.Minor) return MFX_ERR_UNSUPPORTED;
  const std::lock_guard held(lock);
  if (static_cast<int>(sessions.size()) >= settings.sessions) return MFX_ERR_MEMORY_ALLOC;
  auto session = std::make_unique<Session>();
  session->hardware = IsHardwareLibrary();
  const mfxIMPL base = param.Implementation & 0xFF;
  const mfxIMPL device = base >= MFX_IMPL_HARDWARE2 ? base : MFX_IMPL_HARDWARE;
  session->implementation =
      session->hardware ? device | MFX_IMPL_VIA_VAAPI : static_cast<mfxIMPL>(MFX_IMPL_SOFTWARE);
  sessions.insert(session.get());
  *handle = reinterpret_cast<mfxSession>(session.release());
  Ledger::Get().Hold("MFX session", 1);
  return MFX_ERR_NONE;
}

void CloseEncoder(Session* session) {
  if (!session->encoder) return;
  session->encoder.reset();
  session->failed = MFX_ERR_NONE;
  Ledger::Get().Hold("MFX encoder", -1);
}

mfxStatus InitEncoder(Session* session, const mfxVideoParam& asked) {
  constexpr const char* kCall = "MFXVideoENCODE_Init";
  mfxStatus status = AskDisplay(kCall, *session);
  if (status == MFX_ERR_NONE) status = CheckParam(kCall, asked, session->hardware);
  if (status != MFX_ERR_NONE) return status;
  if (session->encoder) {
    Ledger::Get().Broke("MFXVideoENCODE_Init for an encoder that is there");
    return MFX_ERR_UNDEFINED_BEHAVIOR;
  }
  if (asked.IOPattern == MFX_IOPATTERN_IN_VIDEO_MEMORY && !session->allocator) {
    Ledger::Get().Broke("MFXVideoENCODE_Init for video memory without an allocator");
    return MFX_ERR_INVALID_VIDEO_PARAM;
  }
  mfxVideoParam param = asked;
  status = Complete(&param);
  try {
    session->encoder =
        std::make_unique<Encoder>(param, session->allocator ? &*session->allocator : nullptr);
  } catch (const std::exception&) {
    return MFX_ERR_INVALID_VIDEO_PARAM;
  }
  Ledger::Get().Hold("MFX encoder", 1);
  return status;
}

mfxStatus WriteSet(const std::string& set, mfxU8* to, mfxU16* size) {
  if (to == nullptr) return MFX_ERR_NULL_PTR;
  if (*size < set.size()) return MFX_ERR_NOT_ENOUGH_BUFFER;
  std::copy(set.begin(), set.end(), to);
  *size = static_cast<mfxU16>(set.size());
  return MFX_ERR_NONE;
}

mfxStatus ReadParam(const Encoder& encoder, mfxVideoParam* param) {
  const mfxVideoParam asked = *param;
  *param = encoder.param();
  param->ExtParam = asked.ExtParam;
  param->NumExtParam = asked.NumExtParam;
  for (int i = 0; i < param->NumExtParam; ++i) {
    mfxExtBuffer* const one = param->ExtParam[i];
    if (one->BufferId == MFX_EXTBUFF_CODING_OPTION) continue;
    if (one->BufferId != MFX_EXTBUFF_CODING_OPTION_SPSPPS ||
        one->BufferSz != sizeof(mfxExtCodingOptionSPSPPS)) {
      Ledger::Get().Broke("MFXVideoENCODE_GetVideoParam: an extended buffer that is not known");
      return MFX_ERR_UNSUPPORTED;
    }
    auto* const sets = reinterpret_cast<mfxExtCodingOptionSPSPPS*>(one);
    const std::vector<std::string> headers = encoder.Headers();
    const mfxStatus first = WriteSet(headers[0], sets->SPSBuffer, &sets->SPSBufSize);
    const mfxStatus second = WriteSet(headers[1], sets->PPSBuffer, &sets->PPSBufSize);
    if (first != MFX_ERR_NONE || second != MFX_ERR_NONE) return MFX_ERR_NOT_ENOUGH_BUFFER;
  }
  return MFX_ERR_NONE;
}

mfxStatus AskSurfaces(const Session& session, const mfxVideoParam& param,
                      mfxFrameAllocRequest* request) {
  constexpr const char* kCall = "MFXVideoENCODE_QueryIOSurf";
  mfxStatus status = AskDisplay(kCall, session);
  if (status == MFX_ERR_NONE) status = CheckParam(kCall, param, session.hardware);
  if (status != MFX_ERR_NONE) return status;
  const bool video = param.IOPattern == MFX_IOPATTERN_IN_VIDEO_MEMORY;
  *request = {};
  request->Info = param.mfx.FrameInfo;
  request->Type = static_cast<mfxU16>(
      MFX_MEMTYPE_FROM_ENCODE | MFX_MEMTYPE_EXTERNAL_FRAME |
      (video ? MFX_MEMTYPE_VIDEO_MEMORY_DECODER_TARGET : MFX_MEMTYPE_SYSTEM_MEMORY));
  request->NumFrameMin = request->NumFrameSuggested = SurfacesNeeded(param);
  return MFX_ERR_NONE;
}

mfxStatus Close(mfxSession handle) {
  Session* const session = Find(handle);
  const vendor::CallStart start = Ledger::Get().Begin("MFXClose");
  if (session == nullptr) {
    // A dispatcher closes what did not open, too.
    if (handle != nullptr) Ledger::Get().Broke("MFXClose for a session that is not there");
    return MFX_ERR_INVALID_HANDLE;
  }
  CloseEncoder(session);
  if (session->display != nullptr && !va::DisplayLives(session->display)) {
    Ledger::Get().Broke("a VA display was terminated ahead of the session that uses it");
  }
  const std::lock_guard held(lock);
  sessions.erase(session);
  delete session;
  Ledger::Get().Hold("MFX session", -1);
  return start.fault ? static_cast<mfxStatus>(*start.fault) : MFX_ERR_NONE;
}

}  // namespace
}  // namespace xv::mfx

using namespace xv::mfx;

mfxStatus MFXInitEx(mfxInitParam param, mfxSession* session) {
  Call call{"MFXInit", 0, Bytes(param), {}};
  const std::optional<mfxStatus> ordered = Ordered(call.name, nullptr);
  const mfxStatus result = ordered ? *ordered : Open(param, session);
  return End(std::move(call), result);
}

mfxStatus MFXInit(mfxIMPL implementation, mfxVersion* version, mfxSession* session) {
  mfxInitParam param{};
  param.Implementation = implementation;
  param.Version = version == nullptr ? mfxVersion{{0, 1}} : *version;
  Call call{"MFXInit", 0, Bytes(param), {}};
  const std::optional<mfxStatus> ordered = Ordered(call.name, nullptr);
  const mfxStatus result = ordered ? *ordered : Open(param, session);
  return End(std::move(call), result);
}

mfxStatus MFXClose(mfxSession session) {
  const mfxStatus result = Close(session);
  return End({"MFXClose", 0, {}, {}}, result);
}

mfxStatus MFXQueryIMPL(mfxSession session, mfxIMPL* implementation) {
  return Run({"MFXQueryIMPL", 0, {}, {}}, session, [&](const Session& one) {
    *implementation = one.implementation;
    return MFX_ERR_NONE;
  });
}

mfxStatus MFXQueryVersion(mfxSession session, mfxVersion* version) {
  return Run({"MFXQueryVersion", 0, {}, {}}, session, [&](const Session&) {
    *version = kVersion;
    return MFX_ERR_NONE;
  });
}

mfxStatus MFXVideoCORE_SetFrameAllocator(mfxSession session, mfxFrameAllocator* allocator) {
  return Run({"MFXVideoCORE_SetFrameAllocator", 0, {}, {}}, session, [&](Session& one) {
    if (allocator == nullptr || one.encoder || one.allocator) {
      Ledger::Get().Broke("MFXVideoCORE_SetFrameAllocator: null, a second one, or too late");
      return MFX_ERR_UNDEFINED_BEHAVIOR;
    }
    one.allocator = *allocator;
    return AskDisplay("MFXVideoCORE_SetFrameAllocator", one);
  });
}

mfxStatus MFXVideoCORE_SetHandle(mfxSession session, mfxHandleType type, mfxHDL handle) {
  return Run({"MFXVideoCORE_SetHandle", 0, {}, {}}, session, [&](Session& one) {
    const bool device = AdapterOf(one.implementation) <= Ledger::Get().Current().devices;
    if (!one.hardware || !device || type != MFX_HANDLE_VA_DISPLAY) return MFX_ERR_UNSUPPORTED;
    if (one.display != nullptr || !xv::va::DisplayLives(handle)) {
      Ledger::Get().Broke("MFXVideoCORE_SetHandle: a second VA display, or one that is not there");
      return MFX_ERR_UNDEFINED_BEHAVIOR;
    }
    one.display = handle;
    return MFX_ERR_NONE;
  });
}

mfxStatus MFXVideoCORE_SyncOperation(mfxSession session, mfxSyncPoint sync, mfxU32 wait) {
  const mfxStatus result = RunEncoder({"MFXVideoCORE_SyncOperation", 0, {}, {}}, session,
                                      [&](Encoder& encoder) { return encoder.Sync(sync, wait); });
  Session* const one = Find(session);
  if (result < MFX_ERR_NONE && one != nullptr && one->encoder) one->encoder->GiveUp(sync);
  return result;
}

mfxStatus MFXVideoENCODE_QueryIOSurf(mfxSession session, mfxVideoParam* param,
                                     mfxFrameAllocRequest* request) {
  return Run({"MFXVideoENCODE_QueryIOSurf", 0, Bytes(*param), {}}, session,
             [&](const Session& one) { return AskSurfaces(one, *param, request); });
}

mfxStatus MFXVideoENCODE_Init(mfxSession session, mfxVideoParam* param) {
  return Run({"MFXVideoENCODE_Init", 0, Bytes(*param), {}}, session,
             [&](Session& one) { return InitEncoder(&one, *param); });
}

mfxStatus MFXVideoENCODE_Close(mfxSession session) {
  Session* const one = Find(session);
  if (one != nullptr) CloseEncoder(one);
  return Run({"MFXVideoENCODE_Close", 0, {}, {}}, session,
             [](const Session&) { return MFX_ERR_NONE; });
}

mfxStatus MFXVideoENCODE_GetVideoParam(mfxSession session, mfxVideoParam* param) {
  return RunEncoder({"MFXVideoENCODE_GetVideoParam", 0, {}, {}}, session,
                    [&](const Encoder& encoder) { return ReadParam(encoder, param); });
}

mfxStatus MFXVideoENCODE_EncodeFrameAsync(mfxSession session, mfxEncodeCtrl* ctrl,
                                          mfxFrameSurface1* surface, mfxBitstream* bitstream,
                                          mfxSyncPoint* sync) {
  constexpr const char* kCall = "MFXVideoENCODE_EncodeFrameAsync";
  const std::string bytes = surface == nullptr ? std::string() : Bytes(*surface);
  return RunEncoder({kCall, 0, bytes, {}}, session, [&](Encoder& encoder) {
    mfxStatus status = bitstream == nullptr || sync == nullptr ? MFX_ERR_NULL_PTR
                                                               : CheckBitstream(kCall, *bitstream);
    if (status == MFX_ERR_NONE && surface != nullptr) {
      status = CheckSurface(kCall, *surface, encoder.param());
    }
    return status != MFX_ERR_NONE ? status : encoder.Encode(ctrl, surface, bitstream, sync);
  });
}
