#include "support/run_program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <stdexcept>

namespace xv::test {
namespace {

struct Pipe {
  std::array<int, 2> ends{-1, -1};
  Pipe() {
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  }
};

pid_t Spawn(const std::vector<std::string>& command, const Pipe& out, const Pipe& err) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    dup2(out.ends[1], STDOUT_FILENO);
    dup2(err.ends[1], STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  close(out.ends[1]);
  close(err.ends[1]);
  return child;
}

// False at the end of the stream.
bool ReadSome(int descriptor, std::string& into) {
  char buffer[4096];
  const ssize_t got = read(descriptor, buffer, sizeof(buffer));
  if (got > 0) into.append(buffer, static_cast<std::size_t>(got));
  return got > 0;
}

}  // namespace

ProgramResult RunProgram(const std::vector<std::string>& command, int interruptAfter) {
  ProgramResult result;
  const Pipe out, err;
  const pid_t child = Spawn(command, out, err);
  const auto begin = std::chrono::steady_clock::now();
  std::array<pollfd, 2> polls{pollfd{out.ends[0], POLLIN, 0}, pollfd{err.ends[0], POLLIN, 0}};
  bool interrupted = interruptAfter == 0;
  while (polls[0].fd >= 0 || polls[1].fd >= 0) {
    poll(polls.data(), polls.size(), 20);
    const auto passed = std::chrono::steady_clock::now() - begin;
    if (!interrupted && passed > std::chrono::milliseconds(interruptAfter)) {
      kill(child, SIGINT);
      interrupted = true;
    }
    for (std::size_t i = 0; i < polls.size(); ++i) {
      if (polls[i].fd < 0 || (polls[i].revents & (POLLIN | POLLHUP)) == 0) continue;
      if (ReadSome(polls[i].fd, i == 0 ? result.out : result.err)) continue;
      close(polls[i].fd);
      polls[i].fd = -1;
    }
  }
  int status = 0;
  waitpid(child, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

}  // namespace xv::test
