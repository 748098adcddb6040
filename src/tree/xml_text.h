#pragma once

#include <string>
#include <string_view>

// Escapes and quotes of the tree's XML.
namespace xv::XMLParse {

// With & < > as entities.
void AppendEscaped(std::string_view text, std::string* out);

// In single quotes, or in double quotes when the value has a single one; double quotes inside
// become single ones then, since there is no escape inside quotes.
void AppendQuoted(std::string_view value, std::string* out);

// Appends `text` with its entities expanded: &lt; &gt; &amp; &apos; &nbsp; &copy; &reg; &quot; and
// numbers, "&#65;" and "&#x41;", behind which one character is skipped. Any other "&" is dropped.
// Unless `keepControls`, CR, LF and TAB become blanks. With `keepUnknown` any other "&" stays.
void AppendExpanded(std::string_view text, bool keepControls, std::string* out,
                    bool keepUnknown = false);

}  // namespace xv::XMLParse
