#include <va/va_drm.h>

#include "support/vendor/ledger.h"
#include "support/vendor/va/va_driver.h"

// libva-drm.so.2: any open file does for a render node.
VADisplay vaGetDisplayDRM(int file) {
  const xv::vendor::CallStart start = xv::vendor::Ledger::Get().Begin("vaGetDisplayDRM");
  return start.fault ? nullptr : xv::va::Driver::Get().OpenDisplay(file);
}
