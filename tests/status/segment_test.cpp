#include "status/segment.h"

#include <atomic>
#include <chrono>

#include "config/handlers.h"
#include "status/raw_segment.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

std::atomic_ref<std::uint32_t> lockOf(const RawSegment& segment) { return std::atomic_ref(segment.words[0]); }

}  // namespace

using SegmentTest = ApplianceTest;

TEST_F(SegmentTest, OneSegmentPerProtocolSharedByAllProcesses) {
  const char* const paths[] = {"/etc/admin", "/etc/samba", "/etc/nfs", "/etc/nwserv.conf", "/etc/atalk"};
  for (int protocol = 0; protocol < 5; protocol++) {
    auto* const mine = static_cast<char*>(sysAttachShareMem(protocol));
    ASSERT_NE(nullptr, mine) << paths[protocol];
    EXPECT_EQ(mine, sysAttachShareMem(protocol)) << "attached once";
    mine[100] = static_cast<char>('A' + protocol);
    const RawSegment other(paths[protocol]);
    EXPECT_EQ('A' + protocol, other.bytes()[100]);
    shmid_ds status = {};
    ASSERT_EQ(0, shmctl(shmget(ftok(paths[protocol], 83), 0, 0), IPC_STAT, &status));
    EXPECT_EQ(213064u, status.shm_segsz);
    EXPECT_EQ(0666, status.shm_perm.mode & 0777);
    sysDeAttachShareMem(protocol);
    EXPECT_EQ('A' + protocol, static_cast<const char*>(sysAttachShareMem(protocol))[100]) << "it outlives its users";
    sysDeAttachShareMem(protocol);
  }
  for (const int protocol : {5, -1}) EXPECT_EQ(nullptr, sysLockShareMem(protocol));
  EXPECT_EQ(Lines(5, "info Creating new shared memory segment"), systemLog());
}

TEST_F(SegmentTest, NoSegmentWithoutItsPathOrWithAnotherLayout) {
  const std::string failed = "info Fail to get shared memory segment";
  {
    const MovedAway path("/etc/nfs");
    EXPECT_EQ(nullptr, sysAttachShareMem(2));
    EXPECT_EQ((Results{-1, 0}), (Results{Nas1DelConnection(PROTO_NFS, 1), Nas1ConnectionCount(PROTO_NFS)}));
  }
  EXPECT_EQ((Lines{failed, failed, "err share memory error", failed}), systemLog());
  ASSERT_GE(shmget(ftok("/etc/atalk", 'S'), 4096, IPC_CREAT | 0666), 0);
  EXPECT_EQ(nullptr, sysLockShareMem(4)) << "a segment too small for the table is not touched";
  EXPECT_EQ(failed, systemLog().back());
}

TEST_F(SegmentTest, LockingTakesTheWordUnlessAlreadyAttached) {
  void* const locked = sysLockShareMem(1);
  ASSERT_NE(nullptr, locked);
  const RawSegment other("/etc/samba");
  EXPECT_EQ(1u, lockOf(other).load());
  sysUnlockShareMem(1);
  EXPECT_EQ(0u, lockOf(other).load());

  // Kept: whoever is attached already gets the segment without the lock, and unlocking detaches it.
  void* const mine = sysAttachShareMem(1);
  EXPECT_EQ(mine, sysLockShareMem(1));
  EXPECT_EQ(0u, lockOf(other).load());
  lockOf(other).store(1);  // another process has it meanwhile
  sysUnlockShareMem(1);
  EXPECT_EQ(0u, lockOf(other).load());
}

TEST_F(SegmentTest, AHeldLockIsWaitedForButNotForEver) {
  sysUnlockShareMem(sysLockShareMem(1) != nullptr ? 1 : -1);
  const RawSegment other("/etc/samba");
  lockOf(other).store(1);  // its holder died
  const auto begin = Clock::now();
  ASSERT_NE(nullptr, sysLockShareMem(1));
  const auto waited = Clock::now() - begin;
  EXPECT_GE(waited, milliseconds(10));
  EXPECT_LT(waited, milliseconds(2000));
  EXPECT_EQ(1u, lockOf(other).load()) << "taken anyway";
  sysUnlockShareMem(1);

  // A second process gives the lock back: the wait ends there, not after the full time. The machine may be busy, so
  // one of several tries has to show it.
  bool endedEarly = false;
  for (int attempt = 0; attempt < 50 && !endedEarly; attempt++) {
    lockOf(other).store(1);
    Processes holder;
    holder.start([&] {
      (void)usleep(1000);
      lockOf(other).store(0);
    });
    const auto start = Clock::now();
    ASSERT_NE(nullptr, sysLockShareMem(1));
    endedEarly = Clock::now() - start < milliseconds(8);
    EXPECT_TRUE(!endedEarly || lockOf(other).load() == 1) << "and it is this process's now";
    (void)holder.failed();
    sysUnlockShareMem(1);
  }
  EXPECT_TRUE(endedEarly);
}

TEST_F(SegmentTest, StatusWordsLiveInTheSystemSegmentAlone) {
  std::uint32_t hardware = 0x80000021;
  std::uint32_t files = 7;
  EXPECT_EQ(0, NasSetConfig("HW_EVENT_STATUS", 4, &hardware));
  EXPECT_EQ(0, Nas1SetConfig(76, 4, &files));
  const RawSegment other("/etc/admin");
  EXPECT_EQ(0x80000021u, other.words[3]);
  EXPECT_EQ(7u, other.words[4]);
  EXPECT_EQ(0u, other.words[0]) << "unlocked";
  EXPECT_EQ(Lines{}, storedKeys("system.gdbm"));

  for (const int size : {1, 3, 8}) {
    std::string out(8, 'x');
    EXPECT_EQ(0, get_HW_EVENT_STATUS(size, out.data(), nullptr)) << size;
    const std::size_t given = static_cast<std::size_t>(std::min(size, 4));
    EXPECT_EQ(bytesOf(hardware).substr(0, given) + std::string(8 - given, 'x'), out) << size;
  }
  unsigned char oneByte = 0xFE;
  EXPECT_EQ(0, set_HW_EVENT_STATUS(1, &oneByte));
  EXPECT_EQ(0xFEu, other.words[3]) << "bytes that were not given are zero";
}
