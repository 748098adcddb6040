#include "writer_object.h"

#include <pybind11/stl.h>
#include <unistd.h>

#include <stdexcept>

namespace xv::python {
namespace py = pybind11;
namespace {

using host::Milliseconds;
using host::Wide;

// One property that PropsGetByIndex has given, or nothing past the end.
std::optional<Child> ChildAt(IXvProps* props, const std::u16string& node, std::int32_t index) {
  char16_t* name = nullptr;
  char16_t* value = nullptr;
  std::int32_t below = 0;
  if (Failed(props->PropsGetByIndex(node.c_str(), index, &name, &value, &below))) return {};
  std::string key = host::TakeString(name);
  return Child{std::move(key), host::TakeString(value), below != 0};
}

bool HasZero(const std::string& text) { return text.find('\0') != std::string::npos; }

py::dict ToDict(const host::Statistics& statistics) {
  py::dict out;
  constexpr std::pair<const char*, std::int64_t host::Statistics::*> kCounts[] = {
      {"frames_in", &host::Statistics::framesIn},
      {"side_file_errors", &host::Statistics::sideFileErrors},
      {"drops", &host::Statistics::drops},
      {"video_deque", &host::Statistics::videoDeque},
      {"pts_errors", &host::Statistics::ptsErrors},
      {"rebases", &host::Statistics::rebases},
      {"repeats", &host::Statistics::repeats},
      {"audio_silence", &host::Statistics::audioSilence},
      {"audio_cut", &host::Statistics::audioCut},
      {"audio_left_out", &host::Statistics::audioLeftOut},
      {"video_left_out", &host::Statistics::videoLeftOut},
      {"captions_seen", &host::Statistics::captionsSeen},
      {"captions_written", &host::Statistics::captionsWritten},
      {"captions_embedded", &host::Statistics::captionsEmbedded},
      {"captions_lost", &host::Statistics::captionsLost}};
  constexpr std::pair<const char*, Milliseconds host::Statistics::*> kTimes[] = {
      {"encode_ms_p50", &host::Statistics::encodeP50},
      {"encode_ms_p99", &host::Statistics::encodeP99},
      {"write_ms_p50", &host::Statistics::writeP50},
      {"write_ms_p99", &host::Statistics::writeP99}};
  for (const auto& [name, member] : kCounts) out[name] = statistics.*member;
  for (const auto& [name, member] : kTimes) out[name] = (statistics.*member).count();
  py::list streams;
  for (const auto& stream : statistics.streams) {
    streams.append(py::make_tuple(stream.packets, stream.bytes));
  }
  out["streams"] = streams;
  out["unused_options"] = statistics.unusedOptions;
  out["bad_values"] = statistics.badValues;
  out["last_error"] = statistics.lastError;
  out["last_status"] = statistics.lastStatus;
  out["others"] = statistics.others;
  return out;
}

}  // namespace

WriterObject::WriterObject() : process_(getpid()) {
  const py::gil_scoped_release others;
  writer_ = std::make_unique<host::Writer>();
}

WriterObject::~WriterObject() {
  if (getpid() != process_) {
    (void)writer_.release();
    return;
  }
  const py::gil_scoped_release others;
  writer_.reset();
}

host::Writer& WriterObject::Own() const {
  if (getpid() != process_) {
    throw std::runtime_error("the writer belongs to the process that this one was forked from");
  }
  return *writer_;
}

HRESULT WriterObject::Start(const std::string& target, const std::string& attributes) {
  host::Writer& writer = Own();
  const py::gil_scoped_release others;
  return writer.Start(target, attributes);
}

HRESULT WriterObject::Put(FrameDraft& draft) {
  host::Writer& writer = Own();
  const py::gil_scoped_release others;
  HRESULT built = S_OK;
  const host::Ptr<IXvFrame> frame = draft.Build(&built);
  return Failed(built) ? built : writer.Put(frame);
}

HRESULT WriterObject::Stop() {
  host::Writer& writer = Own();
  const py::gil_scoped_release others;
  return writer.Stop();
}

HRESULT WriterObject::StopAtOnce() {
  host::Writer& writer = Own();
  const py::gil_scoped_release others;
  return writer.StopAtOnce();
}

std::optional<std::string> WriterObject::Get(const std::string& name) const {
  host::Writer& writer = Own();
  const py::gil_scoped_release others;
  const auto props = host::QueryAs<IXvProps>(writer.object());
  char16_t* value = nullptr;
  if (HasZero(name) || Failed(props->PropsGet(Wide(name).c_str(), &value)) || value == nullptr) {
    return std::nullopt;
  }
  return host::TakeString(value);
}

HRESULT WriterObject::Set(const std::string& name, const std::string& value) {
  host::Writer& writer = Own();
  const py::gil_scoped_release others;
  return writer.Set(name, value);
}

HRESULT WriterObject::Remove(const std::string& name) {
  host::Writer& writer = Own();
  if (HasZero(name)) return E_INVALIDARG;
  const py::gil_scoped_release others;
  return host::QueryAs<IXvProps>(writer.object())->PropsRemove(Wide(name).c_str());
}

HRESULT WriterObject::Merge(const std::string& path, const std::string& text) {
  host::Writer& writer = Own();
  const py::gil_scoped_release others;
  return writer.Merge(path, text);
}

std::optional<std::vector<Child>> WriterObject::Children(const std::string& node) const {
  host::Writer& writer = Own();
  const py::gil_scoped_release others;
  const auto props = host::QueryAs<IXvProps>(writer.object());
  const std::u16string path = Wide(node);
  std::int32_t count = 0;
  if (HasZero(node) || Failed(props->PropsGetCount(path.c_str(), &count))) return std::nullopt;
  std::vector<Child> children;
  while (auto child = ChildAt(props.get(), path, static_cast<std::int32_t>(children.size()))) {
    children.push_back(std::move(*child));
  }
  return children;
}

py::dict WriterObject::Statistics() const {
  host::Writer& writer = Own();
  host::Statistics statistics;
  {
    const py::gil_scoped_release others;
    statistics = writer.Stats();
  }
  return ToDict(statistics);
}

}  // namespace xv::python
