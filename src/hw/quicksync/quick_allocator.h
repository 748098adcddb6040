#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "base/auto_obj_base.h"
#include "hw/quicksync/quick_api.h"
#include "kernels/aligned_vector.h"

namespace xv {

// The frame memory of a QuickSync session. The runtime calls it through the record that it is
// given, from its own threads.
//
// Sets live until Free or the allocator's end, and are given up once. What a runtime asks for
// never replaces what is there: the input frames stay when it asks for frames for itself.
class XvQSAllocatorBase : public AutoObjBase<XvQSAllocatorBase> {
 public:
  XvQSAllocatorBase();

  // What MFXVideoCORE_SetFrameAllocator takes. It lies in this object.
  mfxFrameAllocator* Record() { return &record_; }
  virtual bool IsHardware() const = 0;

  // A request for frames of a decoder that are shared (external), whose set of the same AllocId
  // exists, gets that set, which must then be freed once more.
  mfxStatus Alloc(const mfxFrameAllocRequest* request, mfxFrameAllocResponse* response);
  // MFX_ERR_INVALID_HANDLE for a response that is not of this allocator, or freed already.
  mfxStatus Free(mfxFrameAllocResponse* response);

  // Makes planes of NV12 reachable: pointers and pitch of `data`.
  virtual mfxStatus Lock(mfxMemId id, mfxFrameData* data) = 0;
  virtual mfxStatus Unlock(mfxMemId, mfxFrameData*) { return MFX_ERR_NONE; }
  virtual mfxStatus GetHDL(mfxMemId, mfxHDL*) { return MFX_ERR_UNSUPPORTED; }

 protected:
  // Makes `count` frames of the request. All or nothing.
  virtual mfxStatus MakeFrames(const mfxFrameAllocRequest& request, std::size_t count,
                               std::vector<mfxMemId>* ids) = 0;
  virtual void GiveUpFrames(const std::vector<mfxMemId>& ids) = 0;
  // For the destructors of the classes, whose operations are there no more afterwards.
  void GiveUpAll();

 private:
  struct Set {
    mfxU32 allocId;
    mfxU16 type;
    std::vector<mfxMemId> ids;
    int references;
  };

  void Answer(const Set& set, mfxFrameAllocResponse* response);

  mfxFrameAllocator record_{};
  std::mutex lock_;  // guards sets_; held while a set is made, so that one request makes it
  std::vector<std::unique_ptr<Set>> sets_;
};

// Frames in system memory. Their identifiers are the frames' first bytes.
class XvQSAllocatorSW final : public XvQSAllocatorBase {
 public:
  ~XvQSAllocatorSW() override { GiveUpAll(); }

  bool IsHardware() const override { return false; }
  // The memory of `id`, else what the pointers of `data` already reach.
  //   MFX_ERR_NULL_PTR            no `data`.
  //   MFX_ERR_UNDEFINED_BEHAVIOR  neither an identifier nor a plane.
  static mfxStatus Memory(mfxMemId id, const mfxFrameData* data, mfxU8** memory);
  mfxStatus Lock(mfxMemId id, mfxFrameData* data) override;

 private:
  struct Frame {
    AlignedVector<mfxU8> bytes;
    mfxU16 pitch;
    mfxU16 height;
  };
  mfxStatus MakeFrames(const mfxFrameAllocRequest& request, std::size_t count,
                       std::vector<mfxMemId>* ids) override;
  void GiveUpFrames(const std::vector<mfxMemId>& ids) override;

  std::mutex framesLock_;  // a leaf: guards frames_
  std::map<mfxMemId, Frame> frames_;
};

}  // namespace xv
