#include "hw/quicksync/quick_session.h"

#include <utility>

#include "hw/quicksync/quick_ladder.h"
#include "hw/vendor_folder.h"
#include "platform/module.h"
#include "platform/paths.h"

namespace xv {
namespace {

// As the dispatchers ask for them: libmfx's for the first three, libvpl's for the last and for the
// first two. The software's come last.
constexpr std::array kRuntimes = {"libmfx-gen.so.1.2", "libmfxhw64.so.1", "libmfxsw64.so.1",
                                  "libvplswref64.so.1"};
constexpr std::size_t kFirstSoftware = 2;

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

// What is loaded is what the dispatcher finds: it asks for the same name. There need not be any. A
// runtime comes from the folder of vendors' libraries; that of software also from beside this
// library, or the program.
void QuickSession::PreloadRuntimes() {
  if (std::exchange(preloaded_, true)) return;
  const std::string folder = VendorFolder();
  for (std::size_t i = 0; i < kRuntimes.size() && folder.starts_with('/'); ++i) {
    (void)runtimes_[i].Open(folder + "/" + kRuntimes[i]);
  }
  for (std::size_t i = kFirstSoftware; i < kRuntimes.size(); ++i) {
    for (const std::string& module : {ModulePath(), ProcessPath()}) {
      if (runtimes_[i].IsOpen() || module.empty()) continue;
      (void)runtimes_[i].Open(std::string(FolderOf(module)) + "/" + kRuntimes[i]);
    }
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
  PreloadRuntimes();
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
