#include "server/registration.h"

#include <map>
#include <mutex>
#include <string>

#include "base/text.h"
#include "platform/dynamic_library.h"
#include "platform/module.h"
#include "settings/class_registry.h"
#include "values/value_syntax.h"
#include "xvwriter/writer.h"

namespace xv {
namespace {

struct OwnClass {
  Guid id;
  const char* programId;
};

constexpr OwnClass kOwnClasses[] = {{CLSID_CoXvWriterFFM_I, kProgIdWriter}};

// As class files have it: lower case, without braces.
std::string ClassIdText(const Guid& id) {
  const std::string braced = RenderGuid(id);
  return ToLower(std::string_view(braced).substr(1, braced.size() - 2));
}

using GetClassObject = HRESULT (*)(const Guid&, const Guid&, void**);

// Never unloaded: objects of the module may outlive every caller here.
GetClassObject EntryOf(const std::string& path) {
  static std::mutex lock;  // guards modules
  static auto& modules = *new std::map<std::string, DynamicLibrary>;
  const std::lock_guard guard(lock);
  DynamicLibrary& module = modules[path];
  if (!module.IsOpen() && module.Open(path).Failed()) return nullptr;
  return reinterpret_cast<GetClassObject>(module.Symbol("DllGetClassObject"));
}

}  // namespace

Status RegisterClasses() {
  const std::string module = ModulePath();
  for (const OwnClass& own : kOwnClasses) {
    RETURN_IF_FAILED(
        WriteClassFile(UserClassFolder(), {ClassIdText(own.id), own.programId, module}));
  }
  return S_OK;
}

Status UnregisterClasses() {
  Status first = S_OK;
  for (const OwnClass& own : kOwnClasses) {
    const Status removed = RemoveClassFile(UserClassFolder(), ClassIdText(own.id));
    if (!(removed == Status(XV_E_NOT_FOUND))) first.Update(removed);
  }
  return first;
}

Status RegisteredFactoryOf(const Guid& classId, Ref<IClassFactory>* factory) {
  const auto found = FindRegisteredClass(ClassFolders(), ClassIdText(classId));
  if (!found) return CLASS_E_CLASSNOTAVAILABLE;
  const GetClassObject entry = EntryOf(found->module);
  if (entry == nullptr) return CLASS_E_CLASSNOTAVAILABLE;
  void* out = nullptr;
  RETURN_IF_FAILED(entry(classId, IClassFactory::kIid, &out));
  if (out == nullptr) return E_UNEXPECTED;
  *factory = Ref<IClassFactory>::Adopt(static_cast<IClassFactory*>(out));
  return S_OK;
}

}  // namespace xv
