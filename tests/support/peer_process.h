#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "support/loopback.h"

// Programs at work beside the test, such as those at the other end of a connection.
namespace xv::test {

// A child process with nothing to read and its words in files; those of its standard error in
// `log` too where `errors` is empty. It is killed with the object.
class PeerProcess {
 public:
  PeerProcess(const std::vector<std::string>& command, const std::string& log,
              const std::string& errors = {});
  ~PeerProcess();
  PeerProcess(const PeerProcess&) = delete;
  PeerProcess& operator=(const PeerProcess&) = delete;

  // False when it is still at work after that time.
  bool WaitForEnd(double seconds);
  // Of a program that has ended: 128 + n after signal n. -1 before.
  int ExitStatus() const { return status_; }
  void Send(int signal);

 private:
  pid_t child_ = -1;
  int status_ = -1;
};

struct ProgramResult {
  int status = -1;  // exit status; 128 + n after signal n
  std::string out;
  std::string err;
};

// Runs a program to its end.
ProgramResult RunProgram(const std::vector<std::string>& command);

}  // namespace xv::test
