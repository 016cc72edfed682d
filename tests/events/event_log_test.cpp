#include "events/event_log.h"

#include <sys/file.h>
#include <sys/sem.h>

#include "frame/appliance.h"

namespace {

constexpr char kLog[] = "/var/log/nas1log";
constexpr std::size_t kLimit = 1048576;
constexpr std::size_t kKept = 1038336;

volatile sig_atomic_t hangUps = 0;
void countHangUp(int) { hangUps = hangUps + 1; }

LogRecord recordOf(const std::string& message) {
  LogRecord record = {};
  record.level = LOG_LEVEL_INFO;
  record.category = LOG_CATEGORY_KERN;
  (void)message.copy(record.message, sizeof record.message - 1);
  return record;
}

// Whole numbered lines, then one without its end so that there are exactly `size` bytes.
std::string numberedLines(std::size_t size) {
  std::string text;
  for (int i = 0; text.size() < size; i++) text += "old line " + std::to_string(i) + "\n";
  text.resize(size);
  return text;
}

}  // namespace

using EventLogTest = ApplianceTest;

TEST_F(EventLogTest, LinesCarryTimeInTheZoneAndPaddedTags) {
  setDefaults("TIME_ZONE JST-9\n");
  LogRecord record = recordOf("direct");
  (void)nas_time(nullptr);
  EXPECT_EQ(0, LogFile(&record));
  EXPECT_EQ(Lines{"Thu Jan  1 09:00:00 1970 <INFO> [KERN] direct"}, applianceLog());

  ASSERT_EQ(0, unlink(kLog));
  const Lines levels = {"<INFO> ", "<WARN> ", "<ERR>  ", "<CRIT> ", "<ACCESS> "};
  const Lines categories = {"[KERN] ", "[HW]   ", "[SW]   ", "[HD]   ", "[NW]   ", "[UPS]  ",
                            "[CIFS] ", "[NFS]  ", "[NCP]  ", "[AFP]  ", "[DIS]  "};
  Lines expected;
  for (unsigned i = 0; i < categories.size(); ++i) {
    const unsigned level = i % 5;
    (void)nas1_log(level, i, "%u and %u", level, i);
    expected.push_back(levels[level] + categories[i] + std::to_string(level) + " and " + std::to_string(i));
  }
  EXPECT_EQ(expected, applianceMessages());
}

TEST_F(EventLogTest, EveryLineEndsOnceAndUnknownTagsWriteNone) {
  errno = ENOENT;
  (void)nas1_log(LOG_LEVEL_ERR, LOG_CATEGORY_SW, "%m: %s\n", "own newline");
  EXPECT_EQ(ENOENT, errno) << "callers look at errno after they have logged";
  (void)nas1_log(5, 0, "x");
  (void)nas1_log(0, 11, "x");
  const std::string longText(3000, 'm');
  (void)nas1_log(LOG_LEVEL_INFO, LOG_CATEGORY_SW, "%s\n", longText.c_str());
  LogRecord unterminated = recordOf("");
  std::memset(unterminated.message, 'u', sizeof unterminated.message);
  EXPECT_EQ(0, LogFile(&unterminated));
  (void)nas1_log(LOG_LEVEL_INFO, LOG_CATEGORY_SW, "%s", "");
  EXPECT_EQ((Lines{"<ERR>  [SW]   No such file or directory: own newline", "<INFO> [SW]   " + longText.substr(0, 275),
                   "<INFO> [KERN] " + std::string(276, 'u'), "<INFO> [SW]   "}),
            applianceMessages());
  EXPECT_TRUE(readFile(kLog).value().ends_with('\n'));
  EXPECT_EQ(SIGABRT, inChild([] { (void)LogFile(nullptr); }).signal);
}

TEST_F(EventLogTest, TheMonitorDaemonIsToldBeforeTheLevelIsLookedAt) {
  const auto before = std::signal(SIGHUP, countHangUp);
  const auto told = [](unsigned level) {
    hangUps = 0;
    (void)nas1_log(level, LOG_CATEGORY_SW, "text");
    return hangUps == 1;
  };
  EXPECT_FALSE(told(0)) << "no daemon";
  setMonitorDaemon(getpid());
  EXPECT_TRUE(told(0));
  EXPECT_TRUE(told(5)) << "but not written";
  setMonitorDaemon(-1);  // kill() would take it for every process there is
  EXPECT_FALSE(told(0));
  setMonitorDaemon(getpid());
  refuseDriverRequest(0x4809);
  EXPECT_FALSE(told(0)) << "refused";
  EXPECT_EQ(Lines(5, "0x4809"), driverRequests());
  {
    const MovedAway driver("/dev/nas1");
    EXPECT_EQ(-1, GetDaemonPid());
    EXPECT_FALSE(told(0)) << "no driver";
  }
  EXPECT_EQ(Lines(5, "<INFO> [SW]   text"), applianceMessages());
  (void)std::signal(SIGHUP, before);
}

TEST_F(EventLogTest, WithoutTheFileLinesGoToTheSystemLogAsTheyAre) {
  ASSERT_EQ(0, mkdir(kLog, 0700));
  const LogRecord record = recordOf("100% full %s%n 50%% done %");
  (void)nas_time(nullptr);
  EXPECT_EQ(0, LogFile(&record));
  EXPECT_EQ(Lines{"info Thu Jan  1 00:00:00 1970 <INFO> [KERN] 100% full %s%n 50% done %"}, systemLog());
  ASSERT_EQ(0, rmdir(kLog));
  EXPECT_EQ(0, LogFile(&record)) << "the semaphore was given back";
  EXPECT_EQ(1u, applianceLog().size());
}

TEST_F(EventLogTest, TrimsToTheFirstWholeLineOfWhatIsKept) {
  const LogRecord record = recordOf("newest");
  (void)nas_time(nullptr);
  ASSERT_EQ(0, LogFile(&record));
  const std::string line = readFile(kLog).value();
  for (const std::size_t size : {kLimit, kLimit + 1}) {
    const std::string before = numberedLines(size - line.size() - 1) + "\n";
    writeFile(kLog, before);
    ASSERT_EQ(0, LogFile(&record));
    std::string expected = before + line;
    if (size > kLimit) expected.erase(0, expected.find('\n', size - kKept) + 1);
    EXPECT_TRUE(expected == readFile(kLog).value()) << size;
  }
  // A newline exactly at the first byte looked at ends what is dropped.
  const std::string noLines(kLimit + 1, 'x');
  writeFile(kLog, std::string(noLines).replace(kLimit + 1 - kKept, 1, "\n"));
  EXPECT_EQ(0, AdjustFile(kLimit + 1));
  EXPECT_EQ(kKept - 1, readFile(kLog).value().size());
  for (const std::string& content : {noLines, std::string("shorter\nthan said\n")}) {
    writeFile(kLog, content);
    EXPECT_EQ(-1, AdjustFile(kLimit + 1));
    EXPECT_TRUE(content == readFile(kLog).value());
  }
}

TEST_F(EventLogTest, NoDeadOrStoppedWriterBlocksTheLog) {
  (void)nas1_log(LOG_LEVEL_INFO, LOG_CATEGORY_SW, "first");
  const int semaphore = semget(ftok("/etc/syslog.conf", 'n'), 1, 0);
  ASSERT_GE(semaphore, 0) << "made by the first line, under the agreed key";
  EXPECT_EQ(1, semctl(semaphore, 0, GETVAL)) << "free between lines";
  ASSERT_EQ(0, semctl(semaphore, 0, SETVAL, 0));
  (void)nas1_log(LOG_LEVEL_INFO, LOG_CATEGORY_SW, "semaphore left taken");
  EXPECT_EQ(1, semctl(semaphore, 0, GETVAL));
  {
    const MovedAway key("/etc/syslog.conf");
    (void)nas1_log(LOG_LEVEL_INFO, LOG_CATEGORY_SW, "no semaphore");
  }
  EXPECT_EQ((Lines{"<INFO> [SW]   first", "<INFO> [SW]   semaphore left taken", "<INFO> [SW]   no semaphore"}),
            applianceMessages());

  writeFile(kLog, numberedLines(kLimit) + "\n");
  const int stopped = open(kLog, O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(0, flock(stopped, LOCK_EX));
  (void)nas1_log(LOG_LEVEL_INFO, LOG_CATEGORY_SW, "file held");
  EXPECT_EQ("<INFO> [SW]   file held", applianceMessages().back());
  EXPECT_GT(readFile(kLog).value().size(), kLimit) << "the holder may be trimming already";
  (void)close(stopped);
  (void)nas1_log(LOG_LEVEL_INFO, LOG_CATEGORY_SW, "file free");
  EXPECT_EQ("<INFO> [SW]   file free", applianceMessages().back());
  EXPECT_LT(readFile(kLog).value().size(), kLimit);
}

TEST_F(EventLogTest, TheZoneOfTheProcessFollowsTheConfiguration) {
  const std::string longest(600, 'z');  // stored without a NUL, longer than what is read
  storeRecord("system.gdbm", "TIME_ZONE", longest);
  (void)nas_time(nullptr);
  const char* const first = std::getenv("TZ");
  ASSERT_EQ(longest.substr(0, 511), first);
  (void)nas_time(nullptr);
  EXPECT_EQ(first, std::getenv("TZ")) << "an equal zone is left alone";
}
