#include "component/outside_component.h"

#include <memory>
#include <optional>

#include "base/auto_obj_base.h"
#include "component/class_tables.h"
#include "component/trace.h"
#include "platform/timed_calls.h"
#include "settings/class_factory.h"
#include "xvwriter/writer.h"

namespace xv {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kBehindTimeout{1000};

std::u16string Copy(const char16_t* text) { return text == nullptr ? u"" : text; }

// What every component has, and how it is called.
template <class Derived, class Interface>
class Outside : public AutoObjBase<Derived, Interface> {
 public:
  ~Outside() override {
    // What a maker's last release does is a call as well.
    (void)calls_.Call(
        [inner = std::move(inner_)]() mutable {
          inner = nullptr;
          return S_OK;
        },
        patience_);
  }

  // Properties are the object's own.
  HRESULT QueryInterface(const Guid& iid, void** out) noexcept override {
    if (out != nullptr && iid == IXvProps::kIid && inner_) return inner_->QueryInterface(iid, out);
    return AutoObjBase<Derived, Interface>::QueryInterface(iid, out);
  }

  Status Make(const Guid& classId, std::string* words) {
    struct Made {
      Ref<Interface> object;
      std::string words;
    };
    const auto made = std::make_shared<Made>();
    const Status result = calls_.Call(
        [made, classId]() -> HRESULT {
          Ref<IClassFactory> factory;
          const Status found = RegisteredFactoryOf(classId, &factory, &made->words);
          if (found.Failed()) return found.code();
          void* object = nullptr;
          const HRESULT created = factory->CreateInstance(nullptr, Interface::kIid, &object);
          if (Failed(created)) return created;
          made->object = Ref<Interface>::Adopt(static_cast<Interface*>(object));
          if (const auto traced = Query<IXfTraced>(made->object.get())) {
            (void)traced->TraceSinkSet(TraceSink().get());
          }
          return object == nullptr ? E_UNEXPECTED : S_OK;
        },
        patience_);
    if (result == Status(XV_E_TIMEOUT)) return result;
    *words = made->words;
    inner_ = std::move(made->object);
    return result;
  }

 protected:
  // `call` gets the object, which it keeps alive.
  template <class Fn>
  HRESULT Run(Fn call) {
    return Run(std::move(call), patience_);
  }
  template <class Fn>
  HRESULT Run(Fn call, milliseconds patience) {
    return calls_
        .Call([inner = inner_, call = std::move(call)]() mutable { return call(*inner); }, patience)
        .code();
  }

 private:
  const milliseconds patience_ = ComponentPatience();
  Ref<Interface> inner_;
  TimedCalls calls_;
};

class OutsideEncoder final : public Outside<OutsideEncoder, IXfEncoder> {
 public:
  HRESULT Init(eXfMediaType type, const char16_t* text) override {
    return Run(
        [=, copy = Copy(text)](IXfEncoder& encoder) { return encoder.Init(type, copy.c_str()); });
  }
  HRESULT Configure(IXfFrame* frame, const XV_AV_PROPS* props, const char16_t* text,
                    void* reserved) override {
    const std::optional<XV_AV_PROPS> copy = props == nullptr ? std::nullopt : std::optional(*props);
    return Run([=, kept = Ref<IXfFrame>::Retain(frame), words = Copy(text),
                none = text == nullptr](IXfEncoder& encoder) {
      return encoder.Configure(kept.get(), copy ? &*copy : nullptr, none ? nullptr : words.c_str(),
                               reserved);
    });
  }
  HRESULT Process(IXfPacket** packet, std::int32_t* remaining, std::int64_t timeout,
                  void* reserved) override {
    struct Given {
      Ref<IXfPacket> packet;
      std::int32_t remaining = 0;
    };
    const auto given = std::make_shared<Given>();
    const milliseconds patience = milliseconds(timeout / 10'000) + kBehindTimeout;
    const HRESULT result = Run(
        [=](IXfEncoder& encoder) {
          return encoder.Process(given->packet.Receive(), &given->remaining, timeout, reserved);
        },
        patience);
    *packet = nullptr;
    *remaining = 0;
    if (Failed(result)) return result;
    *packet = given->packet.Detach();
    *remaining = given->remaining;
    return result;
  }
  HRESULT Close() override {
    return Run([](IXfEncoder& encoder) { return encoder.Close(); });
  }
};

class OutsideMuxer final : public Outside<OutsideMuxer, IXfMuxer> {
 public:
  HRESULT Init(const char16_t* name, const char16_t* text) override {
    return Run([target = Copy(name), copy = Copy(text)](IXfMuxer& muxer) {
      return muxer.Init(target.c_str(), copy.c_str());
    });
  }
  HRESULT AddStream(const XV_STREAM_INFO* info, std::int32_t* index, void* reserved) override {
    if (info == nullptr) return E_POINTER;
    const auto given = std::make_shared<std::int32_t>(0);
    const std::vector<std::uint8_t> extra(info->pbExtra, info->pbExtra + info->cbExtra);
    const HRESULT result = Run([=, copy = *info](IXfMuxer& muxer) mutable {
      copy.pbExtra = extra.data();
      return muxer.AddStream(&copy, given.get(), reserved);
    });
    if (index != nullptr && Succeeded(result)) *index = *given;
    return result;
  }
  HRESULT GetStream(std::int32_t index, XV_STREAM_INFO* info, IUnknown** owner) override {
    struct Given {
      XV_STREAM_INFO info{};
      Ref<IUnknown> owner;
    };
    if (info == nullptr) return E_POINTER;
    const auto given = std::make_shared<Given>();
    const HRESULT result = Run([=](IXfMuxer& muxer) {
      return muxer.GetStream(index, &given->info, given->owner.Receive());
    });
    if (owner != nullptr) *owner = nullptr;
    if (Failed(result)) return result;
    *info = given->info;
    if (owner != nullptr) *owner = given->owner.Detach();
    return result;
  }
  HRESULT PutPacket(std::int32_t index, IXfPacket* packet, void* reserved) override {
    return Run([=, kept = Ref<IXfPacket>::Retain(packet)](IXfMuxer& muxer) {
      return muxer.PutPacket(index, kept.get(), reserved);
    });
  }
  HRESULT Close() override {
    return Run([](IXfMuxer& muxer) { return muxer.Close(); });
  }
};

template <class Wrapper, class Interface>
Status MakeWrapped(const Guid& classId, Ref<Interface>* out, std::string* words) {
  const auto made = MakeRef<Wrapper>();
  RETURN_IF_FAILED(made->Make(classId, words));
  *out = made;
  return S_OK;
}

}  // namespace

Status MakeOutside(const Guid& classId, Ref<IXfEncoder>* encoder, std::string* words) {
  return MakeWrapped<OutsideEncoder>(classId, encoder, words);
}

Status MakeOutside(const Guid& classId, Ref<IXfMuxer>* muxer, std::string* words) {
  return MakeWrapped<OutsideMuxer>(classId, muxer, words);
}

}  // namespace xv
