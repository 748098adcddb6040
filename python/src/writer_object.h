#pragma once

#include <pybind11/pybind11.h>
#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "frame_draft.h"
#include "xvwriter/host.hpp"

namespace xv::python {

// What a node of the properties has: name, text, whether something is below it.
using Child = std::tuple<std::string, std::string, bool>;

// A writer as the package's Python part calls it. Results are statuses. Any thread; all that calls
// the library gives the interpreter's lock up meanwhile, since a thread of the library may wait for
// it to let a buffer go.
//
// A child made by fork() has none of the writer's threads: there every operation throws
// RuntimeError and the end of the object does nothing, so that the parent's recording is left
// alone.
class WriterObject {
 public:
  WriterObject();
  ~WriterObject();
  WriterObject(const WriterObject&) = delete;
  WriterObject& operator=(const WriterObject&) = delete;

  HRESULT Start(const std::string& target, const std::string& attributes);
  HRESULT Put(FrameDraft& draft);
  HRESULT Stop();
  HRESULT StopAtOnce();

  // Properties. Nothing where there is no such property or node.
  [[nodiscard]] std::optional<std::string> Get(const std::string& name) const;
  HRESULT Set(const std::string& name, const std::string& value);
  HRESULT Remove(const std::string& name);
  HRESULT Merge(const std::string& path, const std::string& text);
  [[nodiscard]] std::optional<std::vector<Child>> Children(const std::string& node) const;

  [[nodiscard]] pybind11::dict Statistics() const;

  // The writer behind, in the process that made it.
  [[nodiscard]] host::Writer& Own() const;

 private:
  const pid_t process_;
  std::unique_ptr<host::Writer> writer_;
};

}  // namespace xv::python
