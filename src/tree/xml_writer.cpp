#include <algorithm>

#include "tree/node.h"
#include "tree/node_impl.h"
#include "tree/xml_text.h"

namespace xv::XMLParse {
namespace {

constexpr int kMaxTabs = 64;

class XmlWriter {
 public:
  explicit XmlWriter(int wrap) : wrap_(wrap) {}

  std::string Run(const CoXMLNode& root, int level) {
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
    out_.append("<").append(impl.name);
    WriteAttributes(impl.attributes, level);
    const std::string& value = impl.value.Text();
    if (value.empty() && impl.children.empty()) {
      out_.append("/>");
      EndLine(level);
      return;
    }
    out_.push_back('>');
    AppendEscaped(value, EscapeMode::kText, &out_);
    if (impl.children.empty()) {
      Close(impl.name, level);
      return;
    }
    EndLine(level);
    levels_.push_back({impl.name, level, impl.children});
  }

  void WriteAttributes(const ObjectsMap& attributes, int level) {
    for (std::size_t i = 0; i < attributes.Count(); ++i) {
      if (wrap_ == 2) {
        out_.append("\r\n");
        Indent(std::max(level + 3, 0));
      } else {
        out_.push_back(' ');
      }
      out_.append(attributes.NameAt(i)).push_back('=');
      AppendQuoted(attributes.ValueAt(i).Text(), &out_);
    }
  }

  void Close(const std::string& name, int level) {
    out_.append("</").append(name).push_back('>');
    EndLine(level);
  }

  void Indent(int level) {
    if (level > 0) out_.append(static_cast<std::size_t>(std::min(level, kMaxTabs)), '\t');
  }

  void EndLine(int level) {
    if (level >= 0) out_.append("\r\n");
  }

  const int wrap_;
  std::string out_;
  std::vector<Level> levels_;
};

}  // namespace

std::string CoXMLNode::WriteXml(const XmlWriteOptions& options) const {
  return XmlWriter(options.wrap).Run(*this, options.level);
}

}  // namespace xv::XMLParse
