#include "component/class_walk.h"

#include <fmt/format.h>

#include "base/status_words.h"
#include "base/text.h"
#include "component/own_classes.h"
#include "values/value_syntax.h"
#include "xvwriter/writer.h"

namespace xv {

std::string LastErrorOf(IUnknown* component) {
  const Ref<IXvProps> props = Query<IXvProps>(component);
  char16_t* text = nullptr;
  if (!props || Failed(props->PropsGet(u"last_error", &text))) return {};
  std::string words = Utf8FromUtf16(text);
  XvStringFree(text);
  return words;
}

std::string NoteOf(const ClassRow& row, const std::string& words, Status result) {
  std::string note = fmt::format("{} {}", row.setting, RenderGuid(row.classId));
  if (!words.empty()) note += ": " + words;
  return result.Failed() ? note + ": " + StatusWords(result) : note;
}

Status MakeOwn(const Guid& classId, const Guid& iid, void** out) {
  if (classId == CLSID_CoXfEncoder || classId == CLSID_CoXfMuxer) return E_INVALIDARG;
  Ref<IClassFactory> factory;
  RETURN_IF_FAILED(OwnComponentFactory(classId, &factory));
  return factory->CreateInstance(nullptr, iid, out);
}

}  // namespace xv
