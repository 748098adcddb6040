#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "captions/capture.h"
#include "catalogue/catalogue.h"
#include "platform/fair_lock.h"
#include "props/props_hw.h"
#include "props/props_impl.h"
#include "session/session_stats.h"
#include "tree/node.h"
#include "writer/encoder_choice.h"
#include "writer/stats_report.h"
#include "writer/time_corrector.h"
#include "xvwriter/writer.h"

namespace xv {

// The object that a host creates. Idle (no source, no encoder) -> Armed (ObjectStart) -> Recording
// (the first frame made an encoder) -> Idle (ObjectStop). Aggregatable: the inner unknown counts,
// the interfaces delegate to the outer object.
// Thread-safety: any call from any thread. Start, stop, set and puts take `calls_` one after the
// other; a put that finds a stop waiting or done beside it is refused, so that a stop only waits
// for the put at hand. IXvProps and the readers of names wait for none of them.
class CCoXvWriterFFM_I final : public IXvObject_I,
                               public IXvReceiver_I,
                               private XvTimeCorrector,
                               public IXvWriter,
                               public IXvPropsImpl<CCoXvWriterFFM_I, IXvProps>,
                               private XvPropsHW,
                               private XvCaptureCCBase<CCoXvWriterFFM_I>,
                               public IXfWriter {
 public:
  // `outer` may be null. Gives the inner unknown with one reference.
  static Ref<IUnknown> Create(IUnknown* outer);

  CCoXvWriterFFM_I(const CCoXvWriterFFM_I&) = delete;
  CCoXvWriterFFM_I& operator=(const CCoXvWriterFFM_I&) = delete;

  // IUnknown, delegating.
  HRESULT QueryInterface(const Guid& iid, void** out) noexcept override;
  std::uint32_t AddRef() noexcept override;
  std::uint32_t Release() noexcept override;

  // IXvObject_I
  HRESULT ObjectStart(IUnknown* source) noexcept override;
  HRESULT ObjectStop() noexcept override;
  HRESULT ObjectReserved3(void*) noexcept override { return E_NOTIMPL; }
  HRESULT ObjectReserved4(void*) noexcept override { return E_NOTIMPL; }
  HRESULT ObjectReserved5(void*) noexcept override { return E_NOTIMPL; }
  HRESULT ObjectReserved6(void*) noexcept override { return E_NOTIMPL; }

  // IXvReceiver_I
  HRESULT ReceiverPut(const void* a, const void* b, IUnknown* frame) noexcept override;
  HRESULT ReceiverReserved2(void*) noexcept override { return S_OK; }
  HRESULT ReceiverReserved3(void*) noexcept override { return S_OK; }

  // IXvWriter
  HRESULT WriterSet(const char16_t* name, const char16_t* attributes) noexcept override;
  HRESULT WriterGet(char16_t** name) noexcept override;
  HRESULT WriterReserved3(void*) noexcept override { return E_NOTIMPL; }

  // IXfReceiver, IXfWriter
  HRESULT ReceiverPut(IUnknown* frame) noexcept override;
  HRESULT XfReceiverReserved2(void*) noexcept override { return E_NOTIMPL; }
  HRESULT XfReceiverReserved3(void*) noexcept override { return E_NOTIMPL; }
  HRESULT XfWriterReserved1(void*) noexcept override { return E_NOTIMPL; }
  HRESULT XfWriterReserved2(void*) noexcept override { return E_NOTIMPL; }
  HRESULT XfWriterReserved3(void*) noexcept override { return E_NOTIMPL; }
  HRESULT WriterNameSet(const char16_t* name, void* reserved,
                        const char16_t* attributes) noexcept override;
  HRESULT WriterNameGet(char16_t** name, char16_t** attributes) noexcept override;
  HRESULT WriterClose() noexcept override { return ObjectStop(); }

 private:
  // The unknown that counts.
  class Inner final : public IUnknown {
   public:
    explicit Inner(CCoXvWriterFFM_I& writer) : writer_(writer) {}
    HRESULT QueryInterface(const Guid& iid, void** out) noexcept override;
    std::uint32_t AddRef() noexcept override;
    std::uint32_t Release() noexcept override;

   private:
    CCoXvWriterFFM_I& writer_;
    RefCount count_;
  };

  explicit CCoXvWriterFFM_I(IUnknown* outer);
  ~CCoXvWriterFFM_I();

  void SetOwnDefaults();
  Status Stop();
  Status OpenForFrame(const XV_AV_PROPS& props, const XV_TIME& time);
  Status CheckFrame(IXvFrame& frame, EncoderInput* input, std::string* why) const;
  void NoteFailure(std::string_view stage, std::string_view words, Status status);
  Status PutFrame(IXvFrame& frame);
  XMLParse::XMLNodePtr EffectiveAttributes() const;

  Inner inner_;
  IUnknown* outer_;     // not counted: the aggregate owns this object; &inner_ when there is none
  FairLock calls_;      // guards what follows, up to the names
  bool armed_ = false;  // started, by ObjectStart or by a frame
  bool stoppedIntoFile_ = false;  // the target holds what was recorded last, and nobody asked anew
  Ref<IUnknown> source_;
  Ref<XvEncoderBaseLegacy> encoder_;
  std::int64_t timeTolerance_ = 0;    // of the session, 100 ns
  XMLParse::TextFaults textFaults_;   // of the text of WriterSet
  std::atomic<int> stopsWaiting_{0};  // for `calls_`
  mutable std::mutex namesLock_;      // a leaf; guards target_ and the pointer session_
  std::string target_;                // changed under `calls_` too, so that its holder may read it
  XMLParse::XMLNodePtr session_;      // what WriterSet gave; as target_
  const XMLParse::XMLNodePtr own_;    // the tree behind IXvProps
  bool passesPackets_ = false;        // of the session
  SessionStats stats_;
  StatsReport report_{stats_};
  Catalogue catalogue_;  // behind the property "supported_list"
};

}  // namespace xv
