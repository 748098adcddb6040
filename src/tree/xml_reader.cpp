#include <utf8.h>

#include <algorithm>
#include <iterator>
#include <unordered_map>

#include "base/text.h"
#include "tree/attribute_scan.h"
#include "tree/node.h"
#include "tree/node_impl.h"
#include "tree/well_formed.h"
#include "tree/xml_text.h"

namespace xv::XMLParse {
namespace {

// What stands at a "<".
struct Tag {
  enum class Kind { kStart, kSelfClosing, kClosing, kCData };
  Kind kind = Kind::kStart;
  std::string_view name;
  std::string_view rest;  // attributes; of CDATA the text
};

constexpr auto kNone = std::string_view::npos;

// Cuts a document into tags and the text between them. Comments, processing instructions and
// declarations are in neither.
class Tokenizer {
 public:
  explicit Tokenizer(std::string_view text) : text_(text) {}

  // False at the end of the document. Text() is what stood ahead of the tag, or of the end.
  bool Next(Tag* tag) {
    joined_.clear();
    run_ = {};
    while (true) {
      const std::size_t open = text_.find('<', at_);
      AddText(text_.substr(at_, open == kNone ? kNone : open - at_));
      if (open == kNone) return End();
      const std::string_view behind = text_.substr(open + 1, 3);
      if (behind.substr(0, 1) == "?") {
        if (!SkipPast(text_.find('>', open))) return End();
      } else if (behind == "!--") {
        const std::size_t close = text_.find("-->", open + 4);
        if (!SkipPast(close == kNone ? kNone : close + 2)) return End();
      } else if (behind.substr(0, 2) == "![" && text_.find('[', open + 3) != kNone) {
        ReadCData(open, tag);
        return true;
      } else if (behind.substr(0, 1) == "!") {
        at_ = std::min(TagEnd(open + 1) + 1, text_.size());
      } else {
        ReadTag(open, tag);
        return true;
      }
    }
  }

  std::string_view Text() const { return joined_.empty() ? run_ : std::string_view(joined_); }

 private:
  void AddText(std::string_view piece) {
    if (run_.empty() && joined_.empty()) {
      run_ = piece;
      return;
    }
    if (joined_.empty()) joined_ = run_;
    joined_.append(piece);
  }

  bool End() {
    at_ = text_.size();
    return false;
  }

  bool SkipPast(std::size_t last) {
    if (last != kNone) at_ = last + 1;
    return last != kNone;
  }

  // The next ">" outside quotes, or the end of the text.
  std::size_t TagEnd(std::size_t from) const {
    char quote = 0;
    for (std::size_t i = from; i < text_.size(); ++i) {
      const char c = text_[i];
      if (quote != 0) {
        if (c == quote) quote = 0;
      } else if (c == '>') {
        return i;
      } else if (c == '\'' || c == '"') {
        quote = c;
      }
    }
    return text_.size();
  }

  void ReadTag(std::size_t open, Tag* tag) {
    const std::size_t end = TagEnd(open + 1);
    std::string_view inside = text_.substr(open + 1, end - open - 1);
    at_ = std::min(end + 1, text_.size());
    tag->kind = Tag::Kind::kStart;
    if (inside.substr(0, 1) == "/") {
      tag->kind = Tag::Kind::kClosing;
      inside.remove_prefix(1);
    } else if (!inside.empty() && inside.back() == '/') {
      tag->kind = Tag::Kind::kSelfClosing;
      inside.remove_suffix(1);
    }
    const std::size_t nameEnd = FindWordEnd(inside, 0, '/');
    tag->name = inside.substr(0, nameEnd);
    tag->rest = inside.substr(nameEnd);
  }

  // "<![CDATA[" to "]]>"; without that end the text stops six characters ahead of the document's.
  void ReadCData(std::size_t open, Tag* tag) {
    const std::size_t start = text_.find('[', open + 3) + 1;
    std::size_t end = text_.find("]]>", start);
    at_ = end == kNone ? text_.size() : end + 3;
    if (end == kNone) {
      end = text_.size();
      for (int i = 0; i < 6 && end > start; ++i) {
        do {
          --end;
        } while (end > start && (static_cast<std::uint8_t>(text_[end]) & 0xC0) == 0x80);
      }
    }
    tag->kind = Tag::Kind::kCData;
    tag->name = text_.substr(open + 1, start - open - 1);
    tag->rest = text_.substr(start, end - start);
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::string_view run_;
  std::string joined_;  // of a text with a comment in it
};

// Builds a tree that nobody else sees. Levels stand in a vector: the depth of a document is the
// depth of no stack.
class TreeBuilder {
 public:
  TreeBuilder(std::string_view text, const XmlReadOptions& options)
      : tokens_(text), options_(options), declared_(IsDeclaredXml(text)) {}

  // The first element, null when there is none.
  XMLNodePtr Run() {
    Tag tag;
    while (!full_ && !done_) {
      const bool more = tokens_.Next(&tag);
      if (!levels_.empty()) TakeText(tokens_.Text());
      if (!more) break;
      switch (tag.kind) {
        case Tag::Kind::kClosing:
          Close(tag.name);
          break;
        case Tag::Kind::kCData:
          if (!levels_.empty()) SetValue(tag.rest);
          break;
        default:
          Open(tag);
          break;
      }
    }
    return root_;
  }
  bool Full() const { return full_; }

 private:
  struct Level {
    CoXMLNode* node;
    std::string_view tag;
  };

  XMLNodeImpl& Top() { return XMLNodeImpl::Of(*levels_.back().node); }

  void TakeText(std::string_view text) {
    if (!options_.keepOuterBlanks) text = TrimWhiteSpace(text);
    if (!text.empty()) SetValue(text);
  }

  void SetValue(std::string_view text) {
    std::string value;
    AppendExpanded(text, options_.keepControls, &value);
    Top().value = XMLValue::OfText(std::move(value));
  }

  void Open(const Tag& tag) {
    if (tag.name.empty() || !Count()) return;
    XMLNodePtr node = CoXMLNode::Create(ToLower(declared_ ? PlainName(tag.name) : tag.name));
    ObjectsMap& attributes = XMLNodeImpl::Of(*node).attributes;
    ScanAttributes(tag.rest, [&](const ScannedAttribute& one) {
      if (!Count()) return false;
      if (declared_) {
        std::string expanded;
        AppendExpanded(one.value, true, &expanded, true);
        attributes.Set(PlainName(one.name), XMLValue(expanded));
      } else {
        attributes.Set(one.name, XMLValue(one.value));
      }
      return true;
    });
    CoXMLNode* const plain = node.get();
    if (root_) {
      XMLNodeImpl::AttachFresh(*levels_.back().node, std::move(node));
    } else {
      root_ = std::move(node);
    }
    const bool isVoid = EqualsNoCase(tag.name, "br") || EqualsNoCase(tag.name, "tab");
    if (tag.kind == Tag::Kind::kStart && !isVoid) {
      levels_.push_back({plain, tag.name});
      if (counting_) ++open_[ToLower(tag.name)];
    } else {
      done_ = levels_.empty();
    }
  }

  // A closing tag ends the nearest open level of its name and all levels inside it. One that no
  // level waits for is dropped.
  void Close(std::string_view name) {
    if (levels_.empty()) return;
    if (!EqualsNoCase(levels_.back().tag, name)) {
      CountOpen();
      const auto found = open_.find(ToLower(name));
      if (found == open_.end() || found->second == 0) return;
    }
    bool matched = false;
    while (!matched) {
      matched = EqualsNoCase(levels_.back().tag, name);
      if (counting_) --open_[ToLower(levels_.back().tag)];
      levels_.pop_back();
    }
    done_ = levels_.empty();
  }

  // How many levels of each name are open is counted from the first stray tag on, so that a
  // document of stray tags is read in linear time and a proper one pays nothing.
  void CountOpen() {
    if (counting_) return;
    counting_ = true;
    for (const Level& level : levels_) ++open_[ToLower(level.tag)];
  }

  bool Count() {
    full_ = full_ || ++items_ > kMaxItems;
    return !full_;
  }

  Tokenizer tokens_;
  const XmlReadOptions options_;
  const bool declared_;
  XMLNodePtr root_;
  std::vector<Level> levels_;
  std::unordered_map<std::string, std::size_t> open_;
  std::size_t items_ = 0;
  bool counting_ = false;
  bool full_ = false;
  bool done_ = false;
};

}  // namespace

Status CoXMLNode::ReadXml(std::string_view text, const XmlReadOptions& options) {
  if (text.empty()) {
    Clear();
    return E_INVALIDARG;
  }
  // Files may hold anything. Ill-formed UTF-8 becomes U+FFFD, as everywhere.
  std::string replaced;
  if (utf8::find_invalid(text.begin(), text.end()) != text.end()) {
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(replaced));
    text = replaced;
  }
  TreeBuilder builder(text, options);
  const XMLNodePtr root = builder.Run();
  if (root) {
    Rename(root->Name());
    XMLNodeImpl::MoveContent(*root, *this, true);
  } else {
    Clear();
  }
  return builder.Full() ? E_OUTOFMEMORY : S_OK;
}

Status CoXMLNode::ReplaceContent(std::string_view text) {
  const bool markUp = text.find('<') != std::string_view::npos;
  if (!markUp && ChildCount() == 0) {
    SetValue(text);
    return S_OK;
  }
  std::string document = "<temp>";
  document.append(text).append("</temp>");
  TreeBuilder builder(document, {});
  const XMLNodePtr root = builder.Run();
  if (!root) return E_UNEXPECTED;
  XMLNodeImpl::MoveContent(*root, *this, false);
  return builder.Full() ? E_OUTOFMEMORY : S_OK;
}

}  // namespace xv::XMLParse
