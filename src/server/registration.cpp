#include "server/registration.h"

#include "platform/module.h"
#include "settings/class_factory.h"
#include "settings/class_registry.h"
#include "xvwriter/component.h"
#include "xvwriter/writer.h"

namespace xv {
namespace {

struct OwnClass {
  Guid id;
  const char* programId;
};

constexpr OwnClass kOwnClasses[] = {{CLSID_CoXvWriterFFM_I, kProgIdWriter},
                                    {CLSID_CoXfEncoder, kProgIdEncoder},
                                    {CLSID_CoXfMuxer, kProgIdMuxer},
                                    {CLSID_CoXfEncoderFFM, kProgIdEncoderFFM},
                                    {CLSID_CoXfMuxerFFM, kProgIdMuxerFFM}};

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

}  // namespace xv
