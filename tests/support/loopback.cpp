#include "support/loopback.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace xv::test {
namespace {

// A row of the kernel's socket table: "sl local_address rem_address st tx_queue:rx_queue ...", in
// hex.
struct Row {
  int port = 0;
  std::string state;
  std::size_t unread = 0;
};

std::vector<Row> RowsOf(const std::string& table) {
  std::ifstream file("/proc/net/" + table);
  std::string line, slot, local, remote, queues;
  std::getline(file, line);
  std::vector<Row> rows;
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    Row row;
    fields >> slot >> local >> remote >> row.state >> queues;
    row.port = std::stoi(local.substr(local.rfind(':') + 1), nullptr, 16);
    row.unread = std::stoul(queues.substr(queues.find(':') + 1), nullptr, 16);
    rows.push_back(row);
  }
  return rows;
}

bool IsBound(const std::string& table, const char* state, int port) {
  return std::ranges::any_of(
      RowsOf(table), [&](const Row& row) { return row.state == state && row.port == port; });
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
    return tcp ? IsBound("tcp", "0A", port) || IsBound("tcp6", "0A", port)
               : IsBound("udp", "07", port) || IsBound("udp6", "07", port);
  });
}

std::size_t UnreadBytes(int port) {
  std::size_t unread = 0;
  for (const char* table : {"udp", "udp6"}) {
    for (const Row& row : RowsOf(table)) unread += row.port == port ? row.unread : 0;
  }
  return unread;
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
