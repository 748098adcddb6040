#pragma once

#include <glib-object.h>

#include <string>
#include <vector>

// The options of the writer's catalogue as properties of the element: "format-NAME" of containers,
// "video-NAME" and "audio-NAME" of codecs, each a text that is passed on as the attribute's value.
namespace xv::gst {

struct CatalogueProperty {
  std::string name;         // as GObject takes it: letters, digits and "-"
  std::string attribute;    // of the session: "video::aq_mode"
  std::string description;  // with type, values and bounds, and which formats have it
};

// One property for each option of any format and codec that this machine can write, in the order
// of the catalogue. Empty where the catalogue cannot be read.
std::vector<CatalogueProperty> ReadCatalogueProperties();

// Installs them from `firstId` on; those whose name the class has already are taken off the list.
void InstallCatalogueProperties(GObjectClass* type, guint firstId,
                                std::vector<CatalogueProperty>* properties);

}  // namespace xv::gst
