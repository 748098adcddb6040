#include "hw/quicksync/va_device.h"

#include <cstdlib>
#include <utility>

#include "hw/vendor_folder.h"

namespace xv {
namespace {

constexpr int kFirstNode = 128;
constexpr int kNodes = 64;

std::string NodePath(int adapter) {
  return "/dev/dri/renderD" + std::to_string(kFirstNode + adapter);
}

template <typename Function>
void** Slot(Function& function) {
  return reinterpret_cast<void**>(&function);
}

}  // namespace

Status VaDevice::Fail(std::string words) {
  words_ = std::move(words);
  return E_FAIL;
}

Status VaDevice::Load() {
  RETURN_IF_FAILED(OpenVendorLibrary(va_, {"libva.so.2"}, &words_));
  RETURN_IF_FAILED(OpenVendorLibrary(drm_, {"libva-drm.so.2"}, &words_));
  Status status = va_.Load({{"vaInitialize", Slot(calls_.initialize)},
                            {"vaTerminate", Slot(calls_.terminate)},
                            {"vaErrorStr", Slot(calls_.errorText)},
                            {"vaQueryVendorString", Slot(calls_.vendor)},
                            {"vaCreateSurfaces", Slot(calls_.createSurfaces)},
                            {"vaDestroySurfaces", Slot(calls_.destroySurfaces)},
                            {"vaSyncSurface", Slot(calls_.syncSurface)},
                            {"vaDeriveImage", Slot(calls_.deriveImage)},
                            {"vaDestroyImage", Slot(calls_.destroyImage)},
                            {"vaMapBuffer", Slot(calls_.mapBuffer)},
                            {"vaUnmapBuffer", Slot(calls_.unmapBuffer)}});
  if (status.Failed()) words_ = va_.Words();
  RETURN_IF_FAILED(status);
  status = drm_.Load({{"vaGetDisplayDRM", Slot(calls_.getDisplay)}});
  if (status.Failed()) words_ = drm_.Words();
  return status;
}

Status VaDevice::OpenNode(const std::string& path) {
  if (node_.Open(path).Failed()) return Fail(node_.Words());
  VADisplay display = calls_.getDisplay(node_.descriptor());
  int major = 0, minor = 0;
  const VAStatus code = display == nullptr ? VA_STATUS_ERROR_INVALID_DISPLAY
                                           : calls_.initialize(display, &major, &minor);
  if (code == VA_STATUS_SUCCESS) {
    display_ = display;
    words_.clear();
    return S_OK;
  }
  // A display whose driver did not start is given up in the same way.
  if (display != nullptr) (void)calls_.terminate(display);
  node_.Close();
  return Fail("vaInitialize on " + path + ": " + calls_.errorText(code));
}

Status VaDevice::Open(int adapter) {
  Close();
  RETURN_IF_FAILED(Load());
  const char* given = std::getenv("XVWRITER_RENDER_NODE");
  if (given != nullptr && *given != '\0') return OpenNode(given);
  if (adapter >= 0) return OpenNode(NodePath(adapter));
  std::string first;
  for (int node = 0; node < kNodes; ++node) {
    if (OpenNode(NodePath(node)).Ok()) return S_OK;
    if (first.empty() || words_.rfind("vaInitialize", 0) == 0) first = words_;
  }
  return Fail(first);
}

void VaDevice::Close() {
  if (display_ != nullptr) (void)calls_.terminate(std::exchange(display_, nullptr));
  node_.Close();
  calls_ = {};
  drm_.Close();
  va_.Close();
}

std::string VaDevice::Vendor() const {
  const char* vendor = IsOpen() ? calls_.vendor(display_) : nullptr;
  return vendor == nullptr ? std::string() : vendor;
}

}  // namespace xv
