// Makes an object of a registered class without linking the library that has it: reads the class
// file in the folder given, loads the module that it names and asks that for the class.
// Exits with 0 when the object came and went.
#include <dlfcn.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "xvwriter/object.h"

namespace {

constexpr xv::Guid kClass{
    0x4c93300c, 0x351a, 0x422f, {0xae, 0x57, 0xa8, 0xa5, 0xa9, 0x77, 0x7c, 0x4c}};
constexpr const char* kFile = "4c93300c-351a-422f-ae57-a8a5a9777c4c.toml";

std::string ModuleOf(const std::string& folder) {
  std::ifstream file(folder + "/" + kFile);
  const std::string start = "module = \"";
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(start, 0) != 0) continue;
    const std::string module = line.substr(start.size(), line.size() - start.size() - 1);
    return module.front() == '/' ? module : folder + "/" + module;
  }
  return {};
}

int Fail(const char* what) {
  std::fprintf(stderr, "%s\n", what);
  return 1;
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return Fail("usage: foreign_program FOLDER");
  void* module = dlopen(ModuleOf(arguments[1]).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) return Fail(dlerror());
  const auto entry = reinterpret_cast<xv::HRESULT (*)(const xv::Guid&, const xv::Guid&, void**)>(
      dlsym(module, "DllGetClassObject"));
  const auto canUnload = reinterpret_cast<xv::HRESULT (*)()>(dlsym(module, "DllCanUnloadNow"));
  void* out = nullptr;
  if (entry == nullptr || canUnload == nullptr) return Fail("no entry points");
  if (entry(kClass, xv::IClassFactory::kIid, &out) != xv::S_OK) return Fail("no class");
  auto* factory = static_cast<xv::IClassFactory*>(out);
  if (factory->CreateInstance(nullptr, xv::IUnknown::kIid, &out) != xv::S_OK) {
    return Fail("no object");
  }
  auto* object = static_cast<xv::IUnknown*>(out);
  if (canUnload() != xv::S_FALSE) return Fail("in use, but says that it is not");
  if (object->Release() != 0 || factory->Release() != 0) return Fail("references are left");
  return canUnload() == xv::S_OK ? 0 : Fail("not in use, but says that it is");
}
