#include "writer_sink.h"

#include <map>
#include <string>

#include "bus_messages.h"
#include "catalogue_properties.h"
#include "sink_core.h"
#include "sink_pads.h"

namespace xv::gst {
namespace {

struct XvWriterSink {
  GstElement parent;
  SinkCore* core;
  // Under the object's lock.
  RecordingTarget* target;
  std::map<guint, std::string>* catalogueValues;
  guint64 maxWait;  // nanoseconds
  gboolean async;
};

struct XvWriterSinkClass {
  GstElementClass parent;
};

// Programs set tags of their own by the interface of the tag setter, which has no operations.
G_DEFINE_TYPE_WITH_CODE(XvWriterSink, xv_writer_sink, GST_TYPE_ELEMENT,
                        G_IMPLEMENT_INTERFACE(GST_TYPE_TAG_SETTER, nullptr))

enum PropertyId : guint {
  kLocation = 1,
  kAttributes,
  kFormat,
  kVideoCodec,
  kAudioCodec,
  kMaxWait,
  kAsync,
  kStats,
  kFirstOfCatalogue,
};

constexpr const char* kVideoPad = "video";

std::vector<CatalogueProperty>& Catalogue() {
  static std::vector<CatalogueProperty> properties;
  return properties;
}

XvWriterSink* SinkOf(gpointer object) { return static_cast<XvWriterSink*>(object); }

// The guard of the object's lock.
class ObjectLock {
 public:
  explicit ObjectLock(gpointer object) : object_(GST_OBJECT(object)) { GST_OBJECT_LOCK(object_); }
  ~ObjectLock() { GST_OBJECT_UNLOCK(object_); }
  ObjectLock(const ObjectLock&) = delete;
  ObjectLock& operator=(const ObjectLock&) = delete;

 private:
  GstObject* const object_;
};

// --- properties ---

std::string* TextOf(XvWriterSink* sink, guint id) {
  switch (id) {
    case kLocation:
      return &sink->target->location;
    case kAttributes:
      return &sink->target->attributes;
    case kFormat:
      return &sink->target->format;
    case kVideoCodec:
      return &sink->target->videoCodec;
    case kAudioCodec:
      return &sink->target->audioCodec;
    default:
      return nullptr;
  }
}

void SetProperty(GObject* object, guint id, const GValue* value, GParamSpec* spec) {
  XvWriterSink* sink = SinkOf(object);
  const ObjectLock lock(object);
  if (id == kMaxWait) {
    sink->maxWait = g_value_get_uint64(value);
    return;
  }
  if (id == kAsync) {
    sink->async = g_value_get_boolean(value);
    return;
  }
  const char* given = g_value_get_string(value);
  const std::string text = given != nullptr ? given : "";
  if (std::string* place = TextOf(sink, id)) {
    *place = text;
  } else if (id >= kFirstOfCatalogue) {
    if (text.empty()) {
      sink->catalogueValues->erase(id);
    } else {
      (*sink->catalogueValues)[id] = text;
    }
  } else {
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

void GetProperty(GObject* object, guint id, GValue* value, GParamSpec* spec) {
  XvWriterSink* sink = SinkOf(object);
  if (id == kStats) {
    g_value_take_boxed(value, StatisticsStructure(sink->core->Stats(), false));
    return;
  }
  const ObjectLock lock(object);
  if (id == kMaxWait) {
    g_value_set_uint64(value, sink->maxWait);
  } else if (id == kAsync) {
    g_value_set_boolean(value, sink->async);
  } else if (const std::string* text = TextOf(sink, id)) {
    g_value_set_string(value, text->empty() ? nullptr : text->c_str());
  } else if (id >= kFirstOfCatalogue) {
    const auto found = sink->catalogueValues->find(id);
    const bool given = found != sink->catalogueValues->end();
    g_value_set_string(value, given ? found->second.c_str() : nullptr);
  } else {
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
}

// What the properties say. False for a value that no attribute text can hold; `why` names it.
bool ReadTarget(XvWriterSink* sink, RecordingTarget* target, std::string* why) {
  const ObjectLock lock(sink);
  *target = *sink->target;
  for (const auto& [id, value] : *sink->catalogueValues) {
    const CatalogueProperty& property = Catalogue().at(id - kFirstOfCatalogue);
    const auto text = host::Attribute(property.attribute, value);
    if (!text) {
      *why = property.name;
      return false;
    }
    target->properties += " " + *text;
  }
  return true;
}

// --- pads ---

GstPad* RequestPad(GstElement* element, GstPadTemplate* pad, const gchar* name, const GstCaps*) {
  const bool isSound = std::string(GST_PAD_TEMPLATE_NAME_TEMPLATE(pad)) != kVideoPad;
  std::string padName = name != nullptr ? name : kVideoPad;
  if (isSound && name == nullptr) {
    const ObjectLock lock(element);
    guint number = 0;
    const auto taken = [&] {
      return g_list_find_custom(element->sinkpads, padName.c_str(), [](auto p, auto n) {
               return g_strcmp0(GST_PAD_NAME(p), static_cast<const char*>(n));
             }) != nullptr;
    };
    do padName = "audio_" + std::to_string(number++);
    while (taken());
  }
  if (GstPad* there = gst_element_get_static_pad(element, padName.c_str())) {
    gst_object_unref(there);
    return nullptr;  // one picture only, and each name once
  }
  GstPad* made = MakeSinkPad(pad, padName.c_str(), isSound, SinkOf(element)->core);
  if (GST_STATE(element) > GST_STATE_READY) gst_pad_set_active(made, TRUE);
  gst_element_add_pad(element, made);
  return made;
}

void ReleasePad(GstElement* element, GstPad* pad) {
  ReleaseSinkPad(pad);
  gst_pad_set_active(pad, FALSE);
  gst_element_remove_pad(element, pad);
}

// --- states ---

bool Begin(XvWriterSink* sink) {
  RecordingTarget target;
  std::string why;
  if (!ReadTarget(sink, &target, &why)) {
    GST_ELEMENT_ERROR(sink, RESOURCE, SETTINGS,
                      ("%s has a value that cannot be told.", why.c_str()),
                      ("Both kinds of quotes together with blanks."));
    return false;
  }
  if (target.location.empty()) {
    GST_ELEMENT_ERROR(sink, RESOURCE, NOT_FOUND, ("There is no location to write to."),
                      ("Set the property \"location\"."));
    return false;
  }
  const bool async = sink->async != FALSE;
  if (async) gst_element_post_message(&sink->parent, gst_message_new_async_start(GST_OBJECT(sink)));
  sink->core->Begin(std::move(target), sink->maxWait, async);
  return true;
}

GstStateChangeReturn ChangeState(GstElement* element, GstStateChange change) {
  SinkCore* core = SinkOf(element)->core;
  const bool starts = change == GST_STATE_CHANGE_READY_TO_PAUSED;
  if (starts && !Begin(SinkOf(element))) return GST_STATE_CHANGE_FAILURE;
  if (change == GST_STATE_CHANGE_PAUSED_TO_PLAYING) core->AwaitCommit();
  if (change == GST_STATE_CHANGE_PLAYING_TO_PAUSED) core->SetPlaying(false);
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) core->Interrupt();
  const GstStateChangeReturn result =
      GST_ELEMENT_CLASS(xv_writer_sink_parent_class)->change_state(element, change);
  if (change == GST_STATE_CHANGE_PAUSED_TO_READY) (void)core->Finish();
  if (result == GST_STATE_CHANGE_FAILURE) return result;
  if (change == GST_STATE_CHANGE_PAUSED_TO_PLAYING) core->SetPlaying(true);
  return starts && SinkOf(element)->async ? GST_STATE_CHANGE_ASYNC : result;
}

// --- events and queries of the whole element ---

// Upstream, on each pad: every source hears of a seek, of latency and of quality.
gboolean SendEvent(GstElement* element, GstEvent* event) {
  const auto type = static_cast<int>(GST_EVENT_TYPE(event));
  if ((type & GST_EVENT_TYPE_DOWNSTREAM) != 0) {
    return GST_ELEMENT_CLASS(xv_writer_sink_parent_class)->send_event(element, event);
  }
  gboolean sent = FALSE;
  const auto push = [](GstElement*, GstPad* pad, gpointer data) -> gboolean {
    const auto& [given, any] = *static_cast<std::pair<GstEvent*, gboolean*>*>(data);
    if (gst_pad_push_event(pad, gst_event_ref(given))) *any = TRUE;
    return TRUE;
  };
  std::pair<GstEvent*, gboolean*> all(event, &sent);
  gst_element_foreach_sink_pad(element, push, &all);
  gst_event_unref(event);
  return sent;
}

struct Latency {
  gboolean live = FALSE;
  GstClockTime least = 0;
  GstClockTime most = GST_CLOCK_TIME_NONE;
};

gboolean AddLatency(GstElement*, GstPad* pad, gpointer data) {
  auto* sum = static_cast<Latency*>(data);
  GstQuery* query = gst_query_new_latency();
  Latency one;
  if (gst_pad_peer_query(pad, query)) {
    gst_query_parse_latency(query, &one.live, &one.least, &one.most);
  }
  gst_query_unref(query);
  if (one.live == FALSE) return TRUE;
  sum->live = TRUE;
  sum->least = MAX(sum->least, one.least);
  sum->most = MIN(sum->most, one.most);  // "none" is the largest number
  return TRUE;
}

gboolean AnswerPosition(SinkCore* core, GstQuery* query) {
  GstFormat format = GST_FORMAT_UNDEFINED;
  gst_query_parse_position(query, &format, nullptr);
  const GstClockTime position = core->Position();
  if (format != GST_FORMAT_TIME || !GST_CLOCK_TIME_IS_VALID(position)) return FALSE;
  gst_query_set_position(query, format, static_cast<gint64>(position));
  return TRUE;
}

gboolean Query(GstElement* element, GstQuery* query) {
  if (GST_QUERY_TYPE(query) == GST_QUERY_POSITION) {
    if (AnswerPosition(SinkOf(element)->core, query)) return TRUE;
  }
  if (GST_QUERY_TYPE(query) == GST_QUERY_LATENCY) {
    Latency sum;
    gst_element_foreach_sink_pad(element, AddLatency, &sum);
    gst_query_set_latency(query, sum.live, sum.least, sum.most);
    return TRUE;
  }
  return GST_ELEMENT_CLASS(xv_writer_sink_parent_class)->query(element, query);
}

// --- the class ---

void Finalize(GObject* object) {
  XvWriterSink* sink = SinkOf(object);
  delete sink->core;
  delete sink->target;
  delete sink->catalogueValues;
  G_OBJECT_CLASS(xv_writer_sink_parent_class)->finalize(object);
}

void InstallText(GObjectClass* type, guint id, const char* name, const char* nick,
                 const char* blurb) {
  const auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                              GST_PARAM_MUTABLE_READY);
  g_object_class_install_property(type, id, g_param_spec_string(name, nick, blurb, nullptr, flags));
}

void InstallProperties(GObjectClass* type) {
  InstallText(type, kLocation, "location", "Location", "File or URL that is written");
  InstallText(
      type, kAttributes, "attributes", "Attributes",
      "Attributes of the recording as one text, such as \"video::codec=libx264 video::b=5M\"; "
      "they win over the other properties");
  InstallText(
      type, kFormat, "format", "Format",
      "Container: id or name of an entry of the catalogue, with its presets; without it the "
      "location's extension says which");
  InstallText(type, kVideoCodec, "video-codec", "Video codec",
              "Id or name of an entry of the format's video codecs, with its presets");
  InstallText(type, kAudioCodec, "audio-codec", "Audio codec",
              "Id or name of an entry of the format's audio codecs, with its presets");
  g_object_class_install_property(
      type, kMaxWait,
      g_param_spec_uint64("max-wait", "Longest wait",
                          "Nanoseconds that a live source which gives nothing is waited for", 0,
                          G_MAXINT64, GST_SECOND,
                          static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS)));
  g_object_class_install_property(
      type, kAsync,
      g_param_spec_boolean("async", "Asynchronous", "Reach PAUSED with the first data only", TRUE,
                           static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS)));
  g_object_class_install_property(
      type, kStats,
      g_param_spec_boxed("stats", "Statistics", "What the writer counts, as of now",
                         GST_TYPE_STRUCTURE,
                         static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS)));
  Catalogue() = ReadCatalogueProperties();
  InstallCatalogueProperties(type, kFirstOfCatalogue, &Catalogue());
}

void AddTemplate(GstElementClass* type, const char* name, GstCaps* caps) {
  gst_element_class_add_pad_template(
      type, gst_pad_template_new(name, GST_PAD_SINK, GST_PAD_REQUEST, caps));
  gst_caps_unref(caps);
}

void xv_writer_sink_class_init(XvWriterSinkClass* type) {
  auto* object = G_OBJECT_CLASS(type);
  object->set_property = SetProperty;
  object->get_property = GetProperty;
  object->finalize = Finalize;
  auto* element = GST_ELEMENT_CLASS(type);
  element->request_new_pad = RequestPad;
  element->release_pad = ReleasePad;
  element->change_state = ChangeState;
  element->send_event = SendEvent;
  element->query = Query;
  InstallProperties(object);
  AddTemplate(element, kVideoPad, PictureTemplateCaps());
  AddTemplate(element, "audio_%u", SoundTemplateCaps());
  gst_element_class_set_static_metadata(
      element, "XvWriterFFM recorder", "Sink/Video/Audio/File",
      "Encodes, multiplexes and writes pictures and sound through XvWriterFFM",
      "XvWriterFFM developers");
}

void xv_writer_sink_init(XvWriterSink* sink) {
  sink->core = new SinkCore(GST_ELEMENT(sink));
  sink->target = new RecordingTarget;
  sink->catalogueValues = new std::map<guint, std::string>;
  sink->maxWait = GST_SECOND;
  sink->async = TRUE;
  GST_OBJECT_FLAG_SET(sink, GST_ELEMENT_FLAG_SINK);
}

}  // namespace

GType WriterSinkType() { return xv_writer_sink_get_type(); }

}  // namespace xv::gst
