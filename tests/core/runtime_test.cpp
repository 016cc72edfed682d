// What the library does about its own faults: assertions and trace lines.

#include "core/assert.h"
#include "core/trace.h"
#include "frame/appliance.h"

using Runtime = ApplianceTest;

TEST_F(Runtime, AnAssertionSaysWhereAndEndsTheProcess) {
  sysTrace("%s took %d ms", "it", 7);
  const ChildResult child = inChild([] { sysAssert("unit.c", 12); });
  EXPECT_EQ(SIGABRT, child.signal);
  EXPECT_EQ("unit.c:12 Assertion Failed!\n", child.output);
  EXPECT_EQ((Lines{"<INFO> [SW]   it took 7 ms", "<INFO> [SW]   unit.c:12 Assertion Failed!"}), applianceMessages());
}
