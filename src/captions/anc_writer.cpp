#include "captions/anc_writer.h"

#include <vector>

namespace xv {
namespace {

void Append(std::vector<std::uint8_t>* out, const void* data, std::size_t bytes) {
  const auto* from = static_cast<const std::uint8_t*>(data);
  out->insert(out->end(), from, from + bytes);
}

void AppendNumber(std::vector<std::uint8_t>* out, std::uint32_t number) {
  for (int shift = 0; shift < 32; shift += 8) {
    out->push_back(static_cast<std::uint8_t>(number >> shift));
  }
}

}  // namespace

Status AncWriter::Open(const std::string& path) {
  if (file_.IsOpen() && (path.empty() || path == path_)) return S_FALSE;
  path_ = path;
  if (path.empty()) return E_INVALIDARG;
  return file_.Create(path);
}

Status AncWriter::WriteItem(const std::string& path, const XV_TIME* time, std::string_view tag,
                            bool isText, std::uint32_t size, const void* data) {
  RETURN_IF_FAILED(Open(path));
  const std::uint64_t total = std::uint64_t{size} + tag.size() + 8;
  if (total >= kAncTextFlag || total == kAncFrameMagic) return E_INVALIDARG;
  std::vector<std::uint8_t> record;
  record.reserve(static_cast<std::size_t>(total) + 64);
  if (time != nullptr) {
    AppendNumber(&record, kAncFrameMagic);
    Append(&record, time, sizeof(*time));
  }
  AppendNumber(&record, static_cast<std::uint32_t>(total));
  AppendNumber(&record, static_cast<std::uint32_t>(tag.size()));
  Append(&record, tag.data(), tag.size());
  AppendNumber(&record, size | (isText ? kAncTextFlag : 0));
  Append(&record, data, size);
  std::int64_t start = 0;
  RETURN_IF_FAILED(file_.Position(&start));
  const Status written = file_.Write(record.data(), record.size());
  if (written.Failed() && file_.Truncate(start).Ok()) (void)file_.Seek(start);
  return written;
}

void AncWriter::Close() {
  (void)file_.Close();
  path_.clear();
}

}  // namespace xv
