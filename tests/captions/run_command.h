#pragma once

#include <cstdio>
#include <string>

namespace xv::test {

// What a shell command prints.
inline std::string RunCommand(const std::string& command) {
  std::string text;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return text;
  char buffer[4096];
  std::size_t read = 0;
  while ((read = fread(buffer, 1, sizeof(buffer), pipe)) > 0) text.append(buffer, read);
  pclose(pipe);
  return text;
}

}  // namespace xv::test
