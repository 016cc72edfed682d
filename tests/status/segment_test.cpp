#include "status/segment.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>

#include "config/handlers.h"
#include "frame/appliance.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

std::atomic_ref<std::uint32_t> lockOf(void* segment) {
  return std::atomic_ref<std::uint32_t>(*static_cast<std::uint32_t*>(segment));
}

// A protocol's segment attached past the library, so that the library does not count it as its own.
struct Other {
  void* const segment;
  explicit Other(const char* path) : segment(shmat(shmget(ftok(path, 'S'), 213064, 0), nullptr, 0)) {}
  ~Other() { (void)shmdt(segment); }
  Other(const Other&) = delete;
  Other& operator=(const Other&) = delete;
};

}  // namespace

using SegmentTest = ApplianceTest;

TEST_F(SegmentTest, OneSegmentPerProtocolSharedByAllProcesses) {
  const char* const paths[] = {"/etc/admin", "/etc/samba", "/etc/nfs", "/etc/nwserv.conf", "/etc/atalk"};
  for (int protocol = 0; protocol < 5; protocol++) {
    auto* const mine = static_cast<char*>(sysAttachShareMem(protocol));
    ASSERT_NE(nullptr, mine) << paths[protocol];
    EXPECT_EQ(mine, sysAttachShareMem(protocol)) << "attached once";
    mine[100] = static_cast<char>('A' + protocol);
    const Other other(paths[protocol]);
    ASSERT_NE(reinterpret_cast<void*>(-1), other.segment) << paths[protocol];
    EXPECT_EQ('A' + protocol, static_cast<const char*>(other.segment)[100]);
    shmid_ds status = {};
    ASSERT_EQ(0, shmctl(shmget(ftok(paths[protocol], 83), 0, 0), IPC_STAT, &status));
    EXPECT_EQ(213064u, status.shm_segsz);
    EXPECT_EQ(0666, status.shm_perm.mode & 0777);
    sysDeAttachShareMem(protocol);
    sysDeAttachShareMem(protocol);  // not attached: nothing happens
    EXPECT_EQ('A' + protocol, static_cast<const char*>(sysAttachShareMem(protocol))[100]) << "it outlives its users";
    sysDeAttachShareMem(protocol);
  }
  for (const int protocol : {5, 6, -1}) {
    EXPECT_EQ(nullptr, sysAttachShareMem(protocol));
    EXPECT_EQ(nullptr, sysLockShareMem(protocol));
    sysUnlockShareMem(protocol);
    sysDeAttachShareMem(protocol);
  }
  EXPECT_EQ(Lines(5, "info Creating new shared memory segment"), systemLog());
}

TEST_F(SegmentTest, NoSegmentWithoutItsPathOrWithAnotherLayout) {
  std::filesystem::rename("/etc/nfs", "/etc/nfs.away");
  EXPECT_EQ(nullptr, sysAttachShareMem(2));
  EXPECT_EQ(-1, Nas1DelConnection(PROTO_NFS, 1));
  EXPECT_EQ(0, Nas1ConnectionCount(PROTO_NFS));
  std::filesystem::rename("/etc/nfs.away", "/etc/nfs");
  EXPECT_EQ(Lines({"info Fail to get shared memory segment", "info Fail to get shared memory segment",
                   "err share memory error", "info Fail to get shared memory segment"}),
            systemLog());

  ASSERT_GE(shmget(ftok("/etc/atalk", 'S'), 4096, IPC_CREAT | 0666), 0);
  EXPECT_EQ(nullptr, sysLockShareMem(4)) << "a segment too small for the table is not touched";
  EXPECT_EQ("info Fail to get shared memory segment", systemLog().back());
}

TEST_F(SegmentTest, LockingTakesTheWordUnlessAlreadyAttached) {
  void* const locked = sysLockShareMem(1);
  ASSERT_NE(nullptr, locked);
  EXPECT_EQ(1u, lockOf(locked).load());
  const Other other("/etc/samba");
  sysUnlockShareMem(1);
  EXPECT_EQ(0u, lockOf(other.segment).load());
  sysUnlockShareMem(1);  // not attached: nothing happens

  // Kept: whoever is attached already gets the segment without the lock, and unlocking detaches it.
  void* const mine = sysAttachShareMem(1);
  EXPECT_EQ(mine, sysLockShareMem(1));
  EXPECT_EQ(0u, lockOf(other.segment).load());
  lockOf(other.segment).store(1);  // another process has it meanwhile
  sysUnlockShareMem(1);
  EXPECT_EQ(0u, lockOf(other.segment).load());
}

TEST_F(SegmentTest, AHeldLockIsWaitedForButNotForEver) {
  sysUnlockShareMem(sysLockShareMem(1) != nullptr ? 1 : -1);
  const Other other("/etc/samba");
  lockOf(other.segment).store(1);  // its holder died
  const auto begin = Clock::now();
  ASSERT_NE(nullptr, sysLockShareMem(1));
  const auto waited = Clock::now() - begin;
  EXPECT_GE(waited, milliseconds(10));
  EXPECT_LT(waited, milliseconds(2000));
  EXPECT_EQ(1u, lockOf(other.segment).load()) << "taken anyway";
  sysUnlockShareMem(1);

  // A second process gives the lock back: the wait ends there, not after the full time. The machine may be busy, so
  // one of several tries has to show it.
  bool endedEarly = false;
  for (int attempt = 0; attempt < 50 && !endedEarly; attempt++) {
    lockOf(other.segment).store(1);
    const pid_t holder = fork();
    if (holder == 0) {
      (void)usleep(1000);
      lockOf(other.segment).store(0);
      _exit(0);
    }
    const auto start = Clock::now();
    ASSERT_NE(nullptr, sysLockShareMem(1));
    endedEarly = Clock::now() - start < milliseconds(8);
    EXPECT_TRUE(!endedEarly || lockOf(other.segment).load() == 1) << "and it is this process's now";
    (void)waitpid(holder, nullptr, 0);
    sysUnlockShareMem(1);
  }
  EXPECT_TRUE(endedEarly);
}

TEST_F(SegmentTest, StatusWordsLiveInTheSystemSegmentAlone) {
  std::uint32_t hardware = 0x80000021;
  std::uint32_t files = 7;
  EXPECT_EQ(0, NasSetConfig("HW_EVENT_STATUS", 4, &hardware));
  EXPECT_EQ(0, Nas1SetConfig(76, 4, &files));
  const Other other("/etc/admin");
  const auto* const words = static_cast<const std::uint32_t*>(other.segment);
  EXPECT_EQ(0x80000021u, words[3]);
  EXPECT_EQ(7u, words[4]);
  EXPECT_EQ(0u, words[0]) << "unlocked";
  EXPECT_EQ(std::nullopt, storedRecord("system.gdbm", "HW_EVENT_STATUS"));
  EXPECT_EQ(std::nullopt, storedRecord("system.gdbm", "FILESYSTEM_STATUS"));

  std::uint32_t word = 0;
  int length = 0;
  EXPECT_EQ(0, NasGetConfig("FILESYSTEM_STATUS", 4, &word, &length));
  EXPECT_EQ(7u, word);
  EXPECT_EQ(4, length);
  const struct {
    int size;
    std::string out;
  } cases[] = {{1, "\x21xxxxxxx"}, {3, std::string("\x21\0\0xxxxx", 8)}, {8, std::string("\x21\0\0\x80xxxx", 8)}};
  for (const auto& c : cases) {
    std::string out(8, 'x');
    EXPECT_EQ(0, get_HW_EVENT_STATUS(c.size, out.data(), nullptr)) << c.size;
    EXPECT_EQ(c.out, out) << c.size;
  }
  EXPECT_EQ(-1, get_HW_EVENT_STATUS(4, nullptr, &length));
  EXPECT_EQ(-1, get_FILESYSTEM_STATUS(-1, &word, &length));
  EXPECT_EQ(-1, set_HW_EVENT_STATUS(4, nullptr));
  EXPECT_EQ(-1, set_FILESYSTEM_STATUS(-1, &word));
  unsigned char oneByte = 0xFE;
  EXPECT_EQ(0, set_HW_EVENT_STATUS(1, &oneByte));
  EXPECT_EQ(0xFEu, words[3]) << "bytes that were not given are zero";
}
