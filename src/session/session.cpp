#include "session/session.h"

#include <algorithm>

namespace xv {

int Session::AudioTracks() const {
  return static_cast<int>(std::count_if(streams.begin(), streams.end(), [](const auto& holder) {
    return holder->type == AVMEDIA_TYPE_AUDIO;
  }));
}

void Session::KeepError(Status error, const char* stage, const std::string& words) {
  if (!error.Failed()) return;
  HRESULT none = S_OK;
  if (!sticky_.compare_exchange_strong(none, error.code()) || stats == nullptr) return;
  // What the header's failure said is the cause; a packet that finds no header adds nothing.
  if (error != main.headerFailure) stats->Fail(stage, words, error);
}

}  // namespace xv
