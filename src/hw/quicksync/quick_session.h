#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "base/status.h"
#include "hw/quicksync/quick_api.h"
#include "hw/quicksync/va_device.h"
#include "platform/dynamic_library.h"

namespace xv {

// A session of one of Intel's runtimes. A session on a device has its VA display before it is asked
// anything: one that gets none is not used. One thread at a time.
class QuickSession {
 public:
  QuickSession() = default;
  QuickSession(const QuickSession&) = delete;
  QuickSession& operator=(const QuickSession&) = delete;
  ~QuickSession() { Close(); }

  // The first that works of ImplementationOrder.
  //   S_FALSE  it is open already.
  //   E_FAIL   none works.
  Status Open(int forceGpu);
  // A new session on the same implementation; where that fails, on any device, or in software where
  // it was in software. E_FAIL leaves it closed.
  Status Restart();
  void Close();
  bool IsOpen() const { return session_ != nullptr; }

  mfxSession handle() const { return session_; }
  bool hardware() const { return hardware_; }
  mfxIMPL implementation() const { return implementation_; }
  mfxVersion version() const { return version_; }
  // Of a session on a device; else null.
  const std::shared_ptr<VaDevice>& device() const { return device_; }

  // E_FAIL for a negative code, which becomes the failure.
  Status Check(const char* call, mfxStatus code);
  void SetFailure(std::string words) { failure_ = std::move(words); }
  const std::string& Failure() const { return failure_; }

 private:
  void PreloadRuntimes();
  Status Start(mfxIMPL wanted);
  Status GiveDisplay();

  std::array<DynamicLibrary, 4> runtimes_;  // found ahead of the dispatcher; outlive the sessions
  bool preloaded_ = false;
  std::shared_ptr<VaDevice> device_;
  mfxSession session_ = nullptr;
  mfxIMPL implementation_ = 0;
  mfxVersion version_{};
  bool hardware_ = false;
  std::string failure_;
};

}  // namespace xv
