#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <set>
#include <thread>

#include "hw/cuda/cuda_api.h"
#include "support/vendor/ledger.h"
#include "support/vendor/nvcuvenc/client_rules.h"
#include "support/vendor/nvcuvenc/delivery.h"

// The fifteen entry points of libnvcuvenc.so, which keep their client to the order of calls and to
// the values that the interface knows.
namespace xv::nvcuvenc {
namespace {

using vendor::Call;
using vendor::Ledger;

constexpr HRESULT kRefused = static_cast<HRESULT>(0x80070057);
constexpr HRESULT kLost = static_cast<HRESULT>(0x887A0005);
constexpr HRESULT kFailed = static_cast<HRESULT>(0x80004005);

struct Encoder {
  enum class State { kMade, kCodec, kDefaults, kRunning };
  State state = State::kMade;
  std::set<std::int32_t> seenAdapters;
  Values values;
  CudaCallbacks callbacks{};
  void* user = nullptr;
  std::unique_ptr<Delivery> delivery;
  int pictures = 0;
  bool ended = false;
};

std::mutex lock;  // guards what follows; the calls of one encoder come from one thread
std::set<Encoder*> encoders;

Encoder* Find(CudaHandle handle) {
  const std::lock_guard held(lock);
  const auto found = encoders.find(static_cast<Encoder*>(handle));
  return found == encoders.end() ? nullptr : *found;
}

HRESULT Refuse(const std::string& rule) {
  Ledger::Get().Broke(rule);
  return kRefused;
}

// One call: what a test has ordered comes ahead of `act`, which gets the encoder.
template <class Act>
HRESULT Run(Call call, CudaHandle handle, const Act& act) {
  const vendor::CallStart start = Ledger::Get().Begin(call.name);
  Encoder* encoder = Find(handle);
  HRESULT result = kRefused;
  if (encoder == nullptr) {
    result = Refuse(call.name + " for an encoder that is not there");
  } else if (start.lost) {
    result = kLost;
  } else if (start.fault) {
    result = static_cast<HRESULT>(*start.fault);
  } else {
    result = act(*encoder);
  }
  call.result = result;
  Ledger::Get().End(std::move(call));
  return result;
}

template <class T>
std::string Bytes(const T& value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

HRESULT Expect(const Encoder& encoder, Encoder::State state, const char* call) {
  return encoder.state == state ? S_OK : Refuse(fmt::format("{} out of its turn", call));
}

// What a vendor's thread may do that comes late: the old token must reach nothing.
void CallLate(const CudaCallbacks& callbacks, void* user, std::uint8_t* lent, std::int32_t room) {
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const CudaFrameEvent event{9999, 2};
  if (lent != nullptr) {
    std::memset(lent, 0xEE, static_cast<std::size_t>(room));
    callbacks.release(room, lent, user);
  }
  callbacks.beginFrame(&event, user);
  std::int32_t none = 0;
  if (callbacks.acquire(&none, user) != nullptr) Ledger::Get().Broke("room after the close");
  callbacks.release(5, nullptr, user);
  callbacks.endFrame(&event, user);
  Ledger::Get().Begin("late callbacks");
}

void StartLateCaller(const Encoder& encoder, int kind) {
  std::uint8_t* lent = nullptr;
  std::int32_t room = 0;
  if (kind > 1) {
    const CudaFrameEvent event{9998, 2};
    encoder.callbacks.beginFrame(&event, encoder.user);
    lent = encoder.callbacks.acquire(&room, encoder.user);
  }
  std::thread(CallLate, encoder.callbacks, encoder.user, lent, room).detach();
}

HRESULT CheckFrame(const Encoder& encoder, const CudaFrame& frame) {
  if (encoder.state != Encoder::State::kRunning) return Refuse("NVEncodeFrame out of its turn");
  if (encoder.ended) return Refuse("a frame behind the last one");
  const std::string rule = RuleOfFrame(frame, encoder.values);
  return rule.empty() ? S_OK : Refuse(rule);
}

Job JobOf(const Encoder& encoder, const CudaFrame& frame) {
  Job job;
  job.last = frame.last == 1;
  job.picture.number = encoder.pictures;
  job.picture.lumaFirst = frame.layout == 1;
  job.picture.height = frame.height;
  if (job.last) return job;
  const auto bytes = static_cast<std::size_t>(frame.width) * 2;
  for (std::int32_t row = 0; row < frame.height; ++row) {
    const auto* from = frame.pixels + static_cast<std::ptrdiff_t>(row) * frame.pitch;
    job.picture.rows.append(reinterpret_cast<const char*>(from), bytes);
  }
  return job;
}

HRESULT SetValue(Encoder& encoder, std::int32_t id, const void* value) {
  if (encoder.state != Encoder::State::kDefaults) return Refuse("a parameter out of its turn");
  if (SizeOfValue(id) == 0) return Refuse(fmt::format("parameter {} cannot be set", id));
  const std::vector<std::int64_t> numbers = ReadValue(id, value);
  const std::string rule = RuleOfParameter(id, numbers, encoder.values);
  if (!rule.empty()) return Refuse(rule);
  encoder.values[id] = numbers;
  return S_OK;
}

HRESULT GetAdapter(Encoder& encoder, void* value) {
  std::int32_t index = 0;
  std::memcpy(&index, value, sizeof index);
  if (index < 0 || index >= Ledger::Get().Current().devices) return Refuse("no such adapter");
  encoder.seenAdapters.insert(index);
  std::memset(static_cast<char*>(value) + sizeof index, 0x5A, sizeof(CudaAdapter) - sizeof index);
  return S_OK;
}

HRESULT GetNumber(const Encoder& encoder, std::int32_t id, std::int32_t* value) {
  const int devices = Ledger::Get().Current().devices;
  if (id == kCudaAdapterCount) {
    *value = devices;
  } else if (id == kCudaChosenAdapter) {
    if (*value != -1) return Refuse("the chosen adapter is asked for with a number");
    *value = devices - 1;
  } else if (id == kCudaLastFinished && encoder.delivery != nullptr) {
    *value = encoder.delivery->LastFinished();
  } else {
    return Refuse(fmt::format("parameter {} cannot be read", id));
  }
  return S_OK;
}

HRESULT StartHardware(Encoder& encoder) {
  if (encoder.callbacks.acquire == nullptr) return Refuse("no callbacks");
  if (!encoder.values.contains(kCudaAdapter) || !encoder.values.contains(kCudaOutputSize)) {
    return Refuse("an encoder without adapter or size");
  }
  const vendor::Settings now = Ledger::Get().Current();
  if (encoder.seenAdapters.size() != static_cast<std::size_t>(now.devices)) {
    return Refuse("adapters that were not asked for");
  }
  try {
    encoder.delivery = std::make_unique<Delivery>(
        OptionsOf(encoder.values),
        DeliveryOptions{now.delay, now.lateMs, now.stuck, now.chunk, now.begins}, encoder.callbacks,
        encoder.user);
  } catch (const std::exception& fault) {
    return Refuse(fault.what());
  }
  encoder.state = Encoder::State::kRunning;
  return S_OK;
}

HRESULT GiveHeaders(const Encoder& encoder, std::uint8_t* into, std::int32_t room,
                    std::int32_t* size) {
  if (encoder.delivery == nullptr) return Refuse("NVGetSPSPPS out of its turn");
  std::string all;
  for (const std::string& set : encoder.delivery->encoder().Headers()) {
    all += static_cast<char>(set.size() / 255);
    all += static_cast<char>(set.size() % 255);
    all += set;
  }
  if (all.size() > static_cast<std::size_t>(room)) return kFailed;
  std::memcpy(into, all.data(), all.size());
  *size = static_cast<std::int32_t>(all.size());
  return S_OK;
}

HRESULT Destroy(Encoder& encoder) {
  encoder.delivery.reset();
  const int kind = Ledger::Get().Current().afterClose;
  if (kind > 0 && encoder.callbacks.acquire != nullptr) StartLateCaller(encoder, kind);
  Ledger::Get().Hold("CUDA encoder", -1);
  const std::lock_guard held(lock);
  encoders.erase(&encoder);
  delete &encoder;
  return S_OK;
}

}  // namespace
}  // namespace xv::nvcuvenc

#define XV_EXPORT extern "C" __attribute__((visibility("default"))) xv::HRESULT

using namespace xv;
using namespace xv::nvcuvenc;

XV_EXPORT NVCreateEncoder(CudaHandle* out) {
  const vendor::CallStart start = Ledger::Get().Begin("NVCreateEncoder");
  const HRESULT result = start.lost    ? kLost
                         : start.fault ? static_cast<HRESULT>(*start.fault)
                                       : S_OK;
  if (result >= 0) {
    Ledger::Get().Hold("CUDA encoder", 1);
    const std::lock_guard held(xv::nvcuvenc::lock);
    *out = *encoders.insert(new Encoder).first;
  }
  Ledger::Get().End({"NVCreateEncoder", result, {}, {}});
  return result;
}

XV_EXPORT NVDestroyEncoder(CudaHandle handle) {
  Encoder* encoder = Find(handle);
  const vendor::CallStart start = Ledger::Get().Begin("NVDestroyEncoder");
  HRESULT result = encoder == nullptr ? Refuse("an encoder is destroyed twice") : Destroy(*encoder);
  if (start.lost) result = kLost;
  if (start.fault) result = static_cast<HRESULT>(*start.fault);
  Ledger::Get().End({"NVDestroyEncoder", result, {}, {}});
  return result;
}

XV_EXPORT NVIsSupportedCodec(CudaHandle handle, std::int32_t codec) {
  return Run({"NVIsSupportedCodec", 0, {}, {}}, handle,
             [=](Encoder&) { return codec == kCudaCodecH264 ? S_OK : kRefused; });
}

XV_EXPORT NVIsSupportedCodecProfile(CudaHandle handle, std::int32_t, std::int32_t) {
  return Run({"NVIsSupportedCodecProfile", 0, {}, {}}, handle, [](Encoder&) { return S_OK; });
}

XV_EXPORT NVSetCodec(CudaHandle handle, std::int32_t codec) {
  return Run({"NVSetCodec", 0, {}, {}}, handle, [=](Encoder& encoder) -> HRESULT {
    if (codec != kCudaCodecH264) return Refuse("another codec");
    const HRESULT turn = Expect(encoder, Encoder::State::kMade, "NVSetCodec");
    if (turn >= 0) encoder.state = Encoder::State::kCodec;
    return turn;
  });
}

XV_EXPORT NVGetCodec(CudaHandle handle, std::int32_t* codec) {
  return Run({"NVGetCodec", 0, {}, {}}, handle, [=](Encoder&) {
    *codec = kCudaCodecH264;
    return S_OK;
  });
}

XV_EXPORT NVIsSupportedParam(CudaHandle handle, std::int32_t id) {
  return Run({"NVIsSupportedParam", 0, {}, {}}, handle,
             [=](Encoder&) { return SizeOfValue(id) > 0 ? S_OK : kRefused; });
}

XV_EXPORT NVSetParamValue(CudaHandle handle, std::int32_t id, const void* value) {
  Call call{"NVSetParamValue", 0, {}, Bytes(id)};
  call.structure.assign(static_cast<const char*>(value), SizeOfValue(id));
  return Run(std::move(call), handle,
             [=](Encoder& encoder) { return SetValue(encoder, id, value); });
}

XV_EXPORT NVGetParamValue(CudaHandle handle, std::int32_t id, void* value) {
  return Run({"NVGetParamValue", 0, {}, Bytes(id)}, handle, [=](Encoder& encoder) {
    return id == kCudaAdapterRecord ? GetAdapter(encoder, value)
                                    : GetNumber(encoder, id, static_cast<std::int32_t*>(value));
  });
}

XV_EXPORT NVSetDefaultParam(CudaHandle handle) {
  return Run({"NVSetDefaultParam", 0, {}, {}}, handle, [](Encoder& encoder) {
    const HRESULT turn = Expect(encoder, Encoder::State::kCodec, "NVSetDefaultParam");
    if (turn >= 0) encoder.state = Encoder::State::kDefaults;
    return turn;
  });
}

XV_EXPORT NVCreateHWEncoder(CudaHandle handle) {
  return Run({"NVCreateHWEncoder", 0, {}, {}}, handle, [](Encoder& encoder) {
    const HRESULT turn = Expect(encoder, Encoder::State::kDefaults, "NVCreateHWEncoder");
    return turn < 0 ? turn : StartHardware(encoder);
  });
}

XV_EXPORT NVGetSPSPPS(CudaHandle handle, std::uint8_t* into, std::int32_t room,
                      std::int32_t* size) {
  return Run({"NVGetSPSPPS", 0, {}, {}}, handle,
             [=](Encoder& encoder) { return GiveHeaders(encoder, into, room, size); });
}

XV_EXPORT NVEncodeFrame(CudaHandle handle, const CudaFrame* frame, std::uint32_t flags,
                        void* memory) {
  return Run({"NVEncodeFrame", 0, Bytes(*frame), {}}, handle, [=](Encoder& encoder) {
    if (flags != 0 || memory != nullptr) return Refuse("flags or memory of a frame");
    const HRESULT checked = CheckFrame(encoder, *frame);
    if (checked < 0) return checked;
    encoder.delivery->Put(JobOf(encoder, *frame));
    encoder.ended = frame->last == 1;
    ++encoder.pictures;
    return S_OK;
  });
}

XV_EXPORT NVGetHWEncodeCaps(std::int32_t* caps) {
  *caps = 1;
  return S_OK;
}

XV_EXPORT NVRegisterCB(CudaHandle handle, CudaCallbacks callbacks, void* user) {
  return Run({"NVRegisterCB", 0, {}, {}}, handle, [=](Encoder& encoder) {
    if (encoder.state != Encoder::State::kDefaults) return Refuse("NVRegisterCB out of its turn");
    encoder.callbacks = callbacks;
    encoder.user = user;
    return S_OK;
  });
}
