#include "xvrecord/metrics_server.h"

#include <fmt/format.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "xvrecord/input.h"

namespace xvrecord {
namespace {

constexpr std::size_t kMostScrapers = 32;
constexpr std::size_t kLongestRequest = 8192;
constexpr std::chrono::seconds kPatience{5};
constexpr int kTick = 500;  // milliseconds between two looks at scrapers that are late
constexpr std::string_view kHeadEnd = "\r\n\r\n";

struct Address {
  std::string host;
  std::string port;
};

Address Split(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  Address out{colon == text.npos ? "" : text.substr(0, colon),
              colon == text.npos ? text : text.substr(colon + 1)};
  if (out.host.size() > 2 && out.host.front() == '[' && out.host.back() == ']') {
    out.host = out.host.substr(1, out.host.size() - 2);
  }
  const bool digits = !out.port.empty() && out.port.size() < 6 &&
                      out.port.find_first_not_of("0123456789") == out.port.npos;
  if (!digits || std::stoi(out.port) > 65535 || out.host.find_first_of("[]/") != text.npos) {
    throw UsageError("--metrics wants HOST:PORT, such as 127.0.0.1:9500, not " + text + ".");
  }
  if (out.host.empty()) out.host = "127.0.0.1";
  return out;
}

[[noreturn]] void Refuse(const std::string& text, const std::string& why) {
  throw InputError("Cannot serve metrics at " + text + ": " + why + ".");
}

int Listen(const std::string& text) {
  const Address wanted = Split(text);
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int failed = getaddrinfo(wanted.host.c_str(), wanted.port.c_str(), &hints, &found);
  if (failed != 0) Refuse(text, gai_strerror(failed));
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owned(found, &freeaddrinfo);
  const int listener =
      socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, found->ai_protocol);
  const int on = 1;
  if (listener >= 0) setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (listener < 0 || bind(listener, found->ai_addr, found->ai_addrlen) != 0 ||
      listen(listener, static_cast<int>(kMostScrapers)) != 0) {
    const int reason = errno;
    if (listener >= 0) close(listener);
    Refuse(text, std::strerror(reason));
  }
  return listener;
}

std::string NameOf(int listener) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  auto* const plain = reinterpret_cast<sockaddr*>(&address);
  char host[NI_MAXHOST] = "";
  char port[NI_MAXSERV] = "";
  getsockname(listener, plain, &size);
  getnameinfo(plain, size, host, sizeof host, port, sizeof port, NI_NUMERICHOST | NI_NUMERICSERV);
  const bool six = address.ss_family == AF_INET6;
  return fmt::format("{}{}{}:{}", six ? "[" : "", host, six ? "]" : "", port);
}

std::string Reply(const char* status, const char* type, const std::string& body,
                  const char* more = "") {
  return fmt::format(
      "HTTP/1.1 {}\r\nContent-Type: {}\r\nContent-Length: {}\r\n{}Connection: close\r\n\r\n{}",
      status, type, body.size(), more, body);
}

std::string Refusal(const char* status, const char* more = "") {
  return Reply(status, "text/plain; charset=utf-8", std::string(status) + "\n", more);
}

// Whether a header of that name (lower case) holds the word.
bool Asks(const std::string& request, std::string_view header, std::string_view word) {
  std::string lower = request;
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  const std::size_t at = lower.find("\r\n" + std::string(header) + ":");
  if (at == lower.npos) return false;
  return lower.substr(at + 2, lower.find("\r\n", at + 2) - at - 2).find(word) != lower.npos;
}

}  // namespace

MetricsServer::MetricsServer(const std::string& address, Render render)
    : render_(std::move(render)), listener_(Listen(address)), end_(eventfd(0, EFD_CLOEXEC)) {
  address_ = NameOf(listener_);
  thread_ = std::thread([this] { Serve(); });
}

MetricsServer::~MetricsServer() {
  eventfd_write(end_, 1);
  thread_.join();
  for (const Scraper& scraper : scrapers_) close(scraper.socket);
  close(listener_);
  close(end_);
}

void MetricsServer::Serve() {
  while (true) {
    std::vector<pollfd> places = {{end_, POLLIN, 0}, {-1, POLLIN, 0}};
    if (scrapers_.size() < kMostScrapers) places[1].fd = listener_;
    for (const Scraper& scraper : scrapers_) {
      const auto events = static_cast<short>(scraper.answer.empty() ? POLLIN : POLLOUT);
      places.push_back({scraper.socket, events, 0});
    }
    poll(places.data(), places.size(), scrapers_.empty() ? -1 : kTick);
    if (places[0].revents != 0) return;
    const auto now = Clock::now();
    for (std::size_t i = scrapers_.size(); i-- > 0;) {
      const bool ready = places[i + 2].revents != 0;
      if (ready ? Go(&scrapers_[i]) : now < scrapers_[i].until) continue;
      close(scrapers_[i].socket);
      scrapers_.erase(scrapers_.begin() + static_cast<std::ptrdiff_t>(i));
    }
    if (places[1].revents != 0) Accept();
  }
}

void MetricsServer::Accept() {
  const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (socket >= 0) scrapers_.push_back({socket, Clock::now() + kPatience, {}, {}});
}

bool MetricsServer::Go(Scraper* scraper) const {
  if (scraper->answer.empty()) return Read(scraper);
  const ssize_t sent =
      send(scraper->socket, scraper->answer.data(), scraper->answer.size(), MSG_NOSIGNAL);
  if (sent < 0) return errno == EAGAIN || errno == EINTR;
  scraper->answer.erase(0, static_cast<std::size_t>(sent));
  return !scraper->answer.empty();
}

bool MetricsServer::Read(Scraper* scraper) const {
  char block[2 * kLongestRequest];
  const ssize_t count = recv(scraper->socket, block, sizeof block, 0);
  if (count < 0) return errno == EAGAIN || errno == EINTR;
  if (count == 0) return false;
  scraper->request.append(block, static_cast<std::size_t>(count));
  if (scraper->request.find(kHeadEnd) != std::string::npos) {
    scraper->answer = Answer(scraper->request);
  } else if (scraper->request.size() > kLongestRequest) {
    scraper->answer = Refusal("431 Request Header Fields Too Large");
  }
  return true;
}

std::string MetricsServer::Answer(const std::string& request) const {
  const std::string line = request.substr(0, request.find("\r\n"));
  const std::size_t first = line.find(' ');
  const std::size_t last = line.rfind(' ');
  if (first == line.npos || first == last || line.compare(last + 1, 7, "HTTP/1.") != 0) {
    return Refusal("400 Bad Request");
  }
  const std::string method = line.substr(0, first);
  const std::string path = line.substr(first + 1, last - first - 1);
  if (path.substr(0, path.find('?')) != "/metrics") return Refusal("404 Not Found");
  if (method != "GET") return Refusal("405 Method Not Allowed", "Allow: GET\r\n");
  const bool open = Asks(request, "accept", "application/openmetrics-text");
  const MetricsForm form = open ? MetricsForm::kOpenMetrics : MetricsForm::kPrometheus;
  return Reply("200 OK", MetricsType(form), render_(form));
}

}  // namespace xvrecord
