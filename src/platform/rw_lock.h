#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

namespace xv {

// A recursive lock that knows its owner. `spinCount` tries come before a wait.
class CriticalSection {
 public:
  explicit CriticalSection(int spinCount = 0) : spinCount_(spinCount) {}
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void Enter();
  bool TryEnter();
  void Leave();
  // System id of the thread that is inside, 0 for none.
  std::uint32_t OwnerThread() const { return owner_.load(std::memory_order_relaxed); }

  // The names of the standard locks, for std::scoped_lock.
  void lock() { Enter(); }
  bool try_lock() { return TryEnter(); }
  void unlock() { Leave(); }

 private:
  void Entered();

  std::recursive_mutex mutex_;
  const int spinCount_;
  int depth_ = 0;  // guarded by mutex_
  std::atomic<std::uint32_t> owner_{0};
};

// Many readers or one writer. Out arguments may be null. Thread-safety: safe.
class CRWSynchroLiteBase {
 public:
  virtual ~CRWSynchroLiteBase() = default;
  // Without `wait` false means that the lock is not free. `tag` gets the last writer's tag.
  virtual bool ReadLock(bool wait, std::uint64_t* tag) = 0;
  virtual void ReadUnlock() = 0;
  // `previous` gets the tag that `tag` replaces.
  virtual bool WriteLock(bool wait, std::uint64_t tag, std::uint64_t* previous) = 0;
  virtual void WriteUnlock() = 0;
  // Thread inside the lock's critical section, 0 for none.
  virtual std::uint32_t OwnerThread() = 0;
};

// The light lock. A writer waits for the readers that are in; a new reader waits behind a writer
// that waits, unless its thread reads already (only with `recursiveReaders`, which costs a
// thread-local slot; without it readers pass a waiting writer). Writers do not nest; a reader never
// becomes a writer.
class CRWSynchroLiteRW final : public CRWSynchroLiteBase {
 public:
  explicit CRWSynchroLiteRW(bool recursiveReaders = true, int spinCount = 0);
  ~CRWSynchroLiteRW() override;
  CRWSynchroLiteRW(const CRWSynchroLiteRW&) = delete;
  CRWSynchroLiteRW& operator=(const CRWSynchroLiteRW&) = delete;

  bool ReadLock(bool wait, std::uint64_t* tag) override;
  void ReadUnlock() override;
  bool WriteLock(bool wait, std::uint64_t tag, std::uint64_t* previous) override;
  void WriteUnlock() override;
  std::uint32_t OwnerThread() override { return section_.OwnerThread(); }
  // Writers that hold the lock or wait for it.
  std::int32_t WritersWaiting() const { return writersWaiting_.load(); }

 private:
  void StoreTag(std::uint64_t tag, std::uint64_t* previous);

  const int slot_;  // index of the thread-local count of reads, -1 for none
  CriticalSection section_;
  std::atomic<std::int32_t> state_{0};  // readers above 0, a writer at -1
  std::atomic<std::int32_t> writersWaiting_{0};
  std::atomic<std::uint64_t> tag_{0};
};

// A plain critical section behind the same operations. The tag is not kept.
class CRWSynchroLiteCS final : public CRWSynchroLiteBase {
 public:
  explicit CRWSynchroLiteCS(int spinCount = 0) : section_(spinCount) {}

  bool ReadLock(bool wait, std::uint64_t* tag) override;
  void ReadUnlock() override;
  bool WriteLock(bool wait, std::uint64_t tag, std::uint64_t* previous) override;
  void WriteUnlock() override;
  std::uint32_t OwnerThread() override { return section_.OwnerThread(); }

 private:
  bool Enter(bool wait);

  CriticalSection section_;
};

// Scope of a read or a write.
class ReadScope {
 public:
  explicit ReadScope(CRWSynchroLiteBase& lock) : lock_(lock) { lock_.ReadLock(true, nullptr); }
  ~ReadScope() { lock_.ReadUnlock(); }
  ReadScope(const ReadScope&) = delete;
  ReadScope& operator=(const ReadScope&) = delete;

 private:
  CRWSynchroLiteBase& lock_;
};

class WriteScope {
 public:
  explicit WriteScope(CRWSynchroLiteBase& lock) : lock_(lock) { lock_.WriteLock(true, 0, nullptr); }
  ~WriteScope() { lock_.WriteUnlock(); }
  WriteScope(const WriteScope&) = delete;
  WriteScope& operator=(const WriteScope&) = delete;

 private:
  CRWSynchroLiteBase& lock_;
};

}  // namespace xv
