#include <algorithm>

#include "tree/node.h"
#include "tree/node_impl.h"
#include "tree/well_formed.h"
#include "tree/xml_text.h"

namespace xv::XMLParse {
namespace {

constexpr int kMaxTabs = 64;

class XmlWriter {
 public:
  XmlWriter(int wrap, bool wellFormed) : wrap_(wrap), wellFormed_(wellFormed) {}

  std::string Run(const CoXMLNode& root, int level) {
    if (wellFormed_) {
      out_.append("<?xml version='1.0'?>");
      EndLine(level);
    }
    Open(root, level);
    while (!levels_.empty()) {
      Level& top = levels_.back();
      if (top.next < top.children.size()) {
        const XMLNodePtr child = top.children[top.next++];
        Open(*child, top.level < 0 ? top.level : top.level + 1);
      } else {
        Indent(top.level);
        Close(top.name, top.level);
        levels_.pop_back();
      }
    }
    return std::move(out_);
  }

 private:
  struct Level {
    std::string name;
    int level;
    std::vector<XMLNodePtr> children;
    std::size_t next = 0;
  };

  // Writes the element, but of one with children no more than its head.
  void Open(const CoXMLNode& node, int level) {
    const XMLNodeImpl& impl = XMLNodeImpl::Of(node);
    const ReadLock guard(impl.lock);
    if (impl.hold) return;
    Indent(level);
    out_.append("<");
    WriteName(impl.name);
    WriteAttributes(impl.attributes, level);
    const std::string& value = impl.value.Text();
    if (value.empty() && impl.children.Empty()) {
      out_.append("/>");
      EndLine(level);
      return;
    }
    out_.push_back('>');
    if (wellFormed_) {
      AppendXmlText(value, &out_);
    } else {
      AppendEscaped(value, &out_);
    }
    if (impl.children.Empty()) {
      Close(impl.name, level);
      return;
    }
    EndLine(level);
    levels_.push_back({impl.name, level, {}});
    impl.children.ForEach(
        [&](const XMLNodePtr& child) { levels_.back().children.push_back(child); });
  }

  void WriteAttributes(const ObjectsMap& attributes, int level) {
    attributes.ForEach([&](const XMLAttribute& one) {
      if (wrap_ == 2) {
        out_.append("\r\n");
        Indent(std::max(level + 3, 0));
      } else {
        out_.push_back(' ');
      }
      WriteName(one.name);
      out_.push_back('=');
      const std::string& value = one.value.Text();
      if (wellFormed_) {
        AppendXmlAttributeValue(value, &out_);
      } else {
        AppendQuoted(value, &out_);
      }
    });
  }

  void WriteName(const std::string& name) {
    if (wellFormed_) {
      AppendXmlName(name, &out_);
    } else {
      out_.append(name);
    }
  }

  void Close(const std::string& name, int level) {
    out_.append("</");
    WriteName(name);
    out_.push_back('>');
    EndLine(level);
  }

  void Indent(int level) {
    if (level > 0) out_.append(static_cast<std::size_t>(std::min(level, kMaxTabs)), '\t');
  }

  void EndLine(int level) {
    if (level >= 0) out_.append("\r\n");
  }

  const int wrap_;
  const bool wellFormed_;
  std::string out_;
  std::vector<Level> levels_;
};

}  // namespace

std::string CoXMLNode::WriteXml(const XmlWriteOptions& options) const {
  return XmlWriter(options.wrap, options.wellFormed).Run(*this, options.level);
}

}  // namespace xv::XMLParse
