#include <gmock/gmock.h>

#include <atomic>

#include "support/fixtures.h"
#include "support/media_probe.h"
#include "xvwriter/counted.hpp"

namespace xv::test {
namespace {

using WriterObject = WithFolder;

using host::Ptr;
using host::QueryAs;

Ptr<IXvWriter> NewWriter() {
  void* out = nullptr;
  EXPECT_EQ(XvCreateInstance(CLSID_CoXvWriterFFM_I, nullptr, IXvWriter::kIid, &out), S_OK);
  return Ptr<IXvWriter>::Adopt(static_cast<IXvWriter*>(out));
}

TEST_F(WriterObject, OffersItsInterfacesUnderOneIdentity) {
  const auto writer = NewWriter();
  const auto props = QueryAs<IXvProps>(writer);
  ASSERT_TRUE(QueryAs<IXvObject_I>(writer) && QueryAs<IXvReceiver_I>(writer) && props);
  ASSERT_TRUE(QueryAs<IXfWriter>(writer) && QueryAs<IXfReceiver>(writer));
  EXPECT_EQ(QueryAs<IUnknown>(writer).get(), QueryAs<IUnknown>(props).get());
  void* out = &out;
  EXPECT_EQ(writer->QueryInterface(IXvSource::kIid, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(writer->QueryInterface(IXvProps::kIid, nullptr), E_POINTER);
  EXPECT_EQ(XvCreateInstance(CLSID_CoXvWriterFFM_I, nullptr, IXvWriter::kIid, nullptr), E_POINTER);
  EXPECT_EQ(XvFrameFactoryGet(nullptr), E_POINTER);
  EXPECT_EQ(writer->WriterSet(nullptr, nullptr), S_OK);
}

TEST_F(WriterObject, StatesFollowStartAndStop) {
  const auto writer = NewWriter();
  const auto object = QueryAs<IXvObject_I>(writer);
  EXPECT_EQ(object->ObjectStart(nullptr), E_UNEXPECTED);
  ASSERT_EQ(writer->WriterSet(host::Wide(folder_ / "a.mov").c_str(), u"video::codec=mpeg4"), S_OK);
  EXPECT_EQ(object->ObjectStart(writer.get()), S_OK);
  EXPECT_EQ(object->ObjectStart(writer.get()), S_FALSE);
  const auto receiver = QueryAs<IXvReceiver_I>(writer);
  ASSERT_EQ(receiver->ReceiverPut(nullptr, nullptr, MakeFrame(Feed(), 0).get()), S_OK);
  EXPECT_EQ(writer->WriterSet(u"other", u""), XV_E_IN_USE);
  char16_t* name = nullptr;
  EXPECT_EQ(object->ObjectStop(), S_OK);
  ASSERT_EQ(writer->WriterGet(&name), S_OK);
  EXPECT_EQ(host::TakeString(name), folder_ / "a.mov");
  EXPECT_EQ(writer->WriterGet(nullptr), E_POINTER);
  EXPECT_EQ(object->ObjectStop(), S_OK);
}

TEST_F(WriterObject, AFinishedFileIsOnlyReplacedOnRequest) {
  const auto writer = NewWriter();
  const auto object = QueryAs<IXvObject_I>(writer);
  const auto put = [&](int number) {
    const auto frame = MakeFrame(Feed(), number);
    return QueryAs<IXvReceiver_I>(writer)->ReceiverPut(nullptr, nullptr, frame.get());
  };
  const std::u16string target = host::Wide(folder_ / "a.mp4");
  ASSERT_EQ(writer->WriterSet(target.c_str(), u"video::codec=mpeg4"), S_OK);
  ASSERT_EQ(put(0), S_OK) << "no start is needed for the first";
  ASSERT_EQ(put(1), S_OK);
  EXPECT_EQ(object->ObjectStart(nullptr), S_FALSE);
  EXPECT_EQ(put(2), S_OK) << "a start in the midst of it leaves its clock";
  object->ObjectStop();
  EXPECT_EQ(put(3), XV_E_ALREADY_EXISTS);
  EXPECT_EQ(Probe(folder_ / "a.mp4").Pictures().frames, 3);
  char16_t* errors = nullptr;
  ASSERT_EQ(QueryAs<IXvProps>(writer)->PropsGet(u"quality::pts_errors", &errors), S_OK);
  EXPECT_EQ(host::TakeString(errors), "0");
  ASSERT_EQ(object->ObjectStart(nullptr), S_OK);
  EXPECT_EQ(put(4), S_OK);
  object->ObjectStop();
  ASSERT_EQ(writer->WriterSet(target.c_str(), u"video::codec=mpeg4"), S_OK);
  EXPECT_EQ(put(5), S_OK);
  object->ObjectStop();
  EXPECT_EQ(Probe(folder_ / "a.mp4").Pictures().frames, 1);
}

TEST_F(WriterObject, ReservedPlacesAnswerAsDocumented) {
  const auto writer = NewWriter();
  const auto object = QueryAs<IXvObject_I>(writer);
  const auto receiver = QueryAs<IXvReceiver_I>(writer);
  const auto component = QueryAs<IXfWriter>(writer);
  for (const HRESULT nothing :
       {object->ObjectReserved3(nullptr), object->ObjectReserved4(nullptr),
        object->ObjectReserved5(nullptr), object->ObjectReserved6(nullptr),
        writer->WriterReserved3(nullptr), component->XfWriterReserved1(nullptr),
        component->XfWriterReserved2(nullptr), component->XfWriterReserved3(nullptr),
        component->XfReceiverReserved2(nullptr), component->XfReceiverReserved3(nullptr)}) {
    EXPECT_EQ(nothing, E_NOTIMPL);
  }
  EXPECT_EQ(receiver->ReceiverReserved2(nullptr), S_OK);
  EXPECT_EQ(receiver->ReceiverReserved3(nullptr), S_OK);
}

TEST_F(WriterObject, TheOtherFamilyRecordsToo) {
  const auto writer = QueryAs<IXfWriter>(NewWriter());
  const std::u16string target = host::Wide(folder_ / "a.mp4");
  ASSERT_EQ(writer->WriterNameSet(target.c_str(), nullptr, u"video::codec=mpeg4"), S_OK);
  for (int i = 0; i < 3; ++i) ASSERT_EQ(writer->ReceiverPut(MakeFrame(Feed(), i).get()), S_OK);
  EXPECT_EQ(writer->WriterClose(), S_OK);
  EXPECT_EQ(Probe(folder_ / "a.mp4").Pictures().frames, 3);
}

class Source final : public host::Counted<IXvSource> {
 public:
  HRESULT SourcePropsGet(XV_AV_PROPS*) noexcept override { return E_FAIL; }
};

TEST_F(WriterObject, HoldsItsSourceUntilTheStop) {
  const auto writer = NewWriter();
  const auto object = QueryAs<IXvObject_I>(writer);
  const auto source = Ptr<Source>::Adopt(new Source);
  ASSERT_EQ(writer->WriterSet(u"a.mp4", nullptr), S_OK);
  EXPECT_EQ(object->ObjectStart(source.get()), S_OK);
  EXPECT_EQ(source->AddRef(), 3u);
  EXPECT_EQ(object->ObjectStop(), S_OK);
  EXPECT_EQ(source->Release(), 1u);
}

TEST_F(WriterObject, NameGetShowsTargetAndAttributes) {
  const auto component = QueryAs<IXfWriter>(NewWriter());
  ASSERT_EQ(component->WriterNameSet(
                u"x.mp4", nullptr,
                u"format=mp4 qs_impl=7 title='a b' video::b=5M audio.1::metadata::language=de"),
            S_OK);
  char16_t* name = nullptr;
  char16_t* attributes = nullptr;
  ASSERT_EQ(component->WriterNameGet(&name, &attributes), S_OK);
  EXPECT_EQ(host::TakeString(name), "x.mp4");
  EXPECT_EQ(host::TakeString(attributes),
            "format='mp4' title='a b' video::b='5M' audio.1::metadata::language='de'");
  EXPECT_EQ(component->WriterNameGet(nullptr, nullptr), S_OK);
}

TEST_F(WriterObject, FramesWithoutAViewAreDropped) {
  const auto writer = NewWriter();
  const auto receiver = QueryAs<IXvReceiver_I>(writer);
  EXPECT_EQ(receiver->ReceiverPut(nullptr, nullptr, nullptr), S_FALSE);
  EXPECT_EQ(receiver->ReceiverPut(nullptr, nullptr, writer.get()), S_FALSE);
  EXPECT_EQ(QueryAs<IXfReceiver>(writer)->ReceiverPut(writer.get()), E_NOINTERFACE);
}

// An outer object that holds the writer as a part.
class Aggregate final : public IUnknown {
 public:
  HRESULT QueryInterface(const Guid& iid, void** out) noexcept override {
    if (iid == IUnknown::kIid) {
      *out = static_cast<IUnknown*>(this);
      AddRef();
      return S_OK;
    }
    return inner_->QueryInterface(iid, out);
  }
  std::uint32_t AddRef() noexcept override { return ++count_; }
  std::uint32_t Release() noexcept override { return --count_; }

  Ptr<IUnknown> inner_;
  std::atomic<std::uint32_t> count_{1};
};

TEST_F(WriterObject, DelegatesToItsAggregate) {
  Aggregate outer;
  void* out = nullptr;
  EXPECT_EQ(XvCreateInstance(CLSID_CoXvWriterFFM_I, &outer, IXvWriter::kIid, &out),
            CLASS_E_NOAGGREGATION);
  ASSERT_EQ(XvCreateInstance(CLSID_CoXvWriterFFM_I, &outer, IUnknown::kIid, &out), S_OK);
  outer.inner_ = Ptr<IUnknown>::Adopt(static_cast<IUnknown*>(out));
  {
    const auto writer = QueryAs<IXvWriter>(outer.inner_);
    ASSERT_TRUE(writer);
    EXPECT_EQ(outer.count_, 2u);
    EXPECT_EQ(QueryAs<IUnknown>(writer).get(), &outer);
    EXPECT_EQ(writer->WriterSet(u"a.mp4", u""), S_OK);
  }
  EXPECT_EQ(outer.count_, 1u);
}

TEST(Module, LockKeepsItLoaded) {
  void* out = nullptr;
  EXPECT_EQ(DllGetClassObject(IXvSource::kIid, IClassFactory::kIid, &out),
            CLASS_E_CLASSNOTAVAILABLE);
  for (const bool lock : {true, false}) {
    EXPECT_EQ(DllCanUnloadNow(), lock ? S_OK : S_FALSE);
    ASSERT_EQ(DllGetClassObject(CLSID_CoXvWriterFFM_I, IClassFactory::kIid, &out), S_OK);
    Ptr<IClassFactory>::Adopt(static_cast<IClassFactory*>(out))->LockServer(lock);
  }
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

// A host's factory in the place of the built-in one.
class CountingFactory final : public IXvFrameFactory {
 public:
  HRESULT QueryInterface(const Guid&, void**) noexcept override { return E_NOINTERFACE; }
  std::uint32_t AddRef() noexcept override { return 1; }
  std::uint32_t Release() noexcept override { return 1; }
  HRESULT FrameCreate(const XvFrameDesc*, IXvFrame**) noexcept override {
    ++calls;
    return XV_E_NO_FRAME_FACTORY;
  }
  int calls = 0;
};

TEST(FrameFactory, HostMayReplaceTheBuiltInOne) {
  CountingFactory factory;
  ASSERT_EQ(XvFrameFactorySet(&factory), S_OK);
  HRESULT result = S_OK;
  EXPECT_FALSE(host::FrameBuilder().Build(&result));
  EXPECT_EQ(result, XV_E_NO_FRAME_FACTORY);
  EXPECT_EQ(factory.calls, 1);
  ASSERT_EQ(XvFrameFactorySet(nullptr), S_OK);
  EXPECT_TRUE(host::FrameBuilder().Build());
}

TEST(HostFrame, CarriesExtrasByKeyAndName) {
  const std::uint8_t bytes[] = {1, 2, 3};
  auto keep = std::make_shared<int>(7);
  const std::weak_ptr<int> watch = keep;
  {
    auto frame = MakeFrame(Feed(), 0);
    ASSERT_EQ(host::AddExtra(frame, FourCC("C608"), bytes, 3, std::move(keep)), S_OK);
    ASSERT_EQ(host::AddExtra(frame, "__vptr_", bytes + 1, 2), S_OK);
    const auto extras = QueryAs<IXvFrameExtras>(frame);
    ASSERT_EQ(extras->NumberSet(u"level", 42), S_OK);
    ASSERT_EQ(extras->TextSet(u"note", u"caf\u00e9"), S_OK);
    std::uint32_t size = 0;
    const std::uint8_t* data = nullptr;
    EXPECT_EQ(frame->FrameExtraGet(FourCC("C608"), &size, &data), S_OK);
    EXPECT_TRUE(size == 3 && data == bytes);
    EXPECT_EQ(frame->FrameExtraGetByName(u"C608", &size, &data), S_OK);
    EXPECT_EQ(data, bytes);
    EXPECT_EQ(frame->FrameExtraGetByName(u"LEVEL", &size, &data), S_OK);
    EXPECT_TRUE(size == 0 && reinterpret_cast<std::intptr_t>(data) == 42);
    EXPECT_EQ(frame->FrameExtraGetByName(u"absent", &size, &data), S_FALSE);
    EXPECT_EQ(frame->FrameExtraGet(FourCC("GA94"), &size, &data), S_OK);
    EXPECT_TRUE(size == 0 && data == nullptr);
    char16_t* text = nullptr;
    ASSERT_EQ(extras->TextGet(u"note", &text), S_OK);
    EXPECT_EQ(host::TakeString(text), "caf\xc3\xa9");
    EXPECT_FALSE(watch.expired());
    Ptr<IUnknown> object;
    EXPECT_EQ(extras->ObjectGet(u"mine", object.Receive()), S_FALSE);
    ASSERT_EQ(extras->ObjectSet(u"mine", NewWriter().get()), S_OK);
    EXPECT_EQ(extras->ObjectGet(u"MINE", object.Receive()), S_OK);
    EXPECT_TRUE(QueryAs<IXvWriter>(object));
  }
  EXPECT_TRUE(watch.expired());
}

TEST(HostFrame, ItsSecondViewShowsTheSame) {
  const auto frame = MakeFrame(Feed(), 3);
  const auto view = QueryAs<IXfFrame>(frame);
  ASSERT_TRUE(view);
  XV_FRAME_INFO info{};
  XV_TIME time{};
  XV_AV_PROPS props{};
  std::uint32_t sizes[2] = {}, seen[2] = {}, count = 5;
  const std::uint8_t *bytes[2] = {}, *found[2] = {};
  ASSERT_EQ(view->FrameTimeGet(&time), S_OK);
  EXPECT_EQ(time.rtStart, 1'200'000);
  ++time.rtStart;
  EXPECT_EQ(view->FrameTimeSet(&time), S_OK);
  frame->FrameAllGet(&time, &props, &sizes[0], &bytes[0], &sizes[1], &bytes[1]);
  EXPECT_EQ(time.rtStart, 1'200'001);
  EXPECT_EQ(view->FrameAudioGet(&seen[0], &found[0]), S_OK);
  EXPECT_EQ(view->FrameVideoGet(&seen[1], &found[1]), S_OK);
  for (const int i : {0, 1}) EXPECT_TRUE(seen[i] == sizes[i] && found[i] == bytes[i]);
  ASSERT_EQ(view->FrameInfoGet(&info), S_OK);
  EXPECT_TRUE(info.time.rtStart == time.rtStart && info.props.vid.nWidth == 720);
  EXPECT_TRUE(info.cbAudio == sizes[0] && info.pbAudio == bytes[0]);
  ASSERT_EQ(view->FramePropsGet(&props, &count), S_OK);
  EXPECT_TRUE(props.aud.nChannels == 2 && props.vid.nHeight == 576 && count == 0);
  EXPECT_EQ(XvRowBytesGet(kFccV210, 720), 1920);
}

TEST(Strings, HoldZerosAndTellTheirLength) {
  char16_t* text = XvStringAlloc(u"a\0b", 3);
  ASSERT_NE(text, nullptr);
  EXPECT_TRUE(XvStringLength(text) == 3 && text[2] == u'b' && text[3] == 0);
  XvStringFree(text);
  EXPECT_EQ(XvStringLength(nullptr), 0u);
  EXPECT_EQ(XvStringAlloc(nullptr, 0x7FFFFFFF), nullptr);
}

TEST(HostFrame, CropViewSharesMemoryAndRefusesWhatLiesOutside) {
  const auto frame = MakeFrame({.channels = 0}, 0);
  const auto extras = QueryAs<IXvFrameExtras>(frame);
  Ptr<IXvFrame> view;
  ASSERT_EQ(extras->CropView(16, 8, 100, 50, view.Receive()), S_OK);
  std::uint32_t size = 0;
  const std::uint8_t *data = nullptr, *whole = nullptr;
  XV_AV_PROPS props{};
  frame->FrameAllGet(nullptr, nullptr, nullptr, nullptr, &size, &whole);
  view->FrameAllGet(nullptr, &props, nullptr, nullptr, &size, &data);
  EXPECT_EQ(data, whole + 8 * 1440 + 32);
  EXPECT_EQ(size, 49u * 1440 + 200);
  EXPECT_TRUE(props.vid.nWidth == 100 && props.vid.nHeight == 50 && props.vid.nRowBytes == 1440);
  for (const auto& r : {std::array{-2, 0, 10, 10},
                        {0, 0, 722, 10},
                        {0, 570, 10, 10},
                        {1, 0, 10, 10},
                        {0, 0, 0, 10}}) {
    EXPECT_EQ(extras->CropView(r[0], r[1], r[2], r[3], view.Receive()), E_INVALIDARG);
  }
}

}  // namespace
}  // namespace xv::test
