#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

// Programs at the other end of a connection, and the ports where they wait.
namespace xv::test {

enum class Transport { kTcp, kUdp };

// A port of loopback that nobody has, the one above it free too: RTP's control packets go there.
int FreePort(Transport transport);
// True once somebody listens at the port, without connecting to it: a peer may take one caller
// only.
bool WaitUntilBound(Transport transport, int port, double seconds);
// Asks every 20 ms; false when it never held.
bool Eventually(double seconds, const std::function<bool()>& holds);

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
