#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace xv::test {

// A fresh folder that goes away with its contents.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "xv-test-XXXXXX").string();
    path_ = mkdtemp(name.data()) == nullptr ? std::string() : name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& Path() const { return path_; }
  std::string Path(const std::string& name) const { return path_ + "/" + name; }

  std::string Write(const std::string& name, const std::string& text) const {
    std::ofstream(Path(name), std::ios::binary) << text;
    return Path(name);
  }
  std::string Read(const std::string& name) const {
    std::ostringstream text;
    text << std::ifstream(Path(name), std::ios::binary).rdbuf();
    return text.str();
  }

 private:
  std::string path_;
};

}  // namespace xv::test
