#pragma once

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "component/odd_classes.h"
#include "support/host_frames.h"
#include "xvwriter/component.h"
#include "xvwriter/counted.hpp"

namespace xv::test {

inline constexpr Feed kPlain{.width = 640, .height = 360, .timecode = false};

inline std::string IdText(const Guid& id) {
  char text[40];
  const std::uint8_t* d = id.data4;
  std::snprintf(text, sizeof(text), "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", id.data1,
                id.data2, id.data3, d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7]);
  return text;
}

// Settings and registered classes in a folder of the test's own.
class ComponentSettings {
 public:
  explicit ComponentSettings(const std::string& components = {})
      : variable_("XVWRITER_SETTINGS", folder_ / "settings.toml") {
    folder_.Write("settings.toml", "[components]\n" + components);
    std::filesystem::create_directories(folder_ / "classes");
  }
  void Register(const std::string& id, const std::string& module) {
    folder_.Write("classes/" + id + ".toml",
                  "class_id = '" + id + "'\nmodule = '" + module + "'\n");
  }
  std::string operator/(const std::string& name) const { return folder_ / name; }

 private:
  TemporaryFolder folder_;
  ScopedVariable variable_;
};

// Keeps the trace of the process while it lives.
class Traced {
 public:
  Traced() : sink_(host::Ptr<Sink>::Adopt(new Sink)) { (void)XvTraceSinkSet(sink_.get()); }
  ~Traced() { (void)XvTraceSinkSet(nullptr); }
  std::vector<std::string> Lines() const {
    const std::lock_guard guard(sink_->lock);
    return sink_->lines;
  }
  // Of the lines that hold it, the first.
  std::string With(const std::string& part) const {
    for (const std::string& line : Lines()) {
      if (line.find(part) != std::string::npos) return line;
    }
    return {};
  }

 private:
  struct Sink final : host::Counted<IXvTraceSink> {
    void TraceLine(const char16_t* line) noexcept override {
      const std::lock_guard guard(lock);
      lines.push_back(host::Narrow(line));
    }
    std::mutex lock;
    std::vector<std::string> lines;
  };
  host::Ptr<Sink> sink_;
};

template <class Interface>
host::Ptr<Interface> MakeObject(const Guid& classId) {
  void* out = nullptr;
  (void)XvCreateInstance(classId, nullptr, Interface::kIid, &out);
  return host::Ptr<Interface>::Adopt(static_cast<Interface*>(out));
}

}  // namespace xv::test
