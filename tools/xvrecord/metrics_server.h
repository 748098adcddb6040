#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "xvrecord/metrics_text.h"

namespace xvrecord {

// Answers "GET /metrics" over HTTP/1.1 on one thread, several scrapers at a time; any other request
// gets the HTTP status that says why not. A scraper has 5 seconds; nothing that it does holds up
// the recording or another scraper. It is meant for the machine itself or a network that is
// trusted: there is neither a password nor encryption.
class MetricsServer {
 public:
  // Renders the metrics; called on the server's thread.
  using Render = std::function<std::string(MetricsForm)>;

  // Listens at "HOST:PORT", "[HOST]:PORT", ":PORT" or "PORT", the last two on 127.0.0.1; port 0
  // takes a free one. Throws UsageError for what is no such address, InputError where it cannot be
  // listened at.
  MetricsServer(const std::string& address, Render render);
  // Ends within moments; scrapers that wait are let go.
  ~MetricsServer();
  MetricsServer(const MetricsServer&) = delete;
  MetricsServer& operator=(const MetricsServer&) = delete;

  // Where it listens, "127.0.0.1:9500".
  [[nodiscard]] const std::string& address() const { return address_; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Scraper {
    int socket;
    Clock::time_point until;
    std::string request;
    std::string answer;  // what is still to be sent; empty until the request is whole
  };

  void Serve();
  void Accept();
  // False when the scraper is done or gone.
  bool Go(Scraper* scraper) const;
  bool Read(Scraper* scraper) const;
  [[nodiscard]] std::string Answer(const std::string& request) const;

  const Render render_;
  std::string address_;
  int listener_ = -1;
  int end_ = -1;  // an eventfd that ends the thread
  std::vector<Scraper> scrapers_;
  std::thread thread_;
};

}  // namespace xvrecord
