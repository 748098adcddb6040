#include "component/muxer_component.h"

#include "base/guard.h"
#include "base/text.h"
#include "platform/paths.h"

namespace xv {
namespace {

// "mpg" of "clip.mpg".
std::string_view ExtensionOf(std::string_view target) {
  const std::size_t point = ExtensionPoint(target);
  return point < target.size() ? target.substr(point + 1) : std::string_view();
}

std::string Described(const XV_STREAM_INFO* info) {
  char line[kTraceText];
  return FormatStreamInfo(info, line);
}

}  // namespace

HRESULT CCoXfMuxer::Init(const char16_t* name, const char16_t* text) {
  return Guarded([&]() -> Status {
    XMLParse::XMLNodePtr node;
    RETURN_IF_FAILED(LoadNode("muxer", text, &node));
    const std::string target = Utf8FromUtf16(name);
    const std::u16string own = Utf16FromUtf8(XMLParse::TextOfTree(*node));
    Ref<IXfMuxer> inner;
    std::string notes;
    const auto start = [&](IXfMuxer& muxer, const ClassRow&) -> Status {
      return muxer.Init(Utf16FromUtf8(target).c_str(), own.c_str());
    };
    const auto rows = MuxerRows(node->Text("format"), ExtensionOf(target));
    RETURN_IF_FAILED(Noted(FirstThatStarts(rows, start, &inner, &notes), notes));
    Store(std::move(inner));
    return S_OK;
  });
}

HRESULT CCoXfMuxer::AddStream(const XV_STREAM_INFO* info, std::int32_t* index, void* reserved) {
  return Guarded([&]() -> Status {
    const Ref<IXfMuxer> inner = Inner();
    if (!inner) return XV_E_FILE_HANDLE;
    const Status added = inner->AddStream(info, index, reserved);
    TraceCall(
        "AddStream", [&] { return Described(info); }, added);
    return NotedFrom(inner.get(), added);
  });
}

HRESULT CCoXfMuxer::GetStream(std::int32_t index, XV_STREAM_INFO* info, IUnknown** owner) {
  return Guarded([&]() -> Status {
    const Ref<IXfMuxer> inner = Inner();
    if (!inner) return XV_E_FILE_HANDLE;
    const Status given = inner->GetStream(index, info, owner);
    TraceCall(
        "GetStream", [&] { return Described(given.Failed() ? nullptr : info); }, given);
    return NotedFrom(inner.get(), given);
  });
}

HRESULT CCoXfMuxer::PutPacket(std::int32_t index, IXfPacket* packet, void* reserved) {
  return Guarded([&]() -> Status {
    const Ref<IXfMuxer> inner = Inner();
    if (!inner) return XV_E_FILE_HANDLE;
    const Status put = inner->PutPacket(index, packet, reserved);
    const auto line = [&] {
      char text[kTraceText];
      return std::string(FormatPacket(packet, text, true));
    };
    TraceCall("PutPacket", line, put);
    return NotedFrom(inner.get(), put);
  });
}

HRESULT CCoXfMuxer::Close() {
  return Guarded([&]() -> Status {
    const Ref<IXfMuxer> inner = Inner();
    return inner ? NotedFrom(inner.get(), inner->Close()) : Status(S_FALSE);
  });
}

}  // namespace xv
