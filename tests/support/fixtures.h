#pragma once

#include <gtest/gtest.h>

#include "support/temporary_folder.h"
#include "xvwriter/host.hpp"

// What most tests of recordings begin with.
namespace xv::test {

template <class Base>
class InFolder : public Base {
 protected:
  const TemporaryFolder folder_;
};

using WithFolder = InFolder<testing::Test>;

class WithWriter : public WithFolder {
 protected:
  host::Writer writer_;
};

}  // namespace xv::test
