#pragma once

#include <va/va.h>

#include <memory>
#include <string>

#include "base/status.h"
#include "platform/device_file.h"
#include "platform/dynamic_library.h"

namespace xv {

// What is called of libva. The last one is libva-drm's.
struct VaFunctions {
  decltype(&vaInitialize) initialize = nullptr;
  decltype(&vaTerminate) terminate = nullptr;
  decltype(&vaErrorStr) errorText = nullptr;
  decltype(&vaQueryVendorString) vendor = nullptr;
  decltype(&vaCreateSurfaces) createSurfaces = nullptr;
  decltype(&vaDestroySurfaces) destroySurfaces = nullptr;
  decltype(&vaSyncSurface) syncSurface = nullptr;
  decltype(&vaDeriveImage) deriveImage = nullptr;
  decltype(&vaDestroyImage) destroyImage = nullptr;
  decltype(&vaMapBuffer) mapBuffer = nullptr;
  decltype(&vaUnmapBuffer) unmapBuffer = nullptr;
  VADisplay (*getDisplay)(int descriptor) = nullptr;
};

// A display of VA-API on a DRM render node. libva is loaded with it, and belongs to it. Open and
// Close belong to one thread; the display may be used by any.
class VaDevice {
 public:
  VaDevice() = default;
  VaDevice(const VaDevice&) = delete;
  VaDevice& operator=(const VaDevice&) = delete;
  ~VaDevice() { Close(); }

  // The node is that of $XVWRITER_RENDER_NODE where it is set; else /dev/dri/renderD128 and
  // `adapter` more; with an adapter of -1 the first of 128 to 191 that has a driver.
  //   XV_E_VENDOR_LIBRARY  libva cannot be loaded.
  //   E_FAIL               no node can be opened, or none has a driver. Words tells of the last.
  Status Open(int adapter);
  void Close();
  bool IsOpen() const { return display_ != nullptr; }

  VADisplay display() const { return display_; }
  const VaFunctions& calls() const { return calls_; }
  // The driver's name of itself.
  std::string Vendor() const;
  const std::string& Words() const { return words_; }

 private:
  Status Load();
  Status OpenNode(const std::string& path);
  Status Fail(std::string words);

  DynamicLibrary va_;
  DynamicLibrary drm_;
  VaFunctions calls_;
  DeviceFile node_;  // outlives the display
  VADisplay display_ = nullptr;
  std::string words_;
};

}  // namespace xv
