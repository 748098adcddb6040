#include "platform/stream_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/held_signal.h"

namespace xv {
namespace {

constexpr std::chrono::milliseconds kReaderPoll{10};
constexpr std::chrono::milliseconds kLook{100};  // at a hurry, within a wait

// The descriptor that a name stands for.
std::optional<int> NamedDescriptor(std::string_view target) {
  constexpr std::string_view kPipe = "pipe:";
  if (target == "-" || target == kPipe) return STDOUT_FILENO;
  if (target.substr(0, kPipe.size()) != kPipe) return std::nullopt;
  const char* const end = target.data() + target.size();
  int number = -1;
  const auto [rest, error] = std::from_chars(target.data() + kPipe.size(), end, number);
  return error == std::errc() && rest == end && number >= 0 ? std::optional(number) : std::nullopt;
}

}  // namespace

bool IsStreamTarget(const std::string& target) {
  if (NamedDescriptor(target)) return true;
  struct stat info {};
  return ::stat(target.c_str(), &info) == 0 && !S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode);
}

Status StreamFile::Open(const std::string& target, std::chrono::milliseconds patience,
                        std::function<bool()> hurried) {
  Close();
  patience_ = patience;
  hurried_ = std::move(hurried);
  const auto number = NamedDescriptor(target);
  if (number) return OpenDescriptor(*number);
  const Status opened = OpenPath(target);
  // A name of the standard output that leads to a socket opens nothing.
  return opened == StatusFromErrno(ENXIO) && target == "/dev/stdout" ? OpenDescriptor(STDOUT_FILENO)
                                                                     : opened;
}

// Opened anew where that goes, since the descriptor's own flags are shared with whoever gave it.
Status StreamFile::OpenDescriptor(int number) {
  struct stat info {};
  if (::fstat(number, &info) != 0) return StatusFromErrno(errno);
  const std::string path = "/proc/self/fd/" + std::to_string(number);
  if (S_ISFIFO(info.st_mode) && !OpenPath(path).Failed()) return S_OK;
  descriptor_ = ::fcntl(number, F_DUPFD_CLOEXEC, 0);
  if (descriptor_ < 0) return StatusFromErrno(errno);
  // As much as a pipe with any room takes; files never make a writer wait.
  mostAtOnce_ = S_ISREG(info.st_mode) ? SSIZE_MAX : PIPE_BUF;
  return S_OK;
}

Status StreamFile::OpenPath(const std::string& path) {
  const auto begin = std::chrono::steady_clock::now();
  while (true) {
    descriptor_ = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor_ >= 0) break;
    struct stat info {};
    const int error = errno;
    const bool noReader =
        error == ENXIO && ::stat(path.c_str(), &info) == 0 && S_ISFIFO(info.st_mode);
    if (!noReader && error != EINTR) return StatusFromErrno(error);
    if (!MayWait(begin)) return StatusFromErrno(ETIMEDOUT);
    std::this_thread::sleep_for(kReaderPoll);
  }
  mostAtOnce_ = SSIZE_MAX;
  struct stat opened {};
  if (::fstat(descriptor_, &opened) == 0 && !S_ISREG(opened.st_mode)) return S_OK;
  Close();  // a file has come in its place meanwhile
  return StatusFromErrno(ESTALE);
}

bool StreamFile::MayWait(std::chrono::steady_clock::time_point since) const {
  return std::chrono::steady_clock::now() - since < patience_ && !(hurried_ && hurried_());
}

Status StreamFile::AwaitRoom() const {
  const auto begin = std::chrono::steady_clock::now();
  do {
    pollfd wanted{descriptor_, POLLOUT, 0};
    const int ready = ::poll(&wanted, 1, static_cast<int>(std::min(patience_, kLook).count()));
    if (ready > 0) return S_OK;
    if (ready < 0 && errno != EINTR) return StatusFromErrno(errno);
  } while (MayWait(begin));
  return StatusFromErrno(ETIMEDOUT);
}

Status StreamFile::Write(const void* data, std::size_t bytes) {
  if (!IsOpen()) return StatusFromErrno(EBADF);
  const HeldSignal quiet(SIGPIPE);
  const auto* from = static_cast<const char*>(data);
  while (bytes > 0) {
    RETURN_IF_FAILED(AwaitRoom());
    const ssize_t done = ::write(descriptor_, from, std::min(bytes, mostAtOnce_));
    if (done < 0 && errno != EINTR && errno != EAGAIN) return StatusFromErrno(errno);
    if (done <= 0) continue;
    from += done;
    bytes -= static_cast<std::size_t>(done);
  }
  return S_OK;
}

void StreamFile::Close() {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
}

}  // namespace xv
