#pragma once

#include <optional>
#include <string_view>

// Calls of the system that fail, for a program whose own functions stand in front of them.
namespace xv::test {

enum class CallKind {
  kMemory,  // malloc and its kin, and with them operator new: no memory
  kThread,  // pthread_create: EAGAIN
  kFile,    // open, read, write, fallocate, ftruncate, rename, unlink, sync, close: EIO
  kShort,   // write: a part of the bytes
  kDisk     // write and fallocate, from that one on: ENOSPC, or EDQUOT for odd numbers
};

std::optional<CallKind> CallKindOf(std::string_view name);

// The thread is a host's: what it calls counts within InLibrary alone.
void BeHostThread();

class InLibrary {
 public:
  InLibrary();
  ~InLibrary();
  InLibrary(const InLibrary&) = delete;
  InLibrary& operator=(const InLibrary&) = delete;
};

// From now on the calls of that kind are counted, from 0; that of `number` fails.
void FailCall(CallKind kind, long number);
// Calls work again. True when one has failed.
bool EndFailing();

}  // namespace xv::test
