#undef _FORTIFY_SOURCE  // whose headers define some of these functions

#include "faults/failing_calls.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>

extern "C" {
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
}

namespace xv::test {
namespace {

thread_local bool outside = false;  // the host's own calls
std::atomic<int> failing{-1};       // a CallKind
std::atomic<long> untilFailure{-1};
std::atomic<bool> failed{false};
std::atomic<int> diskError{ENOSPC};

bool Fails(CallKind kind) {
  if (failing != static_cast<int>(kind) || outside) return false;
  const long left = untilFailure.fetch_sub(1);
  if (left > 0 || (left < 0 && kind != CallKind::kDisk)) return false;
  failed = true;
  return true;
}

bool FileFails(int error) {
  if (!Fails(CallKind::kFile)) return false;
  errno = error;
  return true;
}

bool DiskFails() {
  if (!Fails(CallKind::kDisk)) return false;
  errno = diskError;
  return true;
}

bool WriteFails() { return FileFails(EIO) || DiskFails(); }

std::size_t Part(std::size_t bytes) {
  return bytes > 1 && Fails(CallKind::kShort) ? bytes / 2 : bytes;
}

int Open(int folder, const char* path, int flags, va_list arguments) {
  const bool makes = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  const int mode = makes ? va_arg(arguments, int) : 0;
  if (FileFails(EIO)) return -1;
  return static_cast<int>(syscall(SYS_openat, folder, path, flags, mode));
}

}  // namespace

std::optional<CallKind> CallKindOf(std::string_view name) {
  constexpr std::string_view kNames[] = {"memory", "thread", "file", "short", "disk"};
  const auto* found = std::find(std::begin(kNames), std::end(kNames), name);
  if (found == std::end(kNames)) return std::nullopt;
  return static_cast<CallKind>(found - std::begin(kNames));
}

void BeHostThread() { outside = true; }
InLibrary::InLibrary() { outside = false; }
InLibrary::~InLibrary() { outside = true; }

void FailCall(CallKind kind, long number) {
  failed = false;
  diskError = number % 2 == 0 ? ENOSPC : EDQUOT;
  untilFailure = number;
  failing = static_cast<int>(kind);
}

bool EndFailing() {
  failing = -1;
  return failed;
}

}  // namespace xv::test

using xv::test::CallKind;

extern "C" {

void* malloc(std::size_t bytes) noexcept {
  return xv::test::Fails(CallKind::kMemory) ? nullptr : __libc_malloc(bytes);
}
void* calloc(std::size_t count, std::size_t bytes) noexcept {
  return xv::test::Fails(CallKind::kMemory) ? nullptr : __libc_calloc(count, bytes);
}
void* realloc(void* block, std::size_t bytes) noexcept {
  return xv::test::Fails(CallKind::kMemory) ? nullptr : __libc_realloc(block, bytes);
}
void* memalign(std::size_t alignment, std::size_t bytes) noexcept {
  return xv::test::Fails(CallKind::kMemory) ? nullptr : __libc_memalign(alignment, bytes);
}
void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept {
  return memalign(alignment, bytes);
}
int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) noexcept {
  void* made = memalign(alignment, bytes);
  if (made == nullptr) return ENOMEM;
  *block = made;
  return 0;
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                   void* argument) noexcept {
  static const auto real =
      reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  if (xv::test::Fails(CallKind::kThread)) return EAGAIN;
  return real(thread, attributes, entry, argument);
}

#define XV_OPEN(name, parameters, folder)                              \
  int name parameters {                                                \
    va_list arguments;                                                 \
    va_start(arguments, flags);                                        \
    const int result = xv::test::Open(folder, path, flags, arguments); \
    va_end(arguments);                                                 \
    return result;                                                     \
  }
XV_OPEN(open, (const char* path, int flags, ...), AT_FDCWD)
XV_OPEN(open64, (const char* path, int flags, ...), AT_FDCWD)
XV_OPEN(openat, (int folder, const char* path, int flags, ...), folder)
XV_OPEN(openat64, (int folder, const char* path, int flags, ...), folder)
#undef XV_OPEN

ssize_t read(int file, void* data, std::size_t bytes) {
  return xv::test::FileFails(EIO) ? -1 : syscall(SYS_read, file, data, bytes);
}
ssize_t write(int file, const void* data, std::size_t bytes) {
  return xv::test::WriteFails() ? -1 : syscall(SYS_write, file, data, xv::test::Part(bytes));
}
ssize_t pwrite(int file, const void* data, std::size_t bytes, off_t at) {
  return xv::test::WriteFails() ? -1 : syscall(SYS_pwrite64, file, data, xv::test::Part(bytes), at);
}
ssize_t pwrite64(int file, const void* data, std::size_t bytes, off64_t at) {
  return pwrite(file, data, bytes, at);
}
int fallocate(int file, int mode, off_t at, off_t bytes) {
  return xv::test::WriteFails() ? -1
                                : static_cast<int>(syscall(SYS_fallocate, file, mode, at, bytes));
}
int ftruncate(int file, off_t bytes) noexcept {
  return xv::test::FileFails(EIO) ? -1 : static_cast<int>(syscall(SYS_ftruncate, file, bytes));
}
int fdatasync(int file) {
  return xv::test::FileFails(EIO) ? -1 : static_cast<int>(syscall(SYS_fdatasync, file));
}
int renameat(int folder, const char* from, int other, const char* to) noexcept {
  if (xv::test::FileFails(EIO)) return -1;
  return static_cast<int>(syscall(SYS_renameat, folder, from, other, to));
}
int unlinkat(int folder, const char* path, int flags) noexcept {
  if (xv::test::FileFails(EIO)) return -1;
  return static_cast<int>(syscall(SYS_unlinkat, folder, path, flags));
}
// As the system does it, the descriptor is free afterwards in any case.
int close(int file) {
  const int closed = static_cast<int>(syscall(SYS_close, file));
  return xv::test::FileFails(EIO) ? -1 : closed;
}
}
