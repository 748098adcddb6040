#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "support/loopback.h"

// Programs at the other end of a connection.
namespace xv::test {

// A child process with nothing to read and its words in a file. It is killed with the object.
class PeerProcess {
 public:
  PeerProcess(const std::vector<std::string>& command, const std::string& log);
  ~PeerProcess();
  PeerProcess(const PeerProcess&) = delete;
  PeerProcess& operator=(const PeerProcess&) = delete;

  // False when it is still at work after that time.
  bool WaitForEnd(double seconds);
  void Send(int signal);

 private:
  pid_t child_ = -1;
};

}  // namespace xv::test
