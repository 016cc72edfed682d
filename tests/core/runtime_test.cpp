// What the library does about its own faults: assertions, critical sections, trace lines.

#include "core/assert.h"
#include "core/critical.h"
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

TEST_F(Runtime, ACriticalSectionReportsWhatPthreadsRefuse) {
  pthread_mutexattr_t checking;
  ASSERT_EQ(0, pthread_mutexattr_init(&checking));
  ASSERT_EQ(0, pthread_mutexattr_settype(&checking, PTHREAD_MUTEX_ERRORCHECK));
  pthread_mutex_t mutex;
  ASSERT_EQ(0, pthread_mutex_init(&mutex, &checking));
  EXPECT_EQ("", printed([&] { sysEnterCritical(&mutex); }));
  EXPECT_EQ("pthread_mutex_lock\n", printed([&] { sysEnterCritical(&mutex); }));
  EXPECT_EQ("", printed([&] { sysExitCritical(&mutex); }));
  EXPECT_EQ("pthread_mutex_unlock\n", printed([&] { sysExitCritical(&mutex); }));
  (void)pthread_mutex_destroy(&mutex);
}
