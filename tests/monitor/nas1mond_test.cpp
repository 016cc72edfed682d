// The monitor daemon as a process of its own: what it reports, and what it passes on.

#include <fcntl.h>

#include "frame/appliance.h"

namespace {

constexpr char kPassedOn[] = "/tmp/nas1mond.out";
constexpr char kDriversPid[] = "/run/nas1-driver/daemon-pid";
constexpr char kPidFile[] = "/run/nas1mond.pid";
constexpr char kUpsFile[] = "/run/ups.state";

// Whether a line of the system log ends like that. While a daemon writes to it no end of it can be awaited.
bool systemLogHas(const std::string& end) {
  const Lines log = readLines("/var/log/appliance/syslog");
  return std::any_of(log.begin(), log.end(), [&](const std::string& line) { return line.ends_with(end); });
}

class Monitor : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    setDefaults("DISK_POLL_INTERVAL 1\nTIME_ZONE UTC\nEVENT_ACTION 0\n");
    writeFile("/etc/hotswap.conf", "disks /dev/hdb /dev/hda\n");
    writeFile("/etc/mail/alert.en",
              "subject1=back %d\nsubject2=gone %d\nsubject9=battery\nsubject10=low\nsubject12=volts\n"
              "subject24=lost\nsubject25=mains\nbackup2=monthly\nsubject18=restore %s\n");
    for (const char* const file : {kUpsFile, kPassedOn, kPidFile}) (void)unlink(file);
  }
  void TearDown() override {
    (void)end();
    for (const char* const file : {"/dev/hda", "/dev/hdb", kUpsFile}) (void)unlink(file);
    ApplianceTest::TearDown();
  }

  // Starts the monitor; it is there when the driver knows it.
  void start() {
    daemon = fork();
    if (daemon == 0) {
      const int out = open(kPassedOn, O_WRONLY | O_CREAT | O_APPEND, 0644);
      (void)dup2(out, STDOUT_FILENO);
      (void)dup2(out, STDERR_FILENO);
      (void)execlp("nas1mond", "nas1mond", nullptr);
      _exit(126);
    }
    EXPECT_TRUE(comes([&] { return readFile(kDriversPid) == std::to_string(daemon) + "\n"; })) << "it does not start";
  }

  // Ends it; returns its exit code.
  int end() {
    if (daemon <= 0) return -1;
    (void)kill(daemon, SIGTERM);
    int status = 0;
    (void)waitpid(daemon, &status, 0);
    daemon = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  // The lines that it passed on, without their time stamps.
  static Lines passedOn() {
    Lines lines = readLines(kPassedOn);
    for (std::string& line : lines) line.erase(0, std::min<std::size_t>(line.size(), 25));
    return lines;
  }

  static void expectPassedOn(const Lines& expected) {
    EXPECT_TRUE(comes([&] { return passedOn().size() >= expected.size(); }));
    EXPECT_EQ(expected, passedOn());
  }

 private:
  pid_t daemon = -1;
};

}  // namespace

TEST_F(Monitor, ItIsKnownWhileItRunsAndThereIsOnlyOne) {
  start();
  EXPECT_EQ(readFile(kDriversPid), readFile(kPidFile));
  EXPECT_EQ(1, WEXITSTATUS(std::system("nas1mond 2>/tmp/second")));
  EXPECT_EQ("nas1mond: another monitor is running\n", readFile("/tmp/second"));
  EXPECT_EQ(0, end());
  EXPECT_EQ("0\n", readFile(kDriversPid));
  EXPECT_EQ("", readFile(kPidFile));
}

TEST_F(Monitor, ItPassesOnWhatIsLoggedFromNowOn) {
  setDefaults("DISK_POLL_INTERVAL 3600\nTIME_ZONE UTC\n");  // the signal alone makes it look
  (void)nas1_log(0, 0, "before it began");
  start();
  Lines expected;
  for (int i = 0; i < 50; ++i) {
    (void)nas1_log(0, 0, "line %d", i);
    expected.push_back("<INFO> [KERN] line " + std::to_string(i));
  }
  expectPassedOn(expected);
  // The log loses its oldest lines while it is written: none comes twice, none is left out.
  writeFile("/var/log/nas1log", readFile("/var/log/nas1log").value_or("") + std::string(1048000, 'x') + "\n");
  EXPECT_TRUE(comes([&] {
    (void)nas1_log(0, 0, "to make it look");
    return passedOn().size() > expected.size();
  }));
  ASSERT_LT(readFile("/var/log/nas1log").value_or("").size(), 1048000U) << "the log is not trimmed by this";
  (void)nas1_log(0, 0, "the last one");
  EXPECT_TRUE(comes([] { return passedOn().back() == "<INFO> [KERN] the last one"; }));
  const Lines all = passedOn();
  for (const char* const once : {"the last one", "line 49"})
    EXPECT_EQ(1, std::count(all.begin(), all.end(), std::string("<INFO> [KERN] ") + once)) << once;
}

TEST_F(Monitor, ItSendsTheMailsThatWaited) {
  writeFile("/var/log/MailEvent", "C0041000");  // 12, 18, and two bits that are no events
  writeFile("/var/log/RestoreEvent", "3");
  start();
  Lines subjects;
  for (const std::string& command : awaitCommands(2))
    subjects.push_back(readLines(command.substr(std::strlen("/etc/nas1mail "), 21))[0]);
  std::sort(subjects.begin(), subjects.end());
  EXPECT_EQ((Lines{"Subject: restore monthly", "Subject: volts"}), subjects);
  EXPECT_TRUE(comes([] { return !exists("/var/log/MailEvent") && !exists("/var/log/RestoreEvent"); }));
}

TEST_F(Monitor, DisksThatGoAndComeBackAreReported) {
  writeFile("/dev/hda", "");
  start();
  // It has looked for the first time; the other disk of the list is not there. Numbers follow the drive letters.
  EXPECT_TRUE(comes([] { return systemLogHas("g_p_hdDeviceName[1].name = (/dev/hda) "); }));
  ASSERT_EQ(0, unlink("/dev/hda"));
  expectPassedOn({"<WARN> [HD]   gone 1"});
  writeFile("/dev/hda", "");
  expectPassedOn({"<WARN> [HD]   gone 1", "<INFO> [HD]   back 1"});
  writeFile("/dev/hdb", "");
  expectPassedOn({"<WARN> [HD]   gone 1", "<INFO> [HD]   back 1", "<INFO> [HD]   back 2"});
}

TEST_F(Monitor, ThePowerSupplysStateIsReportedWhenItChanges) {
  writeFile(kUpsFile, "online\n");
  start();
  Lines expected;
  const struct {
    const char* word;
    const char* line;  // null: nothing to report
  } states[] = {{"battery", "<CRIT> [UPS]  battery"},
                {"nonsense", nullptr},
                {"low", "<WARN> [UPS]  low"},
                {"online", "<INFO> [UPS]  mains"},
                {"lost", "<ERR>  [UPS]  lost"}};
  for (const auto& state : states) {
    writeFile(kUpsFile, state.word);
    if (state.line != nullptr) expected.push_back(state.line);
    expectPassedOn(expected);
  }
}

TEST_F(Monitor, InTheBackgroundItWritesToTheSystemLog) {
  ASSERT_EQ(0, std::system("nas1mond --background"));
  ASSERT_TRUE(comes([] { return std::atoi(readFile(kDriversPid).value_or("").c_str()) > 0; }));
  const pid_t pid = std::atoi(readFile(kPidFile).value_or("").c_str());
  EXPECT_EQ(std::to_string(pid) + "\n", readFile(kDriversPid));
  (void)nas1_log(1, 2, "from far away");
  EXPECT_TRUE(comes([] { return systemLogHas("<WARN> [SW]   from far away"); }));
  ASSERT_GT(pid, 1);
  EXPECT_EQ(0, kill(pid, SIGTERM));
  EXPECT_TRUE(comes([&] { return kill(pid, 0) != 0; }));
}
