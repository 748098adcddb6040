#include "base/guard.h"
#include "base/text.h"
#include "writer/writer_ffm.h"

// The writer's options by name, served from its own node; "quality::" names are the statistics of
// the running session, or of the last one.
namespace xv {
namespace {

constexpr std::string_view kQuality = "quality::";

}  // namespace

HRESULT CCoXvWriterFFM_I::PropsSet(const char16_t* name, const char16_t* value) noexcept {
  return Guarded([&]() -> Status {
    if (name == nullptr) return E_INVALIDARG;
    const std::string text = Utf8FromUtf16(value);
    if (text.empty()) {
      (void)own_->RemoveAttribute(Utf8FromUtf16(name));
      return S_OK;
    }
    return own_->SetText(Utf8FromUtf16(name), text);
  });
}

HRESULT CCoXvWriterFFM_I::PropsGet(const char16_t* name, char16_t** value) noexcept {
  return Guarded([&]() -> Status {
    if (value == nullptr) return E_POINTER;
    *value = nullptr;
    const std::string key = Utf8FromUtf16(name);
    if (key.empty()) return GiveString(own_->WriteXml(), value);
    std::optional<std::string> text;
    if (key.size() > kQuality.size() && EqualsNoCase(key.substr(0, kQuality.size()), kQuality)) {
      text = stats_.Render(key.substr(kQuality.size()));
    } else {
      text = own_->FindText(key);
    }
    return text ? GiveString(*text, value) : Status(S_OK);
  });
}

HRESULT CCoXvWriterFFM_I::PropsRemove(const char16_t* name) noexcept {
  return Guarded([&]() -> Status {
    if (name == nullptr) return E_INVALIDARG;
    return own_->RemoveAttribute(Utf8FromUtf16(name));
  });
}

HRESULT CCoXvWriterFFM_I::PropsGetCount(const char16_t*, std::int32_t*) noexcept {
  return E_NOTIMPL;
}
HRESULT CCoXvWriterFFM_I::PropsGetByIndex(const char16_t*, std::int32_t, char16_t**, char16_t**,
                                          std::int32_t*) noexcept {
  return E_NOTIMPL;
}
HRESULT CCoXvWriterFFM_I::PropsHasChild(const char16_t*, std::int32_t, std::int32_t*) noexcept {
  return E_NOTIMPL;
}
HRESULT CCoXvWriterFFM_I::PropsInfoGetCount(const char16_t*, std::int32_t*) noexcept {
  return E_NOTIMPL;
}
HRESULT CCoXvWriterFFM_I::PropsInfoGetByIndex(const char16_t*, std::int32_t, char16_t**,
                                              IXvNode**) noexcept {
  return E_NOTIMPL;
}
HRESULT CCoXvWriterFFM_I::PropsInfoGet(const char16_t*, char16_t**, char16_t**,
                                       char16_t**) noexcept {
  return E_NOTIMPL;
}
HRESULT CCoXvWriterFFM_I::PropsInfoSet(const char16_t*, const char16_t*, const char16_t*,
                                       const char16_t*) noexcept {
  return E_NOTIMPL;
}

}  // namespace xv
