#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "base/status.h"
#include "platform/file.h"

// The ".idx" file beside a recording that grows: one record a packet, so that a reader finds
// complete packets without the container's own tables. docs/growing-files.md has the layout.
namespace xv {

inline constexpr std::size_t kIndexRecordBytes = 40;

// Where a packet lies in the recording. Stamps are in the time base of its stream.
struct IndexRecord {
  std::int64_t position = 0;  // file position; what it means depends on the container
  std::int64_t pts = 0;
  std::int64_t dts = 0;
  std::uint32_t size = 0;         // bytes
  std::uint32_t frameNumber = 0;  // of its stream, from 0
  std::uint16_t keyDistance = 0;  // 1 for a key picture, 0 for what is no video
  std::uint16_t stream = 0;
  std::uint32_t duration = 0;  // 31 bits
  bool key = false;
};

std::array<std::uint8_t, kIndexRecordBytes> EncodeIndexRecord(const IndexRecord& record);
IndexRecord DecodeIndexRecord(const std::uint8_t* bytes);

// "a.mov" gives "a.mov.idx".
std::string IndexPath(const std::string& target);

// When records go out: each with its packet, for readers that follow, or with the recording's own
// flushes.
enum class RecordPace { kEachPacket, kWithFlushes };

// A file that records are appended to, behind a head that a derived class writes. One caller at a
// time.
class RecordFile {
 public:
  RecordPace pace() const { return pace_; }
  // The record waits until what it names is in the recording. One that `counts` is of the fifty
  // after which an index goes to the disk.
  void Add(const IndexRecord& record, bool counts);
  // What all records so far name is in the recording: they are appended. After a failure nothing
  // more is, since a reader could not tell a gap; the failure is kept.
  void WriteWaiting();
  Status failure() const { return failure_; }
  const std::string& path() const { return path_; }
  Status Close() { return file_.Close(); }

 protected:
  explicit RecordFile(RecordPace pace) : pace_(pace) {}
  ~RecordFile() = default;
  // A name that nothing has yet; else the status of EEXIST.
  Status CreateWithHead(const std::string& path, const void* head, std::size_t bytes);

  File file_;

 private:
  Status Append();

  RecordPace pace_;
  std::string path_;
  std::vector<std::uint8_t> waiting_;
  bool flushDue_ = false;
  std::int64_t counted_ = 0;
  Status failure_;
};

// The index itself.
class GrowingIndex : public RecordFile {
 public:
  GrowingIndex() : RecordFile(RecordPace::kEachPacket) {}
  // `hasHeaderFile`: a ".hdr" file goes with it.
  Status Create(const std::string& target, bool hasHeaderFile);
};

// Reads an index, also of a recording that still grows.
class IndexReader {
 public:
  // E_FAIL for a file that is no index, or whose head is not complete.
  Status Open(const std::string& path);
  // Records that begin at `at` of a file with another head.
  Status OpenRecords(const std::string& path, std::int64_t at);
  const std::string& firstName() const { return firstName_; }
  bool hasHeaderFile() const { return hasHeaderFile_; }
  // S_FALSE when there is no further complete record yet.
  Status Next(IndexRecord* record);

 private:
  File file_;
  std::string firstName_;
  bool hasHeaderFile_ = false;
  std::int64_t at_ = 0;
};

}  // namespace xv
