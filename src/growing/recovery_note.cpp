#include "growing/recovery_note.h"

#include <fmt/format.h>

#include <cstdio>

#include "growing/stream_text.h"
#include "platform/paths.h"

namespace xv {
namespace {

constexpr std::string_view kFirstLine = "XvWriterFFM recovery 1\n";
constexpr std::string_view kLastLine = "\npackets\n";
constexpr std::size_t kMostHeadBytes = 4 << 20;

// Always as long: it is written anew in its place.
std::string ShiftLine(const DataShift& shift) {
  return fmt::format("shift {:020} {:020} {:020} {:020}\n", shift.begin, shift.end, shift.distance,
                     shift.moved);
}

// The first line of `text`, which is left without it, in two words.
std::pair<std::string_view, std::string_view> TakeLine(std::string_view* text) {
  const std::string_view line = text->substr(0, text->find('\n'));
  text->remove_prefix(std::min(line.size() + 1, text->size()));
  const std::size_t space = std::min(line.find(' '), line.size());
  return {line.substr(0, space), line.substr(std::min(space + 1, line.size()))};
}

bool IsUsable(const AVStream& stream) {
  return stream.codecpar->codec_id != AV_CODEC_ID_NONE && stream.time_base.num > 0 &&
         stream.time_base.den > 0;
}

}  // namespace

std::string RecoveryPath(const std::string& target) { return target + ".recovery"; }

Status RecoveryNote::Create(const std::string& target, const AVFormatContext& context) {
  std::string head(kFirstLine);
  head += ShiftLine({});
  head +=
      fmt::format("target {}\nmuxer {}\n", HexText(FileNamePart(target)), context.oformat->name);
  if (context.metadata != nullptr)
    head += fmt::format("metadata {}\n", MetadataText(context.metadata));
  for (unsigned i = 0; i < context.nb_streams; ++i) {
    head += fmt::format("stream {}\n", i) + StreamText(*context.streams[i]);
  }
  head += kLastLine.substr(1);
  return CreateWithHead(RecoveryPath(target), head.data(), head.size());
}

// A note that cannot be written costs the rescue, not the recording.
void RecoveryNote::Note(const DataShift& shift) {
  const std::string line = ShiftLine(shift);
  (void)file_.WriteAt(kFirstLine.size(), line.data(), line.size());
}

Status RecoveryReader::Open(const std::string& path) {
  RETURN_IF_FAILED(file_.OpenRead(path));
  return ReadHead();
}

Status RecoveryReader::ReadHead() {
  std::string head(kMostHeadBytes, '\0');
  std::size_t got = 0;
  RETURN_IF_FAILED(file_.ReadAt(0, head.data(), head.size(), &got));
  head.resize(got);
  const std::size_t last = head.find(kLastLine);
  if (head.compare(0, kFirstLine.size(), kFirstLine) != 0 || last == std::string::npos)
    return E_FAIL;
  recordsAt_ = static_cast<std::int64_t>(last + kLastLine.size());
  std::string_view text(head.data(), last + 1);
  text.remove_prefix(kFirstLine.size());
  (void)TakeLine(&text);  // the shift, as it was
  const auto [name, value] = TakeLine(&text);
  if (name != "target" || !TakeHex(value, &target_)) return E_FAIL;
  const auto [kind, muxer] = TakeLine(&text);
  if (kind != "muxer") return E_FAIL;
  format_ = muxer;
  streams_ = text;
  return S_OK;
}

AvPtr<AVFormatContext> RecoveryReader::MakeStreams() const {
  AvPtr<AVFormatContext> context(avformat_alloc_context());
  AVStream* stream = nullptr;
  for (std::string_view text = streams_; context && !text.empty();) {
    const auto [name, value] = TakeLine(&text);
    bool taken = true;
    if (name == "stream") {
      if (stream != nullptr && !IsUsable(*stream)) return nullptr;
      stream = avformat_new_stream(context.get(), nullptr);
      taken = stream != nullptr;
    } else if (stream != nullptr) {
      taken = TakeStreamLine(*stream, name, value);
    } else {
      taken = name == "metadata" && TakeMetadata(&context->metadata, value);
    }
    if (!taken) return nullptr;
  }
  return stream != nullptr && IsUsable(*stream) ? std::move(context) : nullptr;
}

bool RecoveryReader::HasRecords() const {
  std::int64_t bytes = 0;
  return file_.Size(&bytes).Ok() &&
         bytes >= recordsAt_ + static_cast<std::int64_t>(kIndexRecordBytes);
}

Status RecoveryReader::ReadShift(DataShift* shift) const {
  std::string line = ShiftLine({});
  std::size_t got = 0;
  RETURN_IF_FAILED(file_.ReadAt(kFirstLine.size(), line.data(), line.size(), &got));
  long long numbers[4] = {};
  if (got != line.size() || std::sscanf(line.c_str(), "shift %lld %lld %lld %lld", &numbers[0],
                                        &numbers[1], &numbers[2], &numbers[3]) != 4) {
    return E_FAIL;
  }
  *shift = {numbers[0], numbers[1], numbers[2], numbers[3]};
  const bool sound = shift->begin >= 0 && shift->begin <= shift->moved &&
                     shift->moved <= shift->end && shift->distance >= 0 &&
                     shift->distance <= INT64_MAX - shift->end;
  return sound ? S_OK : E_FAIL;
}

}  // namespace xv
