#pragma once

#include <mutex>
#include <string>

#include "base/status.h"

// FFmpeg for the whole process: start-up and the lock around its contexts.
namespace xv {

// Guards the setup and teardown of codec and format contexts, for all sessions of the process.
// Recursive, since open and cleanup nest. Rank: behind every lock of a session. Nothing on a
// frame's way takes it: a codec context belongs to the thread of its stage, and FFmpeg asks for no
// lock between contexts.
std::recursive_mutex& FFmpegLock();
using FFmpegGuard = std::lock_guard<std::recursive_mutex>;

// Once for the process: network start-up, and what FFmpeg logs of our contexts is captured. The
// process's log level stays as it is.
void StartFFmpeg();

// FFmpeg's words for an error.
std::string DescribeAvError(int error);
// Memory and system errors keep their meaning; anything else becomes E_FAIL.
Status StatusFromAvError(int error);

}  // namespace xv
