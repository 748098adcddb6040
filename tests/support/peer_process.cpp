#include "support/peer_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "support/temporary_folder.h"

namespace xv::test {

PeerProcess::PeerProcess(const std::vector<std::string>& command, const std::string& log,
                         const std::string& errors) {
  std::vector<char*> words;
  for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  constexpr int kFresh = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), kFresh, 0644);
  if (errors.empty()) {
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
  } else {
    posix_spawn_file_actions_addopen(&actions, 2, errors.c_str(), kFresh, 0644);
  }
  const int result = posix_spawnp(&child_, words[0], &actions, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (result != 0) throw std::runtime_error("cannot run " + command[0]);
}

PeerProcess::~PeerProcess() {
  if (child_ < 0) return;
  ::kill(child_, SIGKILL);
  ::waitpid(child_, nullptr, 0);
}

bool PeerProcess::WaitForEnd(double seconds) {
  return Eventually(seconds, [&] {
    int status = 0;
    if (child_ >= 0 && ::waitpid(child_, &status, WNOHANG) == child_) {
      status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      child_ = -1;
    }
    return child_ < 0;
  });
}

void PeerProcess::Send(int signal) {
  if (child_ >= 0) ::kill(child_, signal);
}

ProgramResult RunProgram(const std::vector<std::string>& command) {
  constexpr double kForever = 1e6;
  const TemporaryFolder folder;
  PeerProcess program(command, folder / "out", folder / "err");
  program.WaitForEnd(kForever);
  return {program.ExitStatus(), folder.Read("out"), folder.Read("err")};
}

}  // namespace xv::test
