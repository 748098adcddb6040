#include "component/encoder_component.h"

#include <fmt/format.h>

#include "base/guard.h"
#include "base/text.h"

namespace xv {
namespace {

constexpr char kCodecAttribute[] = "codec";

std::string InitText(const XMLParse::CoXMLNode& node, const ClassRow& row) {
  std::string text = XMLParse::TextOfTree(node) + " tag=" + node.Text(kCodecAttribute);
  if (!row.startText.empty()) text += " " + row.startText;
  return text;
}

std::string DescribeProcess(std::int64_t timeout, IXfPacket* packet, const std::int32_t* status) {
  char time[kTraceText];
  char line[kTraceText] = "NULL";
  if (packet != nullptr) FormatPacket(packet, line, true);
  return fmt::format("time:{} packet:{} status:{}", FormatTime(timeout, time), line,
                     status == nullptr ? -1 : *status);
}

}  // namespace

HRESULT CCoXfEncoder::Init(eXfMediaType type, const char16_t* text) {
  return Guarded([&]() -> Status {
    XMLParse::XMLNodePtr node;
    RETURN_IF_FAILED(LoadNode("encoder", text, &node));
    const auto rows = EncoderRows(type, node->Text(kCodecAttribute));
    Ref<IXfEncoder> inner;
    std::string notes;
    const auto start = [&](IXfEncoder& encoder, const ClassRow& row) -> Status {
      return encoder.Init(type, Utf16FromUtf8(InitText(*node, row)).c_str());
    };
    const Status started = FirstThatStarts(rows, start, &inner, &notes);
    TraceCall(
        "encoder", [&] { return fmt::format("type:{}", static_cast<int>(type)); }, started);
    RETURN_IF_FAILED(Noted(started, notes));
    Store(std::move(inner));
    return S_OK;
  });
}

HRESULT CCoXfEncoder::Configure(IXfFrame* frame, const XV_AV_PROPS* props, const char16_t* text,
                                void* reserved) {
  return Guarded([&]() -> Status {
    const Ref<IXfEncoder> inner = Inner();
    if (!inner) return XV_E_FILE_HANDLE;
    const Status taken = inner->Configure(frame, props, text, reserved);
    TraceCall(
        "Configure", [&] { return frame == nullptr ? "NULL" : Utf8FromUtf16(text); }, taken);
    return NotedFrom(inner.get(), taken);
  });
}

HRESULT CCoXfEncoder::Process(IXfPacket** packet, std::int32_t* remaining, std::int64_t timeout,
                              void* reserved) {
  return Guarded([&]() -> Status {
    const Ref<IXfEncoder> inner = Inner();
    if (packet != nullptr) *packet = nullptr;
    if (!inner) return XV_E_FILE_HANDLE;
    if (packet == nullptr) return E_POINTER;
    std::int32_t count = 0;
    const Status given = inner->Process(packet, &count, timeout, reserved);
    if (remaining != nullptr) *remaining = count;
    TraceCall(
        "Process", [&] { return DescribeProcess(timeout, *packet, remaining); }, given);
    return NotedFrom(inner.get(), given);
  });
}

HRESULT CCoXfEncoder::Close() {
  return Guarded([&]() -> Status {
    const Ref<IXfEncoder> inner = Inner();
    return inner ? Status(inner->Close()) : Status(S_FALSE);
  });
}

}  // namespace xv
