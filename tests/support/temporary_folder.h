#pragma once

#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

namespace xv::test {

// A fresh folder that goes away with its contents.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "xv-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path_ = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& Path() const { return path_; }
  std::string Path(const std::string& name) const { return path_ + "/" + name; }
  std::string operator/(const std::string& name) const { return Path(name); }
  std::filesystem::path path() const { return path_; }

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

// A variable of the environment, until the end of the scope.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const std::string& value) : name_(name) {
    if (const char* before = getenv(name)) before_ = before;
    setenv(name, value.c_str(), 1);
  }
  ~ScopedVariable() { before_ ? setenv(name_, before_->c_str(), 1) : unsetenv(name_); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  const char* name_;
  std::optional<std::string> before_;
};

// No file of the process grows beyond that while it lives: a write fails where a full disk would,
// after a part of it.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(std::size_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_{};
};

}  // namespace xv::test
