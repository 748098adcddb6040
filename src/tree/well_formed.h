#pragma once

#include <string>
#include <string_view>

// What a document that declares itself XML 1.0 writes in another way than the forgiving text does.
namespace xv::XMLParse {

// Begins with "<?xml" and white space, maybe behind a byte order mark.
bool IsDeclaredXml(std::string_view document);

// A name as XML has names. Any other character than the ASCII letters, digits, ".", "-" and "_",
// and a first one that may not begin a name, becomes "_xHHHH_" (six digits above U+FFFF) after
// ISO/IEC 9075-14; so does a "_" that would read as the start of such an escape.
void AppendXmlName(std::string_view name, std::string* out);
// The name that AppendXmlName was given. What is no escape stays.
std::string PlainName(std::string_view written);

// A value as the text between two tags, or as an attribute in single quotes. White space that
// reading would change becomes a reference, a character that XML cannot hold U+FFFD.
void AppendXmlText(std::string_view value, std::string* out);
void AppendXmlAttributeValue(std::string_view value, std::string* out);

}  // namespace xv::XMLParse
