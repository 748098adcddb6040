#include "component/class_walk.h"

#include <fmt/format.h>

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
  const char* sentence = result.Failed() ? StatusSentence(result.code()) : nullptr;
  if (sentence != nullptr) note += fmt::format(": {}", sentence);
  if (result.Failed() && sentence == nullptr) {
    note += fmt::format(": 0x{:08X}", static_cast<std::uint32_t>(result.code()));
  }
  return note;
}

Status MakeOwn(const Guid& classId, const Guid& iid, void** out) {
  if (classId == CLSID_CoXfEncoder || classId == CLSID_CoXfMuxer) return E_INVALIDARG;
  Ref<IClassFactory> factory;
  RETURN_IF_FAILED(OwnComponentFactory(classId, &factory));
  return factory->CreateInstance(nullptr, iid, out);
}

}  // namespace xv
