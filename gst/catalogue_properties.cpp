#include "catalogue_properties.h"

#include <gst/gst.h>

#include <algorithm>
#include <exception>
#include <map>

#include "xvwriter/list.hpp"

namespace xv::gst {
namespace {

// Canonical names have no "_"; what else is no letter or digit becomes "-" too.
std::string PropertyName(const std::string& prefix, const std::string& option) {
  std::string name = prefix + option;
  for (char& c : name) {
    if (!g_ascii_isalnum(c)) c = '-';
  }
  return name;
}

std::string Describe(const host::ListOption& option) {
  std::string text = option.description + " (" + option.type;
  if (!option.values.empty()) text += ": " + option.values;
  if (!option.minimum.empty()) text += ", from " + option.minimum;
  if (!option.maximum.empty()) text += ", up to " + option.maximum;
  return text + ")";
}

// Gathers options, with the formats that have each.
class Gatherer {
 public:
  void Add(const std::string& prefix, const std::string& node, const std::string& format,
           const std::vector<host::ListOption>& options) {
    for (const host::ListOption& option : options) {
      const std::string name = PropertyName(prefix, option.name);
      const auto [place, fresh] = places_.try_emplace(name, properties_.size());
      if (fresh) {
        properties_.push_back({name, node + option.name, Describe(option)});
        formats_.emplace_back();
      }
      std::vector<std::string>& formats = formats_[place->second];
      if (std::find(formats.begin(), formats.end(), format) == formats.end()) {
        formats.push_back(format);
      }
    }
  }

  std::vector<CatalogueProperty> Take() {
    for (std::size_t i = 0; i < properties_.size(); ++i) {
      std::string& text = properties_[i].description;
      text += "; formats:";
      for (const std::string& format : formats_[i]) text += " " + format;
    }
    return std::move(properties_);
  }

 private:
  std::vector<CatalogueProperty> properties_;
  std::vector<std::vector<std::string>> formats_;
  std::map<std::string, std::size_t> places_;
};

void AddCodecs(const host::ServedList& list, const host::ListEntry& entry, const std::string& kind,
               const std::string& format, Gatherer* gatherer) {
  for (const host::ListEntry& codec : list.Entries(entry.path + "::" + kind + "::codec")) {
    gatherer->Add(kind + "-", kind + "::", format, host::CodecOptions(list, codec, kind));
  }
}

}  // namespace

std::vector<CatalogueProperty> ReadCatalogueProperties() try {
  const host::Writer writer;
  const host::ServedList list(writer);
  Gatherer gatherer;
  for (const host::ListEntry& entry : list.Entries("formats::format")) {
    const std::string id = entry.Text("id");
    const std::string format = id.empty() ? "auto" : id;
    gatherer.Add("format-", "", format, list.Declared(entry.path));
    AddCodecs(list, entry, "video", format, &gatherer);
    AddCodecs(list, entry, "audio", format, &gatherer);
  }
  return gatherer.Take();
} catch (const std::exception& failure) {
  g_warning("The catalogue of formats cannot be read: %s", failure.what());
  return {};
}

void InstallCatalogueProperties(GObjectClass* type, guint firstId,
                                std::vector<CatalogueProperty>* properties) {
  std::erase_if(*properties, [type](const CatalogueProperty& property) {
    return g_object_class_find_property(type, property.name.c_str()) != nullptr;
  });
  for (const CatalogueProperty& property : *properties) {
    g_object_class_install_property(
        type, firstId++,
        g_param_spec_string(property.name.c_str(), property.attribute.c_str(),
                            property.description.c_str(), nullptr,
                            static_cast<GParamFlags>(G_PARAM_READWRITE | GST_PARAM_MUTABLE_READY)));
  }
}

}  // namespace xv::gst
