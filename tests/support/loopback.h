#pragma once

#include <cstddef>
#include <functional>

// Ports of loopback where the other end of a stream waits.
namespace xv::test {

enum class Transport { kTcp, kUdp };

// A socket bound to a port of loopback, 0 for any.
struct BoundSocket {
  BoundSocket(int type, int wanted);
  ~BoundSocket();
  BoundSocket(const BoundSocket&) = delete;
  BoundSocket& operator=(const BoundSocket&) = delete;

  const int socket;
  int port = 0;  // 0: it is taken
};

// An even port that nobody has, the one above it free too: RTP's control packets go there.
int FreePort(Transport transport);
// True once somebody listens at the port. Nothing connects to it: a peer may take one caller only.
bool WaitUntilBound(Transport transport, int port, double seconds);
// Bytes that wait for whoever reads datagrams at the port.
std::size_t UnreadBytes(int port);
// Asks every few milliseconds; false when it never held.
bool Eventually(double seconds, const std::function<bool()>& holds);

}  // namespace xv::test
