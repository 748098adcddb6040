#include "catalogue/component_classes.h"

#include "base/text.h"
#include "settings/class_registry.h"

namespace xv {
namespace {

struct ComponentClass {
  const char* id;       // in the list
  const char* classId;  // of the component that writes it
};

constexpr const char* kBroadcastMuxer = "2d7f9478-91ef-418a-b647-e15e16e21764";
constexpr const char* kPacketMuxer = "83b70544-9be7-441b-ab7c-80dfc2daea6a";

constexpr ComponentClass kComponents[] = {
    {"mpeg_nablet", kBroadcastMuxer},
    {"mpeg_nablet_udp", kBroadcastMuxer},
    {"packets", kPacketMuxer},
};

}  // namespace

std::string MissingComponent(std::string_view id) {
  for (const ComponentClass& component : kComponents) {
    if (!EqualsNoCase(id, component.id)) continue;
    const bool registered = FindRegisteredClass(ClassFolders(), component.classId).has_value();
    return registered ? std::string()
                      : std::string("no component is registered for class ") + component.classId;
  }
  return {};
}

}  // namespace xv
