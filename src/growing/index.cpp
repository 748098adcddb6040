#include "growing/index.h"

#include <cstring>
#include <utility>
#include <vector>

#include "base/guard.h"
#include "base/text.h"
#include "platform/paths.h"
#include "platform/whole_file.h"

namespace xv {
namespace {

constexpr char kMagic[4] = {'X', 'I', 'D', 'X'};
constexpr std::uint32_t kFixedHeadBytes = 12;  // the size itself and both name lengths
constexpr std::uint32_t kMostHeadBytes = 1 << 20;
constexpr std::int64_t kFlushEvery = 50;
constexpr std::uint32_t kKeyBit = 0x80000000u;

template <class T>
void Store(std::uint8_t* to, T value) {
  for (std::size_t i = 0; i < sizeof(T); ++i) to[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

template <class T>
T Load(const std::uint8_t* from) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) value |= std::uint64_t{from[i]} << (8 * i);
  return static_cast<T>(value);
}

void AppendName(std::vector<std::uint8_t>& head, const std::u16string& name) {
  const std::size_t at = head.size();
  head.resize(at + 4 + 2 * name.size());
  Store(&head[at], static_cast<std::uint32_t>(2 * name.size()));
  for (std::size_t i = 0; i < name.size(); ++i)
    Store(&head[at + 4 + 2 * i], std::uint16_t{name[i]});
}

// The name at `*at`, which moves behind it; false when it would leave the head.
bool TakeName(const std::vector<std::uint8_t>& head, std::size_t* at, std::u16string* name) {
  if (head.size() - *at < 4) return false;
  const auto bytes = Load<std::uint32_t>(&head[*at]);
  *at += 4;
  if (bytes % 2 != 0 || bytes > head.size() - *at) return false;
  for (std::uint32_t i = 0; i < bytes; i += 2) {
    name->push_back(static_cast<char16_t>(Load<std::uint16_t>(&head[*at + i])));
  }
  *at += bytes;
  return true;
}

}  // namespace

std::array<std::uint8_t, kIndexRecordBytes> EncodeIndexRecord(const IndexRecord& record) {
  std::array<std::uint8_t, kIndexRecordBytes> bytes{};
  Store(&bytes[0], record.position);
  Store(&bytes[8], record.pts);
  Store(&bytes[16], record.dts);
  Store(&bytes[24], record.size);
  Store(&bytes[28], record.frameNumber);
  Store(&bytes[32], record.keyDistance);
  Store(&bytes[34], record.stream);
  Store(&bytes[36], (record.duration & ~kKeyBit) | (record.key ? kKeyBit : 0));
  return bytes;
}

IndexRecord DecodeIndexRecord(const std::uint8_t* bytes) {
  IndexRecord record;
  record.position = Load<std::int64_t>(bytes);
  record.pts = Load<std::int64_t>(bytes + 8);
  record.dts = Load<std::int64_t>(bytes + 16);
  record.size = Load<std::uint32_t>(bytes + 24);
  record.frameNumber = Load<std::uint32_t>(bytes + 28);
  record.keyDistance = Load<std::uint16_t>(bytes + 32);
  record.stream = Load<std::uint16_t>(bytes + 34);
  const auto duration = Load<std::uint32_t>(bytes + 36);
  record.duration = duration & ~kKeyBit;
  record.key = (duration & kKeyBit) != 0;
  return record;
}

std::string IndexPath(const std::string& target) { return target + ".idx"; }

Status GrowingIndex::Create(const std::string& target, bool hasHeaderFile) {
  const std::u16string name = Utf16FromUtf8(FileNamePart(target));
  std::vector<std::uint8_t> head(kMagic, kMagic + sizeof(kMagic));
  head.resize(8);
  AppendName(head, name);
  AppendName(head, hasHeaderFile ? name : std::u16string());
  Store(&head[4], static_cast<std::uint32_t>(head.size() - sizeof(kMagic)));
  return CreateWithHead(IndexPath(target), head.data(), head.size());
}

Status RecordFile::CreateWithHead(const std::string& path, const void* head, std::size_t bytes) {
  path_ = path;
  RETURN_IF_FAILED(file_.CreateNew(path));
  HideFile(path);
  const Status written = file_.Write(head, bytes);
  if (written.Failed()) (void)RemoveFile(path);
  return written;
}

void RecordFile::Add(const IndexRecord& record, bool counts) {
  if (failure_.Failed()) return;
  const auto bytes = EncodeIndexRecord(record);
  // A muxer that cannot pass exceptions on is the caller.
  failure_ = Guarded([&] {
    waiting_.insert(waiting_.end(), bytes.begin(), bytes.end());
    return S_OK;
  });
  if (counts && ++counted_ % kFlushEvery == 0) flushDue_ = true;
}

void RecordFile::WriteWaiting() {
  if (!waiting_.empty() && !failure_.Failed()) failure_ = Append();
}

Status RecordFile::Append() {
  RETURN_IF_FAILED(file_.Write(waiting_.data(), waiting_.size()));
  waiting_.clear();
  const bool flush = std::exchange(flushDue_, false) && pace_ == RecordPace::kEachPacket;
  return flush ? file_.Flush() : Status();
}

Status IndexReader::Open(const std::string& path) {
  RETURN_IF_FAILED(file_.OpenRead(path));
  std::uint8_t start[8];
  std::size_t got = 0;
  RETURN_IF_FAILED(file_.ReadAt(0, start, sizeof(start), &got));
  if (got != sizeof(start) || std::memcmp(start, kMagic, sizeof(kMagic)) != 0) return E_FAIL;
  const auto size = Load<std::uint32_t>(start + 4);
  if (size < kFixedHeadBytes || size > kMostHeadBytes) return E_FAIL;
  std::vector<std::uint8_t> head(size - 4);
  RETURN_IF_FAILED(file_.ReadAt(8, head.data(), head.size(), &got));
  std::u16string first, second;
  std::size_t at = 0;
  if (got != head.size() || !TakeName(head, &at, &first) || !TakeName(head, &at, &second)) {
    return E_FAIL;
  }
  firstName_ = Utf8FromUtf16(std::u16string_view(first));
  hasHeaderFile_ = !second.empty();
  at_ = std::int64_t{4} + size;
  return S_OK;
}

Status IndexReader::OpenRecords(const std::string& path, std::int64_t at) {
  at_ = at;
  return file_.OpenRead(path);
}

Status IndexReader::Next(IndexRecord* record) {
  std::uint8_t bytes[kIndexRecordBytes];
  std::size_t got = 0;
  RETURN_IF_FAILED(file_.ReadAt(at_, bytes, sizeof(bytes), &got));
  if (got != sizeof(bytes)) return S_FALSE;
  at_ += kIndexRecordBytes;
  *record = DecodeIndexRecord(bytes);
  return S_OK;
}

}  // namespace xv
