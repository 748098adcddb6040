#include "output/name_lookup.h"

#include <netdb.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>

namespace xv {
namespace {

constexpr std::chrono::milliseconds kFirstLook{1}, kLongestLook{50};

struct Lookup {
  std::string host;
  gaicb request{};
  ~Lookup() {
    if (request.ar_result != nullptr) freeaddrinfo(request.ar_result);
  }
};

std::string HostOf(const std::string& url) {
  char host[256];
  int port = -1;
  av_url_split(nullptr, 0, nullptr, 0, host, sizeof(host), &port, nullptr, 0, url.c_str());
  return host;
}

bool IsAddress(const std::string& host) {
  addrinfo hints{};
  hints.ai_flags = AI_NUMERICHOST;
  addrinfo* found = nullptr;
  const bool address = getaddrinfo(host.c_str(), nullptr, &hints, &found) == 0;
  if (found != nullptr) freeaddrinfo(found);
  return address;
}

// The proxy looks names up by itself, and nobody else may be able to.
bool HasProxy() { return std::getenv("http_proxy") != nullptr; }

}  // namespace

bool AwaitHostName(const std::string& url, IoInterrupt& interrupt) {
  auto lookup = std::make_unique<Lookup>();
  lookup->host = HostOf(url);
  if (lookup->host.empty() || IsAddress(lookup->host) || HasProxy()) return true;
  lookup->request.ar_name = lookup->host.c_str();
  gaicb* requests[] = {&lookup->request};
  if (getaddrinfo_a(GAI_NOWAIT, requests, 1, nullptr) != 0) return true;
  const AVIOInterruptCB callback = interrupt.Callback();
  // gai_suspend leaves its stack to an answer that comes as it gives up (glibc 2.36), so nothing
  // waits in there.
  for (auto look = kFirstLook; gai_error(&lookup->request) == EAI_INPROGRESS;
       look = std::min(2 * look, kLongestLook)) {
    std::this_thread::sleep_for(look);
    if (callback.callback(callback.opaque) == 0) continue;
    // What cannot be taken back is still written to.
    if (gai_cancel(&lookup->request) == EAI_NOTCANCELED) (void)lookup.release();
    return false;
  }
  return true;
}

}  // namespace xv
