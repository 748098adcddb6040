#include "support/odd_receiver.h"

#include <sys/socket.h>
#include <unistd.h>

#include <chrono>

namespace xv::test {

OddReceiver::OddReceiver(Receiving receiving)
    : receiving_(receiving), bound_(SOCK_STREAM, 0), thread_() {
  ::listen(bound_.socket, 1);
  thread_ = std::thread([this] { Run(); });
}

OddReceiver::~OddReceiver() {
  over_ = true;
  ::shutdown(bound_.socket, SHUT_RDWR);
  if (connection_ >= 0) ::shutdown(connection_, SHUT_RDWR);
  thread_.join();
  if (connection_ >= 0) ::close(connection_);
}

std::string OddReceiver::Url(const char* scheme) const {
  return std::string(scheme) + "://127.0.0.1:" + std::to_string(bound_.port) + "/a.ts";
}

bool OddReceiver::Read() {
  char buffer[4096];
  const ssize_t got = ::recv(connection_, buffer, sizeof(buffer), 0);
  if (got <= 0) return false;
  taken_ += static_cast<int>(got);
  return true;
}

void OddReceiver::Run() {
  connection_ = ::accept4(bound_.socket, nullptr, nullptr, SOCK_CLOEXEC);
  while (!HasTakenItsPart()) {
    if (!Read()) return;
  }
  if (receiving_ == Receiving::kStops) return;
  if (receiving_ == Receiving::kResets) {
    ::close(connection_.exchange(-1));
    return;
  }
  if (receiving_ == Receiving::kHalfCloses) ::shutdown(connection_, SHUT_WR);
  while (!over_ && Read()) {
    if (receiving_ == Receiving::kSlowly)
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

}  // namespace xv::test
