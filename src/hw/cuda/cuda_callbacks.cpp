#include "hw/cuda/cuda_callbacks.h"

#include <map>
#include <mutex>
#include <utility>

namespace xv {
namespace {

// The sessions whose callbacks may still come.
class Sessions {
 public:
  static Sessions& Get() {
    static auto& all = *new Sessions;  // outlives every thread
    return all;
  }

  std::uintptr_t Enter(std::shared_ptr<CudaPackets> packets) {
    const std::lock_guard guard(lock_);
    sessions_.emplace(++last_, std::move(packets));
    return last_;
  }
  std::shared_ptr<CudaPackets> Find(std::uintptr_t token) {
    const std::lock_guard guard(lock_);
    const auto found = sessions_.find(token);
    return found == sessions_.end() ? nullptr : found->second;
  }
  void Leave(std::uintptr_t token) {
    if (const auto packets = Find(token)) {
      packets->Leave();
      RemoveUnlessLent(token, *packets);
    }
  }
  void RemoveUnlessLent(std::uintptr_t token, const CudaPackets& packets) {
    if (packets.HasLent()) return;
    const std::lock_guard guard(lock_);
    sessions_.erase(token);
  }

 private:
  std::mutex lock_;  // guards what follows; a leaf
  std::map<std::uintptr_t, std::shared_ptr<CudaPackets>> sessions_;
  std::uintptr_t last_ = 0;
};

std::uintptr_t TokenOf(const void* user) { return reinterpret_cast<std::uintptr_t>(user); }

// Calls `use` with the session's packets. Nothing may leave a callback: a lock that fails and
// memory that is missing lose the call.
template <class Use>
auto WithPackets(void* user, const Use& use) noexcept
    -> decltype(use(std::declval<CudaPackets&>())) {
  try {
    if (const auto packets = Sessions::Get().Find(TokenOf(user))) return use(*packets);
  } catch (...) {
  }
  return decltype(use(std::declval<CudaPackets&>()))();
}

extern "C" {

std::uint8_t* CudaAcquire(std::int32_t* room, void* user) {
  *room = 0;
  return WithPackets(user, [=](CudaPackets& packets) { return packets.Acquire(room); });
}

void CudaRelease(std::int32_t bytes, std::uint8_t*, void* user) {
  WithPackets(user, [=](CudaPackets& packets) {
    packets.Release(bytes);
    if (packets.HasLeft()) Sessions::Get().RemoveUnlessLent(TokenOf(user), packets);
  });
}

void CudaBeginFrame(const CudaFrameEvent* event, void* user) {
  WithPackets(user, [=](CudaPackets& packets) { packets.Begin(*event); });
}

void CudaEndFrame(const CudaFrameEvent* event, void* user) {
  WithPackets(user, [=](CudaPackets& packets) { packets.End(*event); });
}

}  // extern "C"

}  // namespace

CudaCallbacks CudaCallbackRecord() {
  return {&CudaAcquire, &CudaRelease, &CudaBeginFrame, &CudaEndFrame};
}

CudaListener::CudaListener(std::shared_ptr<CudaPackets> packets)
    : token_(Sessions::Get().Enter(std::move(packets))) {}

CudaListener::~CudaListener() { Sessions::Get().Leave(token_); }

void* CudaListener::Token() const {
  return reinterpret_cast<void*>(token_);  // NOLINT(performance-no-int-to-ptr)
}

}  // namespace xv
