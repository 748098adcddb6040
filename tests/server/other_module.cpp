#include "server/other_module.h"

#include <atomic>

// One class, whose objects offer IUnknown alone.
namespace {

class Object final : public xv::IUnknown {
 public:
  xv::HRESULT QueryInterface(const xv::Guid& iid, void** out) noexcept override {
    *out = nullptr;
    if (!(iid == xv::IUnknown::kIid)) return xv::E_NOINTERFACE;
    *out = this;
    AddRef();
    return xv::S_OK;
  }
  std::uint32_t AddRef() noexcept override { return ++count_; }
  std::uint32_t Release() noexcept override {
    const std::uint32_t left = --count_;
    if (left == 0) delete this;
    return left;
  }

 private:
  ~Object() = default;

  std::atomic<std::uint32_t> count_{1};
};

class Factory final : public xv::IClassFactory {
 public:
  xv::HRESULT QueryInterface(const xv::Guid&, void** out) noexcept override {
    *out = this;
    return xv::S_OK;
  }
  std::uint32_t AddRef() noexcept override { return 1; }
  std::uint32_t Release() noexcept override { return 1; }
  xv::HRESULT CreateInstance(xv::IUnknown*, const xv::Guid& iid, void** out) noexcept override {
    auto* object = new Object;
    const xv::HRESULT result = object->QueryInterface(iid, out);
    object->Release();
    return result;
  }
  xv::HRESULT LockServer(bool) noexcept override { return xv::S_OK; }
};

Factory factory;

}  // namespace

extern "C" xv::HRESULT DllGetClassObject(const xv::Guid& classId, const xv::Guid& iid, void** out) {
  if (!(classId == xv::test::kOtherClass)) return xv::CLASS_E_CLASSNOTAVAILABLE;
  return factory.QueryInterface(iid, out);
}
