#pragma once

#include <span>
#include <string>

#include "base/ref.h"
#include "component/class_tables.h"
#include "component/outside_component.h"
#include "component/trace.h"

// The walk over a table of classes: the first one whose object can be made and started serves.
namespace xv {

// The component's words about its last failure; "" where it has none.
std::string LastErrorOf(IUnknown* component);
// "encoder_n264 {...}: words: sentence", for a person.
std::string NoteOf(const ClassRow& row, const std::string& words, Status result);
// An object of this module. CLASS_E_CLASSNOTAVAILABLE where the class lives elsewhere, E_INVALIDARG
// for the classes that walk tables themselves.
Status MakeOwn(const Guid& classId, const Guid& iid, void** out);

template <class Interface>
Status MakeComponent(const Guid& classId, Ref<Interface>* out, std::string* words) {
  if (classId == Guid()) {
    *words = "the settings name no class here";
    return CLASS_E_CLASSNOTAVAILABLE;
  }
  void* own = nullptr;
  const Status made = MakeOwn(classId, Interface::kIid, &own);
  if (made == Status(CLASS_E_CLASSNOTAVAILABLE)) return MakeOutside(classId, out, words);
  if (!made.Failed()) *out = Ref<Interface>::Adopt(static_cast<Interface*>(own));
  return made;
}

// Starts objects of `rows` in turn with `init(object, row)` until one succeeds, which `out` gets.
// `notes` gets a line for each that did not.
//   XV_E_NOT_SUPPORTED  none did.
template <class Interface, class Init>
Status FirstThatStarts(std::span<const ClassRow> rows, Init&& init, Ref<Interface>* out,
                       std::string* notes) {
  for (const ClassRow& row : rows) {
    Ref<Interface> object;
    std::string words;
    Status result = MakeComponent(row.classId, &object, &words);
    if (!result.Failed()) {
      result = init(*object, row);
      if (result.Failed()) words = LastErrorOf(object.get());
    }
    TraceCall(
        "class", [&] { return NoteOf(row, words, result); }, result);
    if (!result.Failed()) {
      *out = std::move(object);
      return S_OK;
    }
    if (!notes->empty()) notes->append("; ");
    notes->append(NoteOf(row, words, result));
  }
  return XV_E_NOT_SUPPORTED;
}

}  // namespace xv
