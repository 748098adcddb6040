#include "support/loopback.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace xv::test {
namespace {

// The kernel's socket table: "sl local_address rem_address st ...", the port in hex.
bool IsBound(const char* table, const char* state, int port) {
  std::ifstream file(table);
  std::string line, slot, local, remote, st;
  std::getline(file, line);
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    fields >> slot >> local >> remote >> st;
    const std::size_t colon = local.rfind(':');
    if (st == state && std::stoi(local.substr(colon + 1), nullptr, 16) == port) return true;
  }
  return false;
}

}  // namespace

BoundSocket::BoundSocket(int type, int wanted) : socket(::socket(AF_INET, type | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(wanted));
  socklen_t size = sizeof(address);
  if (::bind(socket, reinterpret_cast<sockaddr*>(&address), size) != 0) return;
  ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
  port = ntohs(address.sin_port);
}

BoundSocket::~BoundSocket() { ::close(socket); }

int FreePort(Transport transport) {
  const int type = transport == Transport::kTcp ? SOCK_STREAM : SOCK_DGRAM;
  for (int attempt = 0; attempt < 100; ++attempt) {
    const BoundSocket any(type, 0);
    const BoundSocket even(type, any.port + 2 - any.port % 2);
    const BoundSocket odd(type, even.port + 1);
    if (even.port > 0 && odd.port == even.port + 1) return even.port;
  }
  throw std::runtime_error("no free port");
}

bool WaitUntilBound(Transport transport, int port, double seconds) {
  const bool tcp = transport == Transport::kTcp;
  return Eventually(seconds, [&] {
    return tcp ? IsBound("/proc/net/tcp", "0A", port) || IsBound("/proc/net/tcp6", "0A", port)
               : IsBound("/proc/net/udp", "07", port) || IsBound("/proc/net/udp6", "07", port);
  });
}

bool Eventually(double seconds, const std::function<bool()>& holds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  for (;;) {
    if (holds()) return true;
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace xv::test
