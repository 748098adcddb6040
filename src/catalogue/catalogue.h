#pragma once

#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "catalogue/hardware_report.h"
#include "catalogue/pruner.h"
#include "tree/node.h"

namespace xv {

// The settings of the list.
inline constexpr Attribute<FilePath> kListPath{
    "config.path",
    kSessionNode,
    "formats_n_codecs_user.xml",
    {},
    "The user's list; it replaces the built-in one. Relative to the folder of the settings file."};
inline constexpr Attribute<bool> kListFull{
    "config.full", kSessionNode, false, {}, "Builds from everything that FFmpeg has."};
inline constexpr Attribute<bool> kListUnicode{
    "config.unicode", kSessionNode, false, {}, "The user's list is UTF-16."};
inline constexpr Attribute<bool> kListUpdate{
    "config.update",
    kSessionNode,
    false,
    {},
    "Builds the list from FFmpeg at every read and saves it as the user's list."};
std::span<const AttributeRow> CatalogueAttributes();

// What can be written on this machine: the list behind the property "supported_list" of a writer.
// It lives in the child "supported_list" of the writer's own node. Settings (CatalogueAttributes)
// come from that node or its child "m_config".
// Thread-safety: safe; reads that come together build once.
class Catalogue {
 public:
  // `own` is the writer's node; without a probe no hardware encoder is offered.
  explicit Catalogue(XMLParse::XMLNodePtr own, HardwareProbe probe = {})
      : own_(std::move(own)), probe_(std::move(probe)) {}

  // Loads the list where there is none yet, builds it anew where it is empty or "config.update" is
  // set, takes out what cannot run and gives the rest as XML on one line.
  Status Read(std::string* xml);
  // The schema entry of "supported_list::formats::format[3]::video::codec[2]::preset" by the list's
  // own links (see listed_info.h); null where there is none. Loads the list where there is none.
  XMLParse::XMLNodePtr FindInfo(std::string_view path);

 private:
  // Brings the list up to date and gives its node. Under lock_.
  XMLParse::XMLNodePtr Build();
  void LoadList(XMLParse::CoXMLNode& list);
  void Rebuild(XMLParse::CoXMLNode& list);
  void SaveList(const XMLParse::CoXMLNode& list);
  // Names a file that cannot be used among what is unavailable.
  void NameFileFault(XMLParse::CoXMLNode& list) const;
  // The writer's own, or that of its child "m_config".
  template <class T>
  auto Setting(const Attribute<T>& key) const;
  Pruner& GetPruner();

  const XMLParse::XMLNodePtr own_;
  const HardwareProbe probe_;
  std::mutex lock_;  // guards what follows and one build at a time; above the nodes' locks
  std::unique_ptr<Pruner> pruner_;
  bool fileIsNoList_ = false;  // the user's file is something else, or cut, and stays as it is
  std::string fileFault_;      // what is wrong with that file; "" for nothing
};

}  // namespace xv
