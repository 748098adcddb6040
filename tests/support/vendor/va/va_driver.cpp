#include "support/vendor/va/va_driver.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "support/vendor/ledger.h"

namespace xv::va {
namespace {

constexpr int kFirst = 128;  // bytes in front of a mapping's pixels
constexpr int kGone = 0xEE;  // what is left in a mapping behind its end

void Broke(const std::string& line) { vendor::Ledger::Get().Broke(line); }
void Hold(const char* what, int change) { vendor::Ledger::Get().Hold(what, change); }

int Aligned(int value, int to) { return (value + to - 1) / to * to; }

}  // namespace

Driver& Driver::Get() {
  static Driver& driver = *new Driver;
  return driver;
}

Driver::Display::Display(int node) : file(node) {
  drmState[0] = node;
  driver.drm_state = drmState;
  context.pDriverContext = &driver;
}

VADisplay Driver::OpenDisplay(int file) {
  if (fcntl(file, F_GETFD) < 0) {
    Broke("vaGetDisplayDRM of a file that is not open");
    return nullptr;
  }
  const std::lock_guard held(lock_);
  auto made = std::make_unique<Display>(file);
  VADisplay display = &made->context;
  displays_[display] = std::move(made);
  return display;
}

// Without hardware the dispatcher may find a runtime of the machine's, which takes no stand-in's
// display.
VAStatus Driver::Initialize(VADisplay display) {
  if (!vendor::Ledger::Get().Current().hardware) return VA_STATUS_ERROR_UNKNOWN;
  const std::lock_guard held(lock_);
  const auto found = displays_.find(display);
  if (found == displays_.end()) return VA_STATUS_ERROR_INVALID_DISPLAY;
  if (found->second->initialized) Broke("vaInitialize twice");
  found->second->initialized = true;
  Hold("VA display", 1);
  return VA_STATUS_SUCCESS;
}

VAStatus Driver::Terminate(VADisplay display) {
  const std::lock_guard held(lock_);
  const auto found = displays_.find(display);
  if (found == displays_.end()) {
    Broke("vaTerminate of a display that is not there");
    return VA_STATUS_ERROR_INVALID_DISPLAY;
  }
  if (fcntl(found->second->file, F_GETFD) < 0)
    Broke("the render node was closed ahead of vaTerminate");
  const auto live =
      std::ranges::count_if(displays_, [](auto& one) { return one.second->initialized; });
  if (live == 1 && !surfaces_.empty()) Broke("vaTerminate with surfaces");
  if (found->second->initialized) Hold("VA display", -1);
  displays_.erase(found);
  return VA_STATUS_SUCCESS;
}

bool Driver::Lives(const void* display) const {
  const std::lock_guard held(lock_);
  const auto found = displays_.find(display);
  return found != displays_.end() && found->second->initialized;
}

VAStatus Driver::CreateSurfaces(unsigned format, unsigned width, unsigned height, VASurfaceID* ids,
                                unsigned count) {
  if (format != VA_RT_FORMAT_YUV420) return VA_STATUS_ERROR_UNSUPPORTED_RT_FORMAT;
  const std::lock_guard held(lock_);
  for (unsigned i = 0; i < count; ++i) {
    Surface surface;
    surface.width = static_cast<int>(width);
    surface.height = static_cast<int>(height);
    // Neither is what a client could guess from the size.
    surface.pitch = Aligned(surface.width, 64) + 64;
    surface.chromaAt = surface.pitch * (Aligned(surface.height, 32) + 32);
    surface.memory.resize(
        static_cast<std::size_t>(surface.chromaAt + surface.pitch * surface.height));
    ids[i] = ++next_;
    surfaces_[ids[i]] = std::move(surface);
    Hold("VA surface", 1);
  }
  return VA_STATUS_SUCCESS;
}

VAStatus Driver::DestroySurfaces(const VASurfaceID* ids, int count) {
  const std::lock_guard held(lock_);
  for (int i = 0; i < count; ++i) {
    const auto found = surfaces_.find(ids[i]);
    if (found == surfaces_.end()) {
      Broke("vaDestroySurfaces of one that is not there");
      return VA_STATUS_ERROR_INVALID_SURFACE;
    }
    if (found->second.derived) Broke("vaDestroySurfaces of one with an image");
    surfaces_.erase(found);
    Hold("VA surface", -1);
  }
  return VA_STATUS_SUCCESS;
}

bool Driver::Knows(VASurfaceID surface) const {
  const std::lock_guard held(lock_);
  return surfaces_.contains(surface);
}

VAStatus Driver::DeriveImage(VASurfaceID id, VAImage* image) {
  const std::lock_guard held(lock_);
  const auto found = surfaces_.find(id);
  if (found == surfaces_.end()) return VA_STATUS_ERROR_INVALID_SURFACE;
  Surface& surface = found->second;
  if (surface.derived) Broke("vaDeriveImage of a surface that has one");
  surface.derived = true;
  *image = {};
  image->image_id = image->buf = ++next_;
  image->format.fourcc = VA_FOURCC_NV12;
  image->format.byte_order = VA_LSB_FIRST;
  image->format.bits_per_pixel = 12;
  image->width = static_cast<std::uint16_t>(surface.width);
  image->height = static_cast<std::uint16_t>(surface.height);
  image->num_planes = 2;
  image->pitches[0] = image->pitches[1] = static_cast<std::uint32_t>(surface.pitch);
  image->offsets[0] = kFirst;
  image->offsets[1] = static_cast<std::uint32_t>(kFirst + surface.chromaAt);
  image->data_size = static_cast<std::uint32_t>(kFirst + surface.memory.size());
  images_[image->image_id] = Image{id, std::vector<std::uint8_t>(image->data_size, kGone), false};
  Hold("VA image", 1);
  return VA_STATUS_SUCCESS;
}

VAStatus Driver::DestroyImage(VAImageID id) {
  const std::lock_guard held(lock_);
  const auto found = images_.find(id);
  if (found == images_.end()) {
    Broke("vaDestroyImage of one that is not there");
    return VA_STATUS_ERROR_INVALID_IMAGE;
  }
  if (found->second.mapped) Broke("vaDestroyImage of one that is mapped");
  const auto surface = surfaces_.find(found->second.surface);
  if (surface != surfaces_.end()) surface->second.derived = surface->second.mapped = false;
  images_.erase(found);
  Hold("VA image", -1);
  return VA_STATUS_SUCCESS;
}

VAStatus Driver::Map(VABufferID id, void** data) {
  const std::lock_guard held(lock_);
  const auto found = images_.find(id);
  if (found == images_.end() || found->second.mapped) {
    Broke("vaMapBuffer of a buffer that is not there, or twice");
    return VA_STATUS_ERROR_INVALID_BUFFER;
  }
  Surface& surface = surfaces_.at(found->second.surface);
  surface.mapped = found->second.mapped = true;
  std::ranges::copy(surface.memory, found->second.mapping.begin() + kFirst);
  *data = found->second.mapping.data();
  return VA_STATUS_SUCCESS;
}

VAStatus Driver::Unmap(VABufferID id) {
  const std::lock_guard held(lock_);
  const auto found = images_.find(id);
  if (found == images_.end() || !found->second.mapped) {
    Broke("vaUnmapBuffer of a buffer that is not mapped");
    return VA_STATUS_ERROR_INVALID_BUFFER;
  }
  Surface& surface = surfaces_.at(found->second.surface);
  std::copy(found->second.mapping.begin() + kFirst, found->second.mapping.end(),
            surface.memory.begin());
  std::ranges::fill(found->second.mapping, kGone);
  surface.mapped = found->second.mapped = false;
  return VA_STATUS_SUCCESS;
}

bool Driver::Find(VASurfaceID id, SurfaceView* view) {
  const std::lock_guard held(lock_);
  const auto found = surfaces_.find(id);
  if (found == surfaces_.end()) return false;
  Surface& surface = found->second;
  *view = {surface.memory.data(), surface.memory.data() + surface.chromaAt,
           surface.pitch,         surface.width,
           surface.height,        surface.mapped};
  return true;
}

bool DisplayLives(const void* display) { return Driver::Get().Lives(display); }
bool FindSurface(VASurfaceID id, SurfaceView* view) { return Driver::Get().Find(id, view); }

}  // namespace xv::va
