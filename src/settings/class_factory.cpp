#include "settings/class_factory.h"

#include <map>
#include <mutex>

#include "base/text.h"
#include "platform/dynamic_library.h"
#include "settings/class_registry.h"
#include "values/value_syntax.h"

namespace xv {
namespace {

using GetClassObject = HRESULT (*)(const Guid&, const Guid&, void**);

// Never unloaded: objects of the module may outlive every caller here.
GetClassObject EntryOf(const std::string& path, std::string* words) {
  static std::mutex lock;  // guards modules
  static auto& modules = *new std::map<std::string, DynamicLibrary>;
  const std::lock_guard guard(lock);
  DynamicLibrary& module = modules[path];
  if (!module.IsOpen() && module.Open(path).Failed()) {
    *words = module.Words();
    return nullptr;
  }
  void* entry = module.Symbol("DllGetClassObject");
  if (entry == nullptr) *words = path + " has no DllGetClassObject";
  return reinterpret_cast<GetClassObject>(entry);
}

}  // namespace

std::string ClassIdText(const Guid& id) {
  const std::string braced = RenderGuid(id);
  return ToLower(std::string_view(braced).substr(1, braced.size() - 2));
}

Status RegisteredFactoryOf(const Guid& classId, Ref<IClassFactory>* factory, std::string* words) {
  std::string ignored;
  if (words == nullptr) words = &ignored;
  const auto found = FindRegisteredClass(ClassFolders(), ClassIdText(classId));
  if (!found) {
    *words = "it is not registered";
    return CLASS_E_CLASSNOTAVAILABLE;
  }
  const GetClassObject entry = EntryOf(found->module, words);
  if (entry == nullptr) return CLASS_E_CLASSNOTAVAILABLE;
  void* out = nullptr;
  RETURN_IF_FAILED(entry(classId, IClassFactory::kIid, &out));
  if (out == nullptr) return E_UNEXPECTED;
  *factory = Ref<IClassFactory>::Adopt(static_cast<IClassFactory*>(out));
  return S_OK;
}

}  // namespace xv
