#include "events/event_log.h"

#include <cstdarg>

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

int viaList(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = vNas1Log(LOG_LEVEL_ACCESS, LOG_CATEGORY_DIS, format, arguments);
  va_end(arguments);
  return result;
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
  for (unsigned level = 0; level < levels.size(); level++) {
    for (unsigned category = 0; category < categories.size(); category++) {
      (void)nas1_log(level, category, "%u and %u", level, category);
      expected.push_back(levels[level] + categories[category] + std::to_string(level) + " and " +
                         std::to_string(category));
    }
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
  EXPECT_EQ(0, viaList("%d of %s", 7, "a list"));
  LogRecord unterminated = recordOf("");
  std::memset(unterminated.message, 'u', sizeof unterminated.message);
  EXPECT_EQ(0, LogFile(&unterminated));
  (void)nas1_log(LOG_LEVEL_INFO, LOG_CATEGORY_SW, "%s", "");
  EXPECT_EQ((Lines{"<ERR>  [SW]   No such file or directory: own newline", "<INFO> [SW]   " + longText.substr(0, 275),
                   "<ACCESS> [DIS]  7 of a list", "<INFO> [KERN] " + std::string(276, 'u'), "<INFO> [SW]   "}),
            applianceMessages());
  EXPECT_TRUE(readFile(kLog).value().ends_with('\n'));

  const ChildResult child = inChild([] { (void)LogFile(nullptr); });
  EXPECT_EQ(SIGABRT, child.signal);
  EXPECT_TRUE(child.output.starts_with("eventlog.c:")) << child.output;
}

TEST_F(EventLogTest, TheMonitorDaemonIsToldBeforeTheLevelIsLookedAt) {
  const auto before = std::signal(SIGHUP, countHangUp);
  const auto told = [](unsigned level, const char* text) {
    hangUps = 0;
    (void)nas1_log(level, LOG_CATEGORY_SW, "%s", text);
    return hangUps == 1;
  };
  EXPECT_FALSE(told(0, "no daemon"));
  setMonitorDaemon(getpid());
  EXPECT_EQ(getpid(), GetDaemonPid());
  EXPECT_TRUE(told(0, "told"));
  EXPECT_TRUE(told(5, "told, not written"));
  setMonitorDaemon(-1);  // kill() would take it for every process there is
  EXPECT_FALSE(told(0, "no such daemon"));
  setMonitorDaemon(getpid());
  refuseDriverRequest(0x4809);
  EXPECT_EQ(0, GetDaemonPid());
  EXPECT_FALSE(told(0, "refused"));
  LogRecord record = recordOf("the record alone");
  (void)LogFile(&record);
  EXPECT_EQ(Lines(7, "0x4809"), driverRequests());
  {
    const MovedAway driver("/dev/nas1");
    EXPECT_EQ(-1, GetDaemonPid());
    EXPECT_FALSE(told(0, "no driver"));
  }
  EXPECT_EQ((Lines{"<INFO> [SW]   no daemon", "<INFO> [SW]   told", "<INFO> [SW]   no such daemon",
                   "<INFO> [SW]   refused", "<INFO> [KERN] the record alone", "<INFO> [SW]   no driver"}),
            applianceMessages());
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
  const struct {
    const char* name;
    std::size_t size;  // of the log after the append
    bool trimmed;
  } cases[] = {{"at the limit", kLimit, false}, {"one byte over", kLimit + 1, true}, {"over", 1048600, true}};
  for (const auto& c : cases) {
    const std::string before = numberedLines(c.size - line.size() - 1) + "\n";
    writeFile(kLog, before);
    ASSERT_EQ(0, LogFile(&record));
    std::string expected = before + line;
    if (c.trimmed) expected.erase(0, expected.find('\n', c.size - kKept) + 1);
    EXPECT_TRUE(expected == readFile(kLog).value()) << c.name;
  }
  // A newline exactly at the first byte looked at ends what is dropped.
  std::string exact(kLimit + 1, 'x');
  exact[kLimit + 1 - kKept] = '\n';
  writeFile(kLog, exact);
  EXPECT_EQ(0, AdjustFile(kLimit + 1));
  EXPECT_EQ(kKept - 1, readFile(kLog).value().size());

  const std::string noLines(kLimit + 1, 'x');
  writeFile(kLog, noLines);
  EXPECT_EQ(-1, AdjustFile(kLimit + 1)) << "no line to begin with";
  EXPECT_EQ(0, AdjustFile(100)) << "nothing to drop";
  EXPECT_TRUE(noLines == readFile(kLog).value());
  writeFile(kLog, "short\nfile\n");
  EXPECT_EQ(-1, AdjustFile(kLimit + 1)) << "shorter than said";
  EXPECT_EQ("short\nfile\n", readFile(kLog).value());
  ASSERT_EQ(0, unlink(kLog));
  EXPECT_EQ(-1, AdjustFile(kLimit + 1)) << "no log";
  EXPECT_FALSE(exists(kLog));
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
  setDefaults("TIME_ZONE UTC-3\n");
  time_t now = 0;
  const time_t result = nas_time(&now);
  EXPECT_EQ(now, result);
  EXPECT_NEAR(static_cast<double>(time(nullptr)), static_cast<double>(now), 2.0);
  const char* const first = std::getenv("TZ");
  ASSERT_STREQ("UTC-3", first);
  tm local = {};
  const time_t epoch = 0;
  EXPECT_EQ(3, localtime_r(&epoch, &local)->tm_hour);
  (void)nas_time(nullptr);
  EXPECT_EQ(first, std::getenv("TZ")) << "an equal zone is left alone";

  const std::string longest(600, 'z');  // stored without a NUL, longer than what is read
  storeRecord("system.gdbm", "TIME_ZONE", longest);
  (void)nas_time(nullptr);
  EXPECT_EQ(longest.substr(0, 511), std::getenv("TZ"));
}
