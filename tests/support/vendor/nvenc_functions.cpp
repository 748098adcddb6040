// A stand-in for libnvidia-encode.so.1: entry points, sessions, faults to order.
#include <algorithm>
#include <cstring>
#include <set>

#include "support/vendor/nvenc_session.h"

namespace xv::vendor {
namespace {

std::mutex gate;  // all sessions; ahead of the ledger's
std::map<void*, std::shared_ptr<Session>> sessions;

template <typename T>
std::string BytesOf(const T* structure) {
  return structure == nullptr
             ? std::string()
             : std::string(reinterpret_cast<const char*>(structure), sizeof *structure);
}

// What a call is recorded with.
struct Noted {
  std::function<std::string()> structure = [] { return std::string(); };
  std::function<std::string()> more = [] { return std::string(); };
};

template <typename T>
Noted Note(const T* structure) {
  return {.structure = [structure] { return BytesOf(structure); }};
}

enum class Stage { kAny, kInitialized };
enum class Gives { kNothing, kUp };  // it ends something, also where it fails

template <typename Body>
NVENCSTATUS Run(const char* name, void* encoder, Stage stage, Body&& body) {
  std::unique_lock held(gate);
  const auto found = sessions.find(encoder);
  if (found == sessions.end()) {
    if (encoder != nullptr) Ledger::Get().Broke(std::string(name) + ": not a session");
    return encoder == nullptr ? NV_ENC_ERR_INVALID_PTR : NV_ENC_ERR_INVALID_ENCODERDEVICE;
  }
  const std::shared_ptr<Session> session = found->second;
  const Rules rules(name, session->api());
  if (stage == Stage::kInitialized && !session->initialized()) {
    rules.Broke("ahead of nvEncInitializeEncoder");
    return NV_ENC_ERR_ENCODER_NOT_INITIALIZED;
  }
  try {
    return body(*session, rules, held);
  } catch (const std::exception& e) {
    rules.Broke(std::string("the stand-in itself: ") + e.what());
    return NV_ENC_ERR_GENERIC;
  }
}

// One call: counted, failed on order, recorded.
template <typename Body>
NVENCSTATUS Enter(const char* name, void* encoder, Stage stage, Gives gives, const Noted& noted,
                  Body&& body) {
  Ledger& ledger = Ledger::Get();
  const CallStart start = ledger.Begin(name);
  std::int64_t result =
      start.fault.value_or(start.lost ? NV_ENC_ERR_DEVICE_NOT_EXIST : NV_ENC_SUCCESS);
  const bool forced = result != NV_ENC_SUCCESS;
  if (!forced || gives == Gives::kUp) {
    const NVENCSTATUS own = Run(name, encoder, stage, body);
    if (!forced) result = own;
  }
  ledger.End({name, result, noted.structure(), noted.more()});
  return static_cast<NVENCSTATUS>(result);
}

bool KnownCodec(const GUID& codec) {
  const std::vector<GUID> codecs = OfferedCodecs(Ledger::Get().Current());
  return std::any_of(codecs.begin(), codecs.end(), [&](const GUID& g) { return Same(g, codec); });
}

template <typename T>
NVENCSTATUS FillCount(const std::vector<T>& list, std::uint32_t* count) {
  if (count == nullptr) return NV_ENC_ERR_INVALID_PTR;
  *count = static_cast<std::uint32_t>(list.size());
  return NV_ENC_SUCCESS;
}

template <typename T>
NVENCSTATUS FillList(const std::vector<T>& list, T* into, std::uint32_t room,
                     std::uint32_t* count) {
  if (into == nullptr || count == nullptr) return NV_ENC_ERR_INVALID_PTR;
  *count = static_cast<std::uint32_t>(std::min<std::size_t>(room, list.size()));
  std::copy_n(list.begin(), *count, into);
  return NV_ENC_SUCCESS;
}

bool IsHevc(const GUID& codec) { return Same(codec, NV_ENC_CODEC_HEVC_GUID); }

// The version words of a client's API.
bool DriverKnows(const Settings& s, std::uint32_t api) {
  const int major = static_cast<int>(api & 0xFF), minor = static_cast<int>(api >> 24);
  const bool newer = major > s.major || (major == s.major && minor > s.minor);
  // The structures of 12.0 and later are not in the header.
  return !newer && major >= s.oldest && major < 12;
}

NVENCSTATUS OpenSession(NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS* params, void** encoder) {
  if (params == nullptr || encoder == nullptr) return NV_ENC_ERR_INVALID_PTR;
  *encoder = nullptr;
  const Settings settings = Ledger::Get().Current();
  if (!DriverKnows(settings, params->apiVersion)) return NV_ENC_ERR_INVALID_VERSION;
  const Rules rules("nvEncOpenEncodeSessionEx", params->apiVersion);
  if (const NVENCSTATUS bad = CheckOpen(rules, *params); bad != NV_ENC_SUCCESS) return bad;
  const std::lock_guard held(gate);
  if (static_cast<int>(sessions.size()) >= settings.sessions) return NV_ENC_ERR_OUT_OF_MEMORY;
  auto session = std::make_shared<Session>(params->apiVersion, params->device);
  *encoder = session.get();
  sessions[session.get()] = session;
  return NV_ENC_SUCCESS;
}

NVENCSTATUS Open(NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS* params, void** encoder) {
  Ledger& ledger = Ledger::Get();
  const CallStart start = ledger.Begin("nvEncOpenEncodeSessionEx");
  const std::int64_t forced =
      start.fault.value_or(start.lost ? NV_ENC_ERR_NO_ENCODE_DEVICE : NV_ENC_SUCCESS);
  if (forced != NV_ENC_SUCCESS && encoder != nullptr) *encoder = nullptr;
  std::int64_t result = forced;
  if (forced == NV_ENC_SUCCESS) result = OpenSession(params, encoder);
  ledger.End({"nvEncOpenEncodeSessionEx", result, BytesOf(params), {}});
  return static_cast<NVENCSTATUS>(result);
}

NVENCSTATUS OpenOld(void*, std::uint32_t, void**) { return NV_ENC_ERR_UNIMPLEMENTED; }

NVENCSTATUS CodecCount(void* encoder, std::uint32_t* count) {
  return Enter("nvEncGetEncodeGUIDCount", encoder, Stage::kAny, Gives::kNothing, {},
               [&](Session&, const Rules&, auto&) {
                 return FillCount(OfferedCodecs(Ledger::Get().Current()), count);
               });
}

NVENCSTATUS Codecs(void* encoder, GUID* into, std::uint32_t room, std::uint32_t* count) {
  return Enter("nvEncGetEncodeGUIDs", encoder, Stage::kAny, Gives::kNothing, {},
               [&](Session&, const Rules&, auto&) {
                 return FillList(OfferedCodecs(Ledger::Get().Current()), into, room, count);
               });
}

// A question about one codec.
template <typename Body>
NVENCSTATUS Ask(const char* name, void* encoder, const GUID& codec, const Noted& noted,
                Body&& body) {
  return Enter(name, encoder, Stage::kAny, Gives::kNothing, noted,
               [&](Session& session, const Rules& rules, auto&) {
                 return KnownCodec(codec) ? body(session, rules) : NV_ENC_ERR_UNSUPPORTED_PARAM;
               });
}

NVENCSTATUS ProfileCount(void* encoder, GUID codec, std::uint32_t* count) {
  return Ask("nvEncGetEncodeProfileGUIDCount", encoder, codec, {}, [&](Session&, const Rules&) {
    return FillCount(OfferedProfiles(Ledger::Get().Current(), IsHevc(codec)), count);
  });
}

NVENCSTATUS Profiles(void* encoder, GUID codec, GUID* into, std::uint32_t room,
                     std::uint32_t* count) {
  return Ask("nvEncGetEncodeProfileGUIDs", encoder, codec, {}, [&](Session&, const Rules&) {
    return FillList(OfferedProfiles(Ledger::Get().Current(), IsHevc(codec)), into, room, count);
  });
}

NVENCSTATUS PresetCount(void* encoder, GUID codec, std::uint32_t* count) {
  return Ask("nvEncGetEncodePresetCount", encoder, codec, {}, [&](Session&, const Rules&) {
    return FillCount(OfferedPresets(Ledger::Get().Current()), count);
  });
}

NVENCSTATUS Presets(void* encoder, GUID codec, GUID* into, std::uint32_t room,
                    std::uint32_t* count) {
  return Ask("nvEncGetEncodePresetGUIDs", encoder, codec, {}, [&](Session&, const Rules&) {
    return FillList(OfferedPresets(Ledger::Get().Current()), into, room, count);
  });
}

NVENCSTATUS FormatCount(void* encoder, GUID codec, std::uint32_t* count) {
  return Ask("nvEncGetInputFormatCount", encoder, codec, {},
             [&](Session&, const Rules&) { return FillCount(OfferedFormats(), count); });
}

NVENCSTATUS Formats(void* encoder, GUID codec, NV_ENC_BUFFER_FORMAT* into, std::uint32_t room,
                    std::uint32_t* count) {
  return Ask("nvEncGetInputFormats", encoder, codec, {},
             [&](Session&, const Rules&) { return FillList(OfferedFormats(), into, room, count); });
}

NVENCSTATUS Caps(void* encoder, GUID codec, NV_ENC_CAPS_PARAM* asked, int* value) {
  return Ask("nvEncGetEncodeCaps", encoder, codec, Note(asked), [&](Session&, const Rules& rules) {
    if (asked == nullptr || value == nullptr) return NV_ENC_ERR_INVALID_PTR;
    if (!rules.Version(asked->version, 1, "NV_ENC_CAPS_PARAM")) {
      return NV_ENC_ERR_INVALID_VERSION;
    }
    rules.Zero(asked->reserved, sizeof asked->reserved, "reserved");
    const int answer = Capability(Ledger::Get().Current(), IsHevc(codec), asked->capsToQuery);
    if (answer < 0) return NV_ENC_ERR_INVALID_PARAM;
    *value = answer;
    return NV_ENC_SUCCESS;
  });
}

NVENCSTATUS FillPreset(Session& session, const Rules& rules, const GUID& codec, const GUID& preset,
                       NV_ENC_TUNING_INFO tuning, NV_ENC_PRESET_CONFIG* config) {
  if (config == nullptr) return NV_ENC_ERR_INVALID_PTR;
  const std::uint32_t api = session.api();
  if (!rules.Version(config->version, 4, "NV_ENC_PRESET_CONFIG", true) ||
      !rules.Version(config->presetCfg.version, ConfigStructNumber(api), "its NV_ENC_CONFIG",
                     true)) {
    return NV_ENC_ERR_INVALID_VERSION;
  }
  const Settings settings = Ledger::Get().Current();
  const std::vector<GUID> presets = OfferedPresets(settings);
  const bool known =
      std::any_of(presets.begin(), presets.end(), [&](const GUID& g) { return Same(g, preset); });
  if (!known) return NV_ENC_ERR_UNSUPPORTED_PARAM;
  config->presetCfg = PresetConfiguration(settings, api, IsHevc(codec), preset, tuning);
  return NV_ENC_SUCCESS;
}

// The old question knows presets of old alone.
NVENCSTATUS PresetConfig(void* encoder, GUID codec, GUID preset, NV_ENC_PRESET_CONFIG* config) {
  const Noted noted{.structure = [&] { return BytesOf(config); },
                    .more = [&] { return BytesOf(&preset); }};
  return Ask("nvEncGetEncodePresetConfig", encoder, codec, noted,
             [&](Session& session, const Rules& rules) {
               if (!IsOldPreset(preset)) return NV_ENC_ERR_UNSUPPORTED_PARAM;
               return FillPreset(session, rules, codec, preset, NV_ENC_TUNING_INFO_UNDEFINED,
                                 config);
             });
}

NVENCSTATUS PresetConfigEx(void* encoder, GUID codec, GUID preset, NV_ENC_TUNING_INFO tuning,
                           NV_ENC_PRESET_CONFIG* config) {
  const Noted noted{.structure = [&] { return BytesOf(config); },
                    .more = [&] { return BytesOf(&preset); }};
  return Ask("nvEncGetEncodePresetConfigEx", encoder, codec, noted,
             [&](Session& session, const Rules& rules) {
               if (IsOldPreset(preset) == (tuning != NV_ENC_TUNING_INFO_UNDEFINED) ||
                   tuning >= NV_ENC_TUNING_INFO_COUNT) {
                 return NV_ENC_ERR_INVALID_PARAM;
               }
               return FillPreset(session, rules, codec, preset, tuning, config);
             });
}

NVENCSTATUS Initialize(void* encoder, NV_ENC_INITIALIZE_PARAMS* params) {
  const Noted noted{
      .structure = [&] { return BytesOf(params); },
      .more = [&] { return params == nullptr ? std::string() : BytesOf(params->encodeConfig); }};
  return Enter("nvEncInitializeEncoder", encoder, Stage::kAny, Gives::kNothing, noted,
               [&](Session& session, const Rules& rules, auto&) {
                 return params == nullptr ? NV_ENC_ERR_INVALID_PTR
                                          : session.Initialize(rules, *params);
               });
}

NVENCSTATUS CreateInput(void* encoder, NV_ENC_CREATE_INPUT_BUFFER* buffer) {
  return Enter("nvEncCreateInputBuffer", encoder, Stage::kInitialized, Gives::kNothing,
               Note(buffer), [&](Session& session, const Rules& rules, auto&) {
                 return session.CreateInput(rules, buffer);
               });
}

NVENCSTATUS DestroyInput(void* encoder, NV_ENC_INPUT_PTR buffer) {
  return Enter("nvEncDestroyInputBuffer", encoder, Stage::kInitialized, Gives::kUp, {},
               [&](Session& session, const Rules& rules, auto&) {
                 return session.DestroyInput(rules, buffer);
               });
}

NVENCSTATUS CreateOutput(void* encoder, NV_ENC_CREATE_BITSTREAM_BUFFER* buffer) {
  return Enter("nvEncCreateBitstreamBuffer", encoder, Stage::kInitialized, Gives::kNothing,
               Note(buffer), [&](Session& session, const Rules& rules, auto&) {
                 return session.CreateOutput(rules, buffer);
               });
}

NVENCSTATUS DestroyOutput(void* encoder, NV_ENC_OUTPUT_PTR buffer) {
  return Enter("nvEncDestroyBitstreamBuffer", encoder, Stage::kInitialized, Gives::kUp, {},
               [&](Session& session, const Rules& rules, auto&) {
                 return session.DestroyOutput(rules, buffer);
               });
}

NVENCSTATUS LockInput(void* encoder, NV_ENC_LOCK_INPUT_BUFFER* lock) {
  return Enter(
      "nvEncLockInputBuffer", encoder, Stage::kInitialized, Gives::kNothing, Note(lock),
      [&](Session& session, const Rules& rules, auto&) { return session.LockInput(rules, lock); });
}

NVENCSTATUS UnlockInput(void* encoder, NV_ENC_INPUT_PTR buffer) {
  return Enter("nvEncUnlockInputBuffer", encoder, Stage::kInitialized, Gives::kUp, {},
               [&](Session& session, const Rules& rules, auto&) {
                 return session.UnlockInput(rules, buffer);
               });
}

void MarkFlush(void* encoder, const NV_ENC_PIC_PARAMS& picture) {
  const std::lock_guard held(gate);
  const auto found = sessions.find(encoder);
  const bool ends = (picture.encodePicFlags & NV_ENC_PIC_FLAG_EOS) != 0;
  if (ends && found != sessions.end()) found->second->MarkFlushed();
}

NVENCSTATUS Encode(void* encoder, NV_ENC_PIC_PARAMS* picture) {
  if (picture == nullptr) return NV_ENC_ERR_INVALID_PTR;
  MarkFlush(encoder, *picture);
  return Enter(
      "nvEncEncodePicture", encoder, Stage::kInitialized, Gives::kNothing, Note(picture),
      [&](Session& session, const Rules& rules, auto&) { return session.Encode(rules, *picture); });
}

// A failure of the card, not of a client that asks too early or in a wrong way.
void NoteFailedLock(void* encoder, NVENCSTATUS result) {
  const std::lock_guard held(gate);
  const auto found = sessions.find(encoder);
  const bool again = result == NV_ENC_SUCCESS || result == NV_ENC_ERR_LOCK_BUSY ||
                     result == NV_ENC_ERR_INVALID_CALL || result == NV_ENC_ERR_INVALID_PARAM ||
                     result == NV_ENC_ERR_INVALID_VERSION;
  if (!again && found != sessions.end()) found->second->LockFailed();
}

NVENCSTATUS LockOutput(void* encoder, NV_ENC_LOCK_BITSTREAM* lock) {
  const NVENCSTATUS result =
      Enter("nvEncLockBitstream", encoder, Stage::kInitialized, Gives::kNothing, Note(lock),
            [&](Session& session, const Rules& rules, std::unique_lock<std::mutex>& held) {
              return session.LockOutput(rules, lock, held);
            });
  NoteFailedLock(encoder, result);
  return result;
}

NVENCSTATUS UnlockOutput(void* encoder, NV_ENC_OUTPUT_PTR buffer) {
  return Enter("nvEncUnlockBitstream", encoder, Stage::kInitialized, Gives::kUp, {},
               [&](Session& session, const Rules& rules, auto&) {
                 return session.UnlockOutput(rules, buffer);
               });
}

NVENCSTATUS SequenceParams(void* encoder, NV_ENC_SEQUENCE_PARAM_PAYLOAD* payload) {
  return Enter("nvEncGetSequenceParams", encoder, Stage::kInitialized, Gives::kNothing,
               Note(payload), [&](Session& session, const Rules& rules, auto&) {
                 const NVENCSTATUS bad = CheckSequence(rules, *payload);
                 return bad != NV_ENC_SUCCESS ? bad : session.Headers(*payload);
               });
}

NVENCSTATUS RegisterEvent(void* encoder, NV_ENC_EVENT_PARAMS* event) {
  return Enter("nvEncRegisterAsyncEvent", encoder, Stage::kAny, Gives::kNothing, Note(event),
               [](Session&, const Rules& rules, auto&) {
                 rules.Broke("events are of Windows alone");
                 return NV_ENC_ERR_UNIMPLEMENTED;
               });
}

NVENCSTATUS SetStreams(void* encoder, NV_ENC_CUSTREAM_PTR, NV_ENC_CUSTREAM_PTR) {
  return Enter("nvEncSetIOCudaStreams", encoder, Stage::kAny, Gives::kNothing, {},
               [](Session&, const Rules&, auto&) { return NV_ENC_SUCCESS; });
}

NVENCSTATUS DestroySession(void* encoder) {
  return Enter("nvEncDestroyEncoder", encoder, Stage::kAny, Gives::kUp, {},
               [&](Session& session, const Rules& rules, auto&) {
                 session.CheckEnd(rules);
                 sessions.erase(encoder);
                 return NV_ENC_SUCCESS;
               });
}

const char* LastError(void*) { return "the stand-in says no more than its code"; }

// What no client of these tests asks for.
template <typename... Arguments>
NVENCSTATUS NotHere(Arguments...) {
  Ledger::Get().Broke("a function that the stand-in does not have");
  return NV_ENC_ERR_UNIMPLEMENTED;
}

void FillQuestions(NV_ENCODE_API_FUNCTION_LIST* list) {
  list->nvEncOpenEncodeSession = OpenOld;
  list->nvEncOpenEncodeSessionEx = Open;
  list->nvEncGetEncodeGUIDCount = CodecCount;
  list->nvEncGetEncodeGUIDs = Codecs;
  list->nvEncGetEncodeProfileGUIDCount = ProfileCount;
  list->nvEncGetEncodeProfileGUIDs = Profiles;
  list->nvEncGetInputFormatCount = FormatCount;
  list->nvEncGetInputFormats = Formats;
  list->nvEncGetEncodeCaps = Caps;
  list->nvEncGetEncodePresetCount = PresetCount;
  list->nvEncGetEncodePresetGUIDs = Presets;
  list->nvEncGetEncodePresetConfig = PresetConfig;
  list->nvEncInitializeEncoder = Initialize;
  list->nvEncDestroyEncoder = DestroySession;
}

void FillWork(NV_ENCODE_API_FUNCTION_LIST* list) {
  list->nvEncCreateInputBuffer = CreateInput;
  list->nvEncDestroyInputBuffer = DestroyInput;
  list->nvEncCreateBitstreamBuffer = CreateOutput;
  list->nvEncDestroyBitstreamBuffer = DestroyOutput;
  list->nvEncEncodePicture = Encode;
  list->nvEncLockBitstream = LockOutput;
  list->nvEncUnlockBitstream = UnlockOutput;
  list->nvEncLockInputBuffer = LockInput;
  list->nvEncUnlockInputBuffer = UnlockInput;
  list->nvEncGetSequenceParams = SequenceParams;
  list->nvEncRegisterAsyncEvent = RegisterEvent;
}

void FillOthers(NV_ENCODE_API_FUNCTION_LIST* list) {
  list->nvEncUnregisterAsyncEvent = NotHere;
  list->nvEncGetEncodeStats = NotHere;
  list->nvEncMapInputResource = NotHere;
  list->nvEncUnmapInputResource = NotHere;
  list->nvEncInvalidateRefFrames = NotHere;
  list->nvEncRegisterResource = NotHere;
  list->nvEncUnregisterResource = NotHere;
  list->nvEncReconfigureEncoder = NotHere;
  list->nvEncCreateMVBuffer = NotHere;
  list->nvEncDestroyMVBuffer = NotHere;
  list->nvEncRunMotionEstimationOnly = NotHere;
}

NVENCSTATUS FillFunctions(NV_ENCODE_API_FUNCTION_LIST* list) {
  if (list == nullptr) return NV_ENC_ERR_INVALID_PTR;
  const std::uint32_t api = list->version & 0x0F0000FFU;
  const Settings settings = Ledger::Get().Current();
  const bool word = list->version == (api | 2U << 16 | 0x70000000U);
  const int major = static_cast<int>(api & 0xFF);
  if (!word || major > settings.major || major < 7) return NV_ENC_ERR_INVALID_VERSION;
  FillQuestions(list);
  FillWork(list);
  FillOthers(list);
  // Later ones stand where a client of old has reserved members.
  if (major >= 8) list->nvEncGetLastErrorString = LastError;
  if (major >= 9) list->nvEncSetIOCudaStreams = SetStreams;
  if (major >= 10) list->nvEncGetEncodePresetConfigEx = PresetConfigEx;
  return NV_ENC_SUCCESS;
}

// Unloaded, or at the end of the program.
__attribute__((destructor)) void CheckUnload() {
  const std::lock_guard held(gate);
  if (!sessions.empty()) Ledger::Get().Broke("libnvidia-encode ended with sessions open");
}

}  // namespace
}  // namespace xv::vendor

extern "C" __attribute__((visibility("default"))) NVENCSTATUS NvEncodeAPICreateInstance(
    NV_ENCODE_API_FUNCTION_LIST* list) {
  using namespace xv::vendor;  // NOLINT
  Ledger& ledger = Ledger::Get();
  const CallStart start = ledger.Begin("NvEncodeAPICreateInstance");
  const std::int64_t result =
      start.fault.value_or(start.lost ? NV_ENC_ERR_NO_ENCODE_DEVICE : FillFunctions(list));
  ledger.End({"NvEncodeAPICreateInstance", result, BytesOf(list), {}});
  return static_cast<NVENCSTATUS>(result);
}

extern "C" __attribute__((visibility("default"))) NVENCSTATUS NvEncodeAPIGetMaxSupportedVersion(
    std::uint32_t* version) {
  using namespace xv::vendor;  // NOLINT
  Ledger& ledger = Ledger::Get();
  const CallStart start = ledger.Begin("NvEncodeAPIGetMaxSupportedVersion");
  const Settings settings = ledger.Current();
  const std::int64_t result =
      start.fault.value_or(version == nullptr ? NV_ENC_ERR_INVALID_PTR : NV_ENC_SUCCESS);
  if (result == NV_ENC_SUCCESS) {
    *version = static_cast<std::uint32_t>(settings.major << 4 | settings.minor);
  }
  ledger.End({"NvEncodeAPIGetMaxSupportedVersion", result, {}, {}});
  return static_cast<NVENCSTATUS>(result);
}
