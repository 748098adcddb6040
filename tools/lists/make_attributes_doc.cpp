// Writes docs/attributes.md, or says with --check whether it is current.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

#include "catalogue/builtin_list.h"
#include "lists/attribute_tables.h"

namespace {

std::string Render() {
  const xv::XMLParse::XMLNodePtr list = xv::XMLParse::CoXMLNode::Create({});
  if (list->ReadXml(xv::BuiltinList()).Failed()) return {};
  return xv::RenderAttributesDoc(xv::AttributeTables(), *list);
}

}  // namespace

int main(int count, char** arguments) {
  const bool check = count == 3 && std::strcmp(arguments[1], "--check") == 0;
  if (count != (check ? 3 : 2)) {
    std::fprintf(stderr, "usage: make_attributes_doc [--check] FILE\n");
    return 2;
  }
  const char* path = arguments[count - 1];
  const std::string text = Render();
  if (!check) {
    std::ofstream out(path, std::ios::binary);
    out << text;
    return out.good() ? 0 : 1;
  }
  std::ifstream in(path, std::ios::binary);
  const std::string there{std::istreambuf_iterator<char>(in), {}};
  if (there == text) return 0;
  std::fprintf(stderr, "%s is not current: run make_attributes_doc %s\n", path, path);
  return 1;
}
