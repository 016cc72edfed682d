// What an event does: log line, status word, trap, mail, files, commands, driver requests.

#include "events/event_fixture.h"
#include "status/disks.h"

namespace {

constexpr char kPending[] = "/var/log/MailEvent";
constexpr char kKeptArgument[] = "/var/log/RestoreEvent";
constexpr char kUpsFault[] = "/var/log/ups_fault";
constexpr std::uint32_t kAllEvents = 0x1FFFFFFF;
constexpr std::uint32_t kShutDownOn8 = 1U << 29;
constexpr std::uint32_t kShutDownOn11 = 1U << 30;
constexpr std::uint32_t kUntouched = 0x80000000;  // of no event

std::string statusLine(std::uint32_t word) {
  char text[32];
  (void)std::snprintf(text, sizeof text, "status %08X", word);
  return text;
}

// A command as it is told: "trap 1", or whole.
std::string ranLine(const std::string& command) {
  unsigned number = 0;
  if (std::sscanf(command.c_str(), "/usr/sbin/sendsnmpTrap %*s %u", &number) != 1) return "run " + command;
  const std::string oid = ".1.3.6.1.4.1.32473.11.77", trap = std::to_string(number), own = oid + "." + trap;
  EXPECT_EQ("/usr/sbin/sendsnmpTrap " + oid + " " + trap + " " + own + " " + own + " s SomeProblemHappened", command);
  return "trap " + trap;
}

class Dispatcher : public EventFixture {
 protected:
  void SetUp() override {
    EventFixture::SetUp();
    storeWord("SNMP_STATE", 1);
    storeWord("SNMP_TRAP_STATE", 1);
    const std::set<int> numbers = {0, 1, 2, 3, 4, 5, 22}, words = {6, 7, 15, 16, 17, 18, 21, 28};
    std::string templates = "backup0=daily\nbackup1=weekly\nbackup2=monthly\n";
    for (int code = 0; code < EVENT_COUNT; ++code)
      templates += "subject" + std::to_string(code) + "=E" + std::to_string(code) +
                   (numbers.contains(code) ? " %d\n"
                    : words.contains(code) ? " %s\n"
                                           : "\n");
    writeFile(templateFiles[0], templates);
    writeFile("/etc/hotswap.conf", "disks /dev/hdc /dev/hda\n");
    initDiskNumMap();
  }

  // Raises an event from a clean start and tells all that came of it: its log lines in order, then what it ran (sorted,
  // for traps and mails go out in the background), then the state it left.
  Lines raise(unsigned code, const void* arg, std::uint32_t action, std::uint32_t status = kUntouched) {
    storeWord("EVENT_ACTION", action);
    EXPECT_EQ(0, NasSetConfig("HW_EVENT_STATUS", sizeof status, &status));
    for (const char* const file : {kPending, kKeptArgument, kUpsFault}) (void)unlink(file);
    return more(code, arg);
  }

  // The same with what there is.
  Lines more(unsigned code, const void* arg) {
    settle();  // what earlier events run in the background is none of this one's
    for (const char* const record : {"/var/log/appliance/commands", "/var/log/appliance/driver", "/var/log/nas1log"})
      (void)unlink(record);
    // A caller's argument is only ever written where it holds the mark of a replay.
    EXPECT_EQ(0, Nas1Event(code, const_cast<void*>(arg)));

    Lines lines;
    for (const std::string& line : applianceMessages()) lines.push_back("log " + line);
    Lines requests = driverRequests();
    EXPECT_EQ(lines.size(), std::erase(requests, "0x4809")) << "every line is announced to the monitor daemon";
    Lines ran;
    for (const SentMail& mail : sentMails()) {
      const std::string subject = mail.text.substr(0, mail.text.find('\n'));
      ran.push_back("mail " + (subject.size() > 9 ? subject.substr(9) : "") +
                    (mail.toDelete.empty() ? "" : " deleting " + mail.toDelete));
    }
    for (const std::string& command : commands())
      if (!command.starts_with("/etc/nas1mail ")) ran.push_back(ranLine(command));
    std::sort(ran.begin(), ran.end());
    lines = lines + ran;
    for (const std::string& request : requests) lines.push_back("request " + request);
    std::uint32_t word = 0;
    EXPECT_EQ(0, NasGetConfig("HW_EVENT_STATUS", sizeof word, &word, nullptr));
    lines.push_back(statusLine(word));
    for (const auto& [name, file] :
         {std::pair("pending ", kPending), std::pair("argument ", kKeptArgument), std::pair("ups_fault ", kUpsFault)})
      if (exists(file)) lines.push_back(name + readFile(file).value_or("?"));
    return lines;
  }
};

constexpr std::int32_t disk = 0;
constexpr std::int32_t volume[4] = {7, 8, 9, 1024};
constexpr std::int32_t weekly = 2;
constexpr std::int32_t monthly = 3;
constexpr std::int32_t raid = 2;
constexpr std::int32_t mark = -1;

}  // namespace

TEST_F(Dispatcher, EveryEventDoesWhatItsRowSays) {
  // From a status word in which no event has its bit. A replay is not logged where `replayed` is null.
  const struct {
    unsigned code;
    const void* arg;
    const char *tag, *said, *replayed;  // log line: tag (null: none), and what stands behind "E0"
    const char *mail, *replayMail;      // subject behind "E0"; no mail where null
    std::uint32_t status;
    Lines left = {};  // files that a wanted event leaves
  } rows[] = {
      // clang-format off
      {0, &disk, "<CRIT> [HD]  ", " 2", " 0", " 2", " 0", 0x80000001},
      {1, &disk, "<INFO> [HD]  ", " 2", " 0", " 2", " 0", 0x80000002},
      {2, &disk, "<WARN> [HD]  ", " 2", " 0", " 2", " 0", 0x80000004},
      {3, &disk, "<INFO> [HD]  ", " 2", " 0", " 2", " 0", 0x80000008},
      {4, volume, "<ERR>  [HD]  ", " 7", " -1", " 7", " -1", 0x80000010},
      // Kept: the status word is trimmed as a text, and its lowest byte is a blank here.
      {5, &disk, "<ERR>  [HD]  ", " 2", " 0", " 2", " 0", 0x80000000},
      {6, "eth0", "<ERR>  [NW]  ", " eth0", " ", " eth0", " ", 0x80000040},
      {7, "e", "<INFO> [NW]  ", " e", " ", " e", " ", 0x80000080},
      {8, nullptr, "<CRIT> [HW]  ", "", nullptr, "", "", 0x80000100},
      {9, nullptr, "<CRIT> [UPS] ", "", nullptr, " deleting /var/log/ups_fault", "", 0x80000200, {"ups_fault "}},
      {10, nullptr, "<WARN> [UPS] ", "", nullptr, nullptr, "", 0x80000400, {"pending 400"}},
      {11, nullptr, "<CRIT> [HW]  ", "", nullptr, "", "", 0x80000800},
      {12, nullptr, "<ERR>  [HW]  ", "", "", "", "", 0x80001000},
      {13, nullptr, "<ERR>  [SW]  ", "", "", "", "", 0x80002000},
      {14, nullptr, "<INFO> [SW]  ", "", nullptr, nullptr, "", 0x80004000, {"pending 4000"}},
      {15, &weekly, "<INFO> [SW]  ", " weekly", " ", " weekly", " ", 0x80008000},
      {16, &weekly, "<ERR>  [SW]  ", " weekly", " ", " weekly", " ", 0x80010000},
      {17, &weekly, "<INFO> [SW]  ", " weekly", nullptr, " weekly", " ", 0x80020000},
      {17, &monthly, "<INFO> [SW]  ", " monthly", nullptr, nullptr, " ", 0x80020000, {"pending 20000", "argument 3"}},
      {18, &weekly, "<ERR>  [SW]  ", " weekly", nullptr, " weekly", " ", 0x80040000},
      {18, &monthly, "<ERR>  [SW]  ", " monthly", nullptr, nullptr, " ", 0x80040000, {"pending 40000", "argument 3"}},
      {19, nullptr, "<ERR>  [KERN]", "", "", "", "", 0x80080000},
      {20, nullptr, "<CRIT> [HD]  ", "", "", "", "", 0x80100000},
      {21, &raid, "<CRIT> [HD]  ", " Raid 2", " None Raid", " Raid 2", " None-Raid", 0x80200000},
      {22, &disk, "<CRIT> [HD]  ", " 2", " 0", " %d", " %d", 0x80400000},
      {23, nullptr, nullptr, "", nullptr, "", "", 0x80800000},
      {24, nullptr, "<ERR>  [UPS] ", "", "", "", "", 0x81000000},
      {25, nullptr, "<INFO> [UPS] ", "", "", "", "", 0x80000000},
      {26, nullptr, nullptr, "", nullptr, "", "", 0x80000000},
      {27, nullptr, nullptr, "", nullptr, "", "", 0x80000000},
      {28, "all", "<CRIT> [HD]  ", " all", " ", " %s", " %s", 0x90000000},
      // clang-format on
  };
  for (const auto& row : rows) {
    const std::string event = "E" + std::to_string(row.code);
    const std::string tag = "log " + std::string(row.tag == nullptr ? "" : row.tag) + " " + event;
    const Lines log = row.tag == nullptr ? Lines{} : Lines{tag + row.said};
    const Lines replayLog = row.replayed == nullptr ? Lines{} : Lines{tag + row.replayed};
    const Lines status = {statusLine(row.status)};
    const Lines led = row.code == 0 ? Lines{"run /sbin/setled 2 0 2"} : Lines{};

    const Lines silentMail = row.code == 20 || row.code == 23 ? Lines{"mail " + event} : Lines{};
    EXPECT_EQ(log + silentMail + led + status, raise(row.code, row.arg, 0x80000000)) << event << " unwanted";

    const Lines before = row.code == 11 ? Lines{"log <WARN> [CIFS] before sendmail of overheat"} : Lines{};
    const Lines mail = row.mail == nullptr ? Lines{} : Lines{"mail " + event + row.mail};
    const Lines trap = row.code == 23 ? Lines{} : Lines{"trap " + std::to_string(row.code + 1)};
    EXPECT_EQ(before + log + mail + led + trap + status + row.left, raise(row.code, row.arg, kAllEvents))
        << event << " wanted";

    const Lines replayLed = row.code == 0 ? Lines{"run /sbin/setled 2 -1 2"} : Lines{};
    const Lines replayStatus = row.code == 8 || row.code == 11 ? Lines{"status 80000000"} : status;
    for (const std::uint32_t action : {0U, kAllEvents})
      EXPECT_EQ(replayLog + Lines{"mail " + event + row.replayMail} + replayLed + replayStatus,
                raise(row.code, &mark, action))
          << event << " replayed";
  }
}

TEST_F(Dispatcher, TheStatusWordGathersEventsUntilTheirEnd) {
  const struct {
    unsigned code;
    std::uint32_t before, after;
  } cases[] = {
      {25, 0x01000E00, 0x00000800},  // the UPS's own bits and no other
      {25, 0x02000E00, 0x02000E00},  // its bit is set: nothing is done
      {26, 0x00000901, 0x00000801}, {27, 0x00000901, 0x00000101}, {12, 0x00001001, 0x00001001},
      {5, 0x00000001, 0x00000021},  {5, 0x00000000, 0x00000000},  // kept: a lone blank is trimmed
  };
  for (const auto& c : cases) EXPECT_EQ(statusLine(c.after), raise(c.code, &disk, 0, c.before).back()) << c.code;
}

TEST_F(Dispatcher, CriticalConditionsShutTheApplianceDown) {
  const std::string marker = "/var/log/shutdown.nas";
  constexpr std::uint32_t wanted = 1U << 8 | 1U << 11;
  const std::string hot = "log <CRIT> [HW]   E8", over = "log <CRIT> [HW]   E11", down = "request 0x480B 0";
  const struct {
    unsigned code;
    std::uint32_t action;
    Lines happened;
  } cases[] = {
      {8, wanted | kShutDownOn8, {hot, "trap 9", down, "status 80000100", "pending 100"}},
      {8, kShutDownOn8, {hot, down, "status 80000100"}},
      {8, wanted | kShutDownOn11, {hot, "mail E8", "trap 9", "status 80000100"}},
      {11, wanted | kShutDownOn11, {over, "trap 12", down, "status 80000800", "pending 800"}},
      {11, kShutDownOn11, {over, down, "status 80000800"}},
  };
  for (const auto& c : cases) {
    writeFile(marker, "");
    EXPECT_EQ(c.happened, raise(c.code, nullptr, c.action));
    const bool isDown = std::count(c.happened.begin(), c.happened.end(), down) > 0;
    EXPECT_NE(isDown, exists(marker));
    // The log line is written before there is no time left for it.
    if (isDown) {
      EXPECT_EQ((Lines{"0x4809", "0x480B 0"}), driverRequests());
    }
    descriptorsLeftByRule += isDown ? 1 : 0;
  }
  for (const unsigned code : {8U, 11U})
    EXPECT_EQ((Lines{"mail E" + std::to_string(code), "status 80000000"}), raise(code, &mark, ~0U)) << "replayed";
}

TEST_F(Dispatcher, DeferredMailsGatherInOneMask) {
  const struct {
    const char* before;
    unsigned code;
    const char* after;
  } cases[] = {{"20000", 10, "20400"}, {"garbage", 14, "4000"}, {"ffffffff\n", 10, "FFFFFFFF"}, {"2", 14, "4002"}};
  storeWord("EVENT_ACTION", kAllEvents);
  for (const auto& c : cases) {
    writeFile(kPending, c.before);
    EXPECT_EQ(0, Nas1Event(c.code, nullptr));
    EXPECT_EQ(c.after, readFile(kPending)) << c.before;
  }
  writeFile(kKeptArgument, "123456");
  const std::int32_t argument = -5;
  EXPECT_EQ((Lines{"log <ERR>  [SW]   E18 ", "trap 19", statusLine(0x44400), "pending 44002", "argument -5"}),
            more(18, &argument));
}

TEST_F(Dispatcher, AReplayBringsTheKeptArgumentBack) {
  const struct {
    const char* kept;  // null: no file
    std::int32_t word;
    const char* subject;
  } cases[] = {{"3", 3, "monthly"}, {"77", 77, ""}, {"?", -1, ""}, {nullptr, -1, ""}};
  std::int32_t word = -1;
  for (const auto& c : cases) {
    word = -1;
    (void)raise(0, nullptr, 0);
    if (c.kept != nullptr) writeFile(kKeptArgument, c.kept);
    writeFile(kPending, "60000");
    EXPECT_EQ(std::string("mail E17 ") + c.subject, more(17, &word)[0]) << (c.kept == nullptr ? "none" : c.kept);
    EXPECT_EQ(c.word, word);
    EXPECT_FALSE(exists(kKeptArgument));
    EXPECT_EQ("60000", readFile(kPending)) << "clearing it is for whoever replays";
  }
  // Whole: what one process defers another one sends after the restart.
  EXPECT_EQ("argument 3", raise(18, &monthly, kAllEvents).back());
  EXPECT_EQ((Lines{"mail E18 monthly", "status 80040000", "pending 40000"}), more(18, &word));
}

TEST_F(Dispatcher, CodesBeyondTheTableFollowTheGeneralRules) {
  EXPECT_EQ((Lines{"mail ", "trap 30", "status A0000000"}), raise(29, &disk, 1U << 29));
  EXPECT_EQ((Lines{"mail ", "trap 34", "status 80000002"}), raise(33, nullptr, 2));
  EXPECT_EQ((Lines{"mail ", "status 80000002"}), raise(33, &mark, 2));
  EXPECT_EQ((Lines{"mail ", "trap 41", "status 80000100"}), raise(40, nullptr, 1U << 8 | kShutDownOn8));
}
