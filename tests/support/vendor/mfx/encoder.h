#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "support/vendor/ledger.h"
#include "support/vendor/mfx/mfx_header.h"
#include "support/vendor/nvcuvenc/software_h264.h"

namespace xv::mfx {

// The encoder of a session: libx264 behind the runtime's tasks. A thread finishes a task some time
// after it was taken. Only then its surface is unlocked, which needs no call of the client, and its
// bitstream is written. Both are the runtime's until then: a surface's Locked changes on that
// thread, as an atomic.
class Encoder {
 public:
  // `allocator` may be null. Throws std::runtime_error when libx264 takes no such parameters.
  Encoder(const mfxVideoParam& param, const mfxFrameAllocator* allocator);
  // Unlocks all surfaces; tasks that wait are given up.
  ~Encoder();

  const mfxVideoParam& param() const { return param_; }
  // With start codes; the first is the sequence set.
  std::vector<std::string> Headers() const;

  // Null: the end of the stream.
  mfxStatus Encode(const mfxEncodeCtrl* ctrl, mfxFrameSurface1* surface, mfxBitstream* bitstream,
                   mfxSyncPoint* sync);
  // A task that has failed: its bitstream is the client's again. Others are not looked at.
  void GiveUp(mfxSyncPoint sync);
  // The device is gone: no task is finished any more.
  void Fail();
  mfxStatus Sync(mfxSyncPoint sync, mfxU32 waitMs);

 private:
  struct Source {
    mfxFrameSurface1* surface = nullptr;
    std::uint64_t hash = 0;
    mfxU64 stamp = 0;
    bool keep = false;  // locked until the end
  };
  struct Task {
    nvcuvenc::AccessUnit unit;
    mfxBitstream* bitstream = nullptr;
    mfxBitstream before{};  // as it was given
    std::chrono::steady_clock::time_point since;
    std::int64_t put = 0;  // pictures that were taken then
    int number = 0;        // from 1
    bool done = false;
  };

  mfxStatus CheckRoom(const mfxBitstream& bitstream) const;
  mfxStatus Take(const mfxEncodeCtrl* ctrl, mfxFrameSurface1* surface);
  bool AskStamp(mfxU64 stamp);
  mfxStatus Promise(mfxBitstream* bitstream, mfxSyncPoint* sync);
  void Run();
  bool Ready(const Task& task) const;
  void Finish(Task* task);
  void Release(int picture);
  void Write(const Task& task) const;
  mfxU64 DecodeStamp(std::int64_t decoded) const;
  void AllocateOwn();
  void UseOwn() const;

  mfxVideoParam param_;
  const mfxFrameAllocator* allocator_;
  const bool video_;
  mfxFrameAllocResponse own_{};  // frames that the runtime asked for
  nvcuvenc::SoftwareH264 h264_;

  std::mutex lock_;  // guards what follows; the client's allocator is called with it held
  std::condition_variable changed_;
  std::map<int, Source> sources_;  // by number, not encoded yet
  std::set<const mfxFrameSurface1*> kept_;
  std::map<int, mfxU64> stamps_;
  std::deque<nvcuvenc::AccessUnit> units_;  // no call has come for them
  std::map<mfxSyncPoint, Task> tasks_;      // not synchronised
  std::deque<mfxSyncPoint> waiting_;        // not done
  int busy_ = 0;
  std::int64_t put_ = 0;
  int promised_ = 0;
  bool ended_ = false;
  bool failed_ = false;
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace xv::mfx
