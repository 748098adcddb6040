#include "ffm/session.h"

#include <algorithm>

namespace xv {

bool Session::HasAudio() const {
  return std::any_of(streams.begin(), streams.end(),
                     [](const auto& holder) { return holder->type == AVMEDIA_TYPE_AUDIO; });
}

bool Session::BoolWithFallback(const char* key, bool defaultValue) const {
  if (props && props->Has(key)) return props->Bool(key, defaultValue);
  return ownNode ? ownNode->Bool(key, defaultValue) : defaultValue;
}

void Session::KeepError(Status error, const char* stage, const std::string& words) {
  if (!error.Failed()) return;
  HRESULT none = S_OK;
  if (sticky_.compare_exchange_strong(none, error.code()) && stats != nullptr) {
    stats->Fail(stage, words, error);
  }
}

}  // namespace xv
