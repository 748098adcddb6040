#pragma once

#include <va/va_backend.h>

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "support/vendor/va/va_memory.h"

namespace xv::va {

// The driver behind the stand-ins for libva: surfaces in memory. A client sees the pixels of one
// through a mapping alone: what it writes into a mapping behind its end is lost.
class Driver {
 public:
  static Driver& Get();

  VADisplay OpenDisplay(int file);
  VAStatus Initialize(VADisplay display);
  VAStatus Terminate(VADisplay display);
  VAStatus CreateSurfaces(unsigned format, unsigned width, unsigned height, VASurfaceID* ids,
                          unsigned count);
  VAStatus DestroySurfaces(const VASurfaceID* ids, int count);
  VAStatus DeriveImage(VASurfaceID surface, VAImage* image);
  VAStatus DestroyImage(VAImageID id);
  VAStatus Map(VABufferID id, void** data);
  VAStatus Unmap(VABufferID id);
  bool Knows(VASurfaceID surface) const;

  bool Lives(const void* display) const;
  bool Find(VASurfaceID id, SurfaceView* view);

 private:
  // Runtimes look into what a display points to. It has not libva's mark: libva itself knows none.
  struct Display {
    explicit Display(int node);
    int file;
    int drmState[4] = {};
    VADriverContext driver{};
    VADisplayContext context{};
    bool initialized = false;
  };
  struct Surface {
    int width = 0, height = 0;
    int pitch = 0, chromaAt = 0;
    std::vector<std::uint8_t> memory;
    bool derived = false;
    bool mapped = false;
  };
  // Image and buffer have the same number.
  struct Image {
    VASurfaceID surface = 0;
    std::vector<std::uint8_t> mapping;
    bool mapped = false;
  };

  mutable std::mutex lock_;  // a leaf but for the ledger's: guards all below
  std::map<const void*, std::unique_ptr<Display>> displays_;
  std::map<VASurfaceID, Surface> surfaces_;
  std::map<VAImageID, Image> images_;
  unsigned next_ = 0x100;
};

}  // namespace xv::va
