#pragma once

#include <gmock/gmock.h>

#include "support/temporary_folder.h"
#include "support/vendor/vendor_control.h"

namespace xv::test {

// Stand-ins in the place of the vendors' libraries. At the end their client must have broken no
// rule and given back all that it was given.
class WithVendor : public testing::Test {
 protected:
  WithVendor() { vendor::Reset(); }
  void TearDown() override {
    EXPECT_THAT(vendor::BrokenRules(), testing::IsEmpty());
    EXPECT_THAT(vendor::Held(), testing::IsEmpty());
  }

 private:
  const ScopedVariable folder_{"XVWRITER_VENDOR_FOLDER", VENDOR_FOLDER};
};

// Intel's too: a runtime each for hardware and software, and a render node.
class WithQuick : public WithVendor {
 private:
  const ScopedVariable runtime_{"INTEL_MEDIA_RUNTIME", "MSDK"};
  const ScopedVariable node_{"XVWRITER_RENDER_NODE", "/dev/null"};
};

}  // namespace xv::test
