#include "hw/quicksync/quick_session.h"

#include <utility>

#include "hw/quicksync/quick_ladder.h"
#include "platform/module.h"
#include "platform/paths.h"

namespace xv {
namespace {

constexpr const char* kSoftwareRuntime = "libmfxsw64.so.1";

// The node of the first device is not told by its number: other makers' come in between.
int AdapterOf(mfxIMPL implementation) {
  switch (MFX_IMPL_BASETYPE(implementation)) {
    case MFX_IMPL_HARDWARE2:
      return 1;
    case MFX_IMPL_HARDWARE3:
      return 2;
    case MFX_IMPL_HARDWARE4:
      return 3;
    default:
      return -1;
  }
}

}  // namespace

Status QuickSession::Check(const char* call, mfxStatus code) {
  if (code >= MFX_ERR_NONE) return S_OK;
  failure_ = QuickErrorText(call, code);
  return E_FAIL;
}

// A runtime beside this library or the program is the one that the dispatcher then finds: it asks
// for the same name. There need not be one.
void QuickSession::PreloadSoftware() {
  if (std::exchange(preloaded_, true)) return;
  for (const std::string& module : {ModulePath(), ProcessPath()}) {
    const std::string folder(FolderOf(module));
    if (!folder.empty() && software_.Open(folder + "/" + kSoftwareRuntime).Ok()) return;
  }
}

Status QuickSession::GiveDisplay() {
  device_ = std::make_shared<VaDevice>();
  const Status status = device_->Open(AdapterOf(implementation_));
  if (status.Failed()) failure_ = "no VA display: " + device_->Words();
  RETURN_IF_FAILED(status);
  return Check("MFXVideoCORE_SetHandle",
               MFXVideoCORE_SetHandle(session_, MFX_HANDLE_VA_DISPLAY, device_->display()));
}

Status QuickSession::Start(mfxIMPL wanted) {
  mfxVersion asked{};
  asked.Major = 1;
  asked.Minor = 0;
  mfxSession session = nullptr;
  const mfxStatus code = MFXInit(wanted, &asked, &session);
  if (code != MFX_ERR_NONE || session == nullptr) {
    // That there is no such runtime says less than why one that there is does not work.
    if (code != MFX_ERR_UNSUPPORTED || failure_.empty()) failure_ = QuickErrorText("MFXInit", code);
    return E_FAIL;
  }
  session_ = session;
  implementation_ = wanted;
  Status status = Check("MFXQueryIMPL", MFXQueryIMPL(session_, &implementation_));
  status.Update(Check("MFXQueryVersion", MFXQueryVersion(session_, &version_)));
  hardware_ = MFX_IMPL_BASETYPE(implementation_) != MFX_IMPL_SOFTWARE;
  if (status.Ok() && hardware_) status = GiveDisplay();
  if (status.Failed()) Close();
  return status;
}

Status QuickSession::Open(int forceGpu) {
  if (IsOpen()) return S_FALSE;
  PreloadSoftware();
  failure_.clear();
  for (const mfxIMPL wanted : ImplementationOrder(forceGpu)) {
    if (Start(wanted).Ok()) {
      failure_.clear();
      return S_OK;
    }
  }
  return E_FAIL;
}

Status QuickSession::Restart() {
  const mfxIMPL before = implementation_;
  const bool onDevice = hardware_;
  Close();
  if (Start(before).Ok()) return S_OK;
  return Start(onDevice ? MFX_IMPL_HARDWARE_ANY : MFX_IMPL_SOFTWARE);
}

void QuickSession::Close() {
  if (session_ != nullptr) (void)MFXClose(std::exchange(session_, nullptr));
  device_ = nullptr;
  hardware_ = false;
}

}  // namespace xv
