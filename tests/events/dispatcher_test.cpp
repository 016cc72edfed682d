// What an event does: log line, status word, trap, mail, files, commands, driver requests.

#include <sys/mount.h>

#include <algorithm>
#include <cstring>

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

void setStatus(std::uint32_t word) { EXPECT_EQ(0, NasSetConfig("HW_EVENT_STATUS", sizeof word, &word)); }

std::string statusLine(std::uint32_t word) {
  char text[32];
  (void)std::snprintf(text, sizeof text, "status %08X", word);
  return text;
}

std::string storedStatus() {
  std::uint32_t word = 0;
  EXPECT_EQ(0, NasGetConfig("HW_EVENT_STATUS", sizeof word, &word, nullptr));
  return statusLine(word);
}

// The trap's command line of an event, as the helper records it.
std::string trapCommand(unsigned number) {
  const std::string oid = ".1.3.6.1.4.1.32473.11.77";
  const std::string own = oid + "." + std::to_string(number);
  return "/usr/sbin/sendsnmpTrap " + oid + " " + std::to_string(number) + " " + own + " " + own +
         " s SomeProblemHappened";
}

class Dispatcher : public EventFixture {
 protected:
  void SetUp() override {
    EventFixture::SetUp();
    setWord("SNMP_STATE", 1);
    setWord("SNMP_TRAP_STATE", 1);
    std::string templates = "backup0=daily\nbackup1=weekly\nbackup2=monthly\n";
    for (int code = 0; code < EVENT_COUNT; ++code)
      templates += "subject" + std::to_string(code) + "=E" + std::to_string(code) + subjectTail(code) + "\n";
    writeFile(templateFiles[0], templates);
    writeFile("/etc/hotswap.conf", "disks /dev/hdc /dev/hda\n");
    initDiskNumMap();
  }

  // Raises an event from a clean start and tells all that came of it: its log lines in order, then what it ran (sorted,
  // for traps and mails go out in the background), then the state it left.
  Lines raise(unsigned code, const void* arg, std::uint32_t action, std::uint32_t status = kUntouched) {
    setWord("EVENT_ACTION", action);
    setStatus(status);
    for (const char* const file : {kPending, kKeptArgument, kUpsFault}) (void)unlink(file);
    return more(code, arg);
  }

  // The same with what there is.
  Lines more(unsigned code, const void* arg) {
    settle();  // what earlier events run in the background is none of this one's
    forget();
    // A caller's argument is only ever written where it holds the mark of a replay.
    EXPECT_EQ(0, Nas1Event(code, const_cast<void*>(arg)));
    return outcome();
  }

 private:
  static std::string subjectTail(int code) {
    if (code <= 5 || code == 22) return " %d";
    return code == 6 || code == 7 || (code >= 15 && code <= 18) || code == 21 || code == 28 ? " %s" : "";
  }

  static void forget() {
    for (const char* const record : {"/var/log/appliance/commands", "/var/log/appliance/driver", "/var/log/nas1log"})
      (void)unlink(record);
  }

  Lines outcome() const {
    Lines lines;
    for (const std::string& line : applianceMessages()) lines.push_back("log " + line);
    Lines requests = driverRequests();
    EXPECT_EQ(static_cast<std::ptrdiff_t>(lines.size()), std::count(requests.begin(), requests.end(), "0x4809"))
        << "every line is announced to the monitor daemon";
    std::erase(requests, "0x4809");

    Lines ran;
    for (const SentMail& mail : sentMails()) {
      const std::string subject = mail.text.substr(0, mail.text.find('\n'));
      ran.push_back("mail " + (subject.size() > 9 ? subject.substr(9) : "") +
                    (mail.toDelete.empty() ? "" : " deleting " + mail.toDelete));
    }
    for (const std::string& command : commands()) {
      if (command.starts_with("/etc/nas1mail ")) continue;
      unsigned number = 0;
      const bool trap =
          std::sscanf(command.c_str(), "/usr/sbin/sendsnmpTrap %*s %u", &number) == 1 && command == trapCommand(number);
      ran.push_back(trap ? "trap " + std::to_string(number) : "run " + command);
    }
    std::sort(ran.begin(), ran.end());
    lines.insert(lines.end(), ran.begin(), ran.end());

    for (const std::string& request : requests) lines.push_back("request " + request);
    lines.push_back(storedStatus());
    for (const auto& [name, file] : {std::pair("pending ", kPending), std::pair("argument ", kKeptArgument)})
      if (exists(file)) lines.push_back(name + readFile(file).value_or("?"));
    if (exists(kUpsFault)) lines.push_back("ups_fault " + readFile(kUpsFault).value_or("?"));
    return lines;
  }
};

constexpr std::int32_t disk = 0;
constexpr std::int32_t volume[4] = {7, 8, 9, 1024};
constexpr std::int32_t weekly = 2;
constexpr std::int32_t monthly = 3;
constexpr std::int32_t raid = 2;
constexpr std::int32_t mark = -1;

struct EventRow {
  unsigned code;
  const void* arg;
  const char* log;        // null: not logged
  const char* replayLog;  // null: not logged on a replay
  Lines notified;         // what else happens when the administrator wants to know
  const char* replayed;   // the mail of a replay
  std::uint32_t status;
  Lines left = {};  // files that a wanted event leaves
};

// From a status word in which no event has its bit.
const EventRow eventRows[] = {
    {0, &disk, "<CRIT> [HD]   E0 2", "<CRIT> [HD]   E0 0", {"mail E0 2", "trap 1"}, "E0 0", 0x80000001},
    {1, &disk, "<INFO> [HD]   E1 2", "<INFO> [HD]   E1 0", {"mail E1 2", "trap 2"}, "E1 0", 0x80000002},
    {2, &disk, "<WARN> [HD]   E2 2", "<WARN> [HD]   E2 0", {"mail E2 2", "trap 3"}, "E2 0", 0x80000004},
    {3, &disk, "<INFO> [HD]   E3 2", "<INFO> [HD]   E3 0", {"mail E3 2", "trap 4"}, "E3 0", 0x80000008},
    {4, volume, "<ERR>  [HD]   E4 7", "<ERR>  [HD]   E4 -1", {"mail E4 7", "trap 5"}, "E4 -1", 0x80000010},
    // Kept: the status word is trimmed as a text, and its lowest byte is a blank here.
    {5, &disk, "<ERR>  [HD]   E5 2", "<ERR>  [HD]   E5 0", {"mail E5 2", "trap 6"}, "E5 0", 0x80000000},
    {6, "eth0", "<ERR>  [NW]   E6 eth0", "<ERR>  [NW]   E6 ", {"mail E6 eth0", "trap 7"}, "E6 ", 0x80000040},
    {7, "e", "<INFO> [NW]   E7 e", "<INFO> [NW]   E7 ", {"mail E7 e", "trap 8"}, "E7 ", 0x80000080},
    {8, nullptr, "<CRIT> [HW]   E8", nullptr, {"mail E8", "trap 9"}, "E8", 0x80000100},
    {9,
     nullptr,
     "<CRIT> [UPS]  E9",
     nullptr,
     {"mail E9 deleting /var/log/ups_fault", "trap 10"},
     "E9",
     0x80000200,
     {"ups_fault "}},
    {10, nullptr, "<WARN> [UPS]  E10", nullptr, {"trap 11"}, "E10", 0x80000400, {"pending 400"}},
    {11, nullptr, "<CRIT> [HW]   E11", nullptr, {"mail E11", "trap 12"}, "E11", 0x80000800},
    {12, nullptr, "<ERR>  [HW]   E12", "<ERR>  [HW]   E12", {"mail E12", "trap 13"}, "E12", 0x80001000},
    {13, nullptr, "<ERR>  [SW]   E13", "<ERR>  [SW]   E13", {"mail E13", "trap 14"}, "E13", 0x80002000},
    {14, nullptr, "<INFO> [SW]   E14", nullptr, {"trap 15"}, "E14", 0x80004000, {"pending 4000"}},
    {15, &weekly, "<INFO> [SW]   E15 weekly", "<INFO> [SW]   E15 ", {"mail E15 weekly", "trap 16"}, "E15 ", 0x80008000},
    {16, &weekly, "<ERR>  [SW]   E16 weekly", "<ERR>  [SW]   E16 ", {"mail E16 weekly", "trap 17"}, "E16 ", 0x80010000},
    {17, &weekly, "<INFO> [SW]   E17 weekly", nullptr, {"mail E17 weekly", "trap 18"}, "E17 ", 0x80020000},
    {17,
     &monthly,
     "<INFO> [SW]   E17 monthly",
     nullptr,
     {"trap 18"},
     "E17 ",
     0x80020000,
     {"pending 20000", "argument 3"}},
    {18, &weekly, "<ERR>  [SW]   E18 weekly", nullptr, {"mail E18 weekly", "trap 19"}, "E18 ", 0x80040000},
    {18,
     &monthly,
     "<ERR>  [SW]   E18 monthly",
     nullptr,
     {"trap 19"},
     "E18 ",
     0x80040000,
     {"pending 40000", "argument 3"}},
    {19, nullptr, "<ERR>  [KERN] E19", "<ERR>  [KERN] E19", {"mail E19", "trap 20"}, "E19", 0x80080000},
    {20, nullptr, "<CRIT> [HD]   E20", "<CRIT> [HD]   E20", {"mail E20", "trap 21"}, "E20", 0x80100000},
    {21,
     &raid,
     "<CRIT> [HD]   E21 Raid 2",
     "<CRIT> [HD]   E21 None Raid",
     {"mail E21 Raid 2", "trap 22"},
     "E21 None-Raid",
     0x80200000},
    {22, &disk, "<CRIT> [HD]   E22 2", "<CRIT> [HD]   E22 0", {"mail E22 %d", "trap 23"}, "E22 %d", 0x80400000},
    {23, nullptr, nullptr, nullptr, {"mail E23"}, "E23", 0x80800000},
    {24, nullptr, "<ERR>  [UPS]  E24", "<ERR>  [UPS]  E24", {"mail E24", "trap 25"}, "E24", 0x81000000},
    {25, nullptr, "<INFO> [UPS]  E25", "<INFO> [UPS]  E25", {"mail E25", "trap 26"}, "E25", 0x80000000},
    {26, nullptr, nullptr, nullptr, {"mail E26", "trap 27"}, "E26", 0x80000000},
    {27, nullptr, nullptr, nullptr, {"mail E27", "trap 28"}, "E27", 0x80000000},
    {28, "all", "<CRIT> [HD]   E28 all", "<CRIT> [HD]   E28 ", {"mail E28 %s", "trap 29"}, "E28 %s", 0x90000000},
};

}  // namespace

TEST_F(Dispatcher, EveryEventDoesWhatItsRowSays) {
  for (const EventRow& row : eventRows) {
    const std::string name = "event " + std::to_string(row.code);
    Lines log;
    if (row.log != nullptr) log.push_back(std::string("log ") + row.log);
    Lines replayLog;
    if (row.replayLog != nullptr) replayLog.push_back(std::string("log ") + row.replayLog);
    const std::string status = statusLine(row.status);

    Lines silent = log;
    if (row.code == 20 || row.code == 23) silent.push_back("mail E" + std::to_string(row.code));
    if (row.code == 0) silent.push_back("run /sbin/setled 2 0 2");
    silent.push_back(status);
    EXPECT_EQ(silent, raise(row.code, row.arg, ~kAllEvents & ~(kShutDownOn8 | kShutDownOn11))) << name << " unwanted";

    Lines notified = log;
    if (row.code == 11) notified.insert(notified.begin(), "log <WARN> [CIFS] before sendmail of overheat");
    Lines ran = row.notified;
    if (row.code == 0) ran.insert(ran.begin() + 1, "run /sbin/setled 2 0 2");
    notified.insert(notified.end(), ran.begin(), ran.end());
    notified.push_back(status);
    notified.insert(notified.end(), row.left.begin(), row.left.end());
    EXPECT_EQ(notified, raise(row.code, row.arg, kAllEvents)) << name << " wanted";

    for (const std::uint32_t action : {0U, kAllEvents}) {
      Lines replayed = replayLog;
      replayed.push_back(std::string("mail ") + row.replayed);
      if (row.code == 0) replayed.push_back("run /sbin/setled 2 -1 2");
      replayed.push_back(row.code == 8 || row.code == 11 ? "status 80000000" : status);
      EXPECT_EQ(replayed, raise(row.code, &mark, action)) << name << " replayed";
    }
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
      {31, 0x00000001, 0x80000001}, {33, 0x00000000, 0x00000002},
  };
  for (const auto& c : cases) {
    const Lines lines = raise(c.code, &disk, 0, c.before);
    EXPECT_EQ(statusLine(c.after), lines.back()) << c.code;
  }
}

TEST_F(Dispatcher, CriticalConditionsShutTheApplianceDown) {
  const std::string marker = "/var/log/shutdown.nas";
  constexpr std::uint32_t wanted = 1U << 8 | 1U << 11;
  const struct {
    const char* name;
    unsigned code;
    std::uint32_t action;
    bool down;
    Lines happened;
  } cases[] = {
      {"8, wanted",
       8,
       wanted | kShutDownOn8,
       true,
       {"log <CRIT> [HW]   E8", "trap 9", "request 0x480B 0", "status 80000100", "pending 100"}},
      {"8, unwanted", 8, kShutDownOn8, true, {"log <CRIT> [HW]   E8", "request 0x480B 0", "status 80000100"}},
      {"8, as 11 would",
       8,
       wanted | kShutDownOn11,
       false,
       {"log <CRIT> [HW]   E8", "mail E8", "trap 9", "status 80000100"}},
      {"11, wanted",
       11,
       wanted | kShutDownOn11,
       true,
       {"log <CRIT> [HW]   E11", "trap 12", "request 0x480B 0", "status 80000800", "pending 800"}},
      {"11, unwanted", 11, kShutDownOn11, true, {"log <CRIT> [HW]   E11", "request 0x480B 0", "status 80000800"}},
      {"12 never does", 12, ~0U, false, {"log <ERR>  [HW]   E12", "mail E12", "trap 13", "status 80001000"}},
  };
  for (const auto& c : cases) {
    writeFile(marker, "");
    EXPECT_EQ(c.happened, raise(c.code, nullptr, c.action)) << c.name;
    EXPECT_NE(c.down, exists(marker)) << c.name;
    // The log line is written before there is no time left for it.
    if (!c.down) continue;
    EXPECT_EQ((Lines{"0x4809", "0x480B 0"}), driverRequests()) << c.name;
    ++descriptorsLeftByRule;
  }
  for (const unsigned code : {8U, 11U}) {
    EXPECT_EQ((Lines{"mail E" + std::to_string(code), "status 80000000"}), raise(code, &mark, ~0U));
    EXPECT_TRUE(exists(marker));
  }
  refuseDriverRequest(0x480B);
  EXPECT_EQ((Lines{"log <CRIT> [HW]   E8", "request 0x480B 0", "status 80000100"}), raise(8, nullptr, kShutDownOn8));
  ++descriptorsLeftByRule;
  std::filesystem::rename("/dev/nas1", "/dev/nas1.away");
  setWord("EVENT_ACTION", kShutDownOn8);
  EXPECT_EQ(0, Nas1Event(8, nullptr));
  std::filesystem::rename("/dev/nas1.away", "/dev/nas1");
  EXPECT_EQ("<ERR>  [HD]   Error : Can't open nas1 device!", applianceMessages().back());
}

TEST_F(Dispatcher, DeferredMailsGatherInOneMask) {
  const struct {
    const char* before;
    unsigned code;
    const char* after;
  } cases[] = {{"20000", 10, "20400"},         {"400", 10, "400"}, {"", 14, "4000"}, {"garbage", 14, "4000"},
               {"ffffffff\n", 10, "FFFFFFFF"}, {"2", 14, "4002"}};
  setWord("EVENT_ACTION", kAllEvents);
  for (const auto& c : cases) {
    writeFile(kPending, c.before);
    EXPECT_EQ(0, Nas1Event(c.code, nullptr));
    EXPECT_EQ(c.after, readFile(kPending)) << c.before;
  }
  writeFile(kKeptArgument, "123456");
  std::int32_t argument = -5;
  EXPECT_EQ(0, Nas1Event(18, &argument));
  EXPECT_EQ("-5", readFile(kKeptArgument));
  EXPECT_EQ("44002", readFile(kPending));

  // What cannot be written is skipped without a word.
  for (const char* const file : {kPending, kKeptArgument}) {
    (void)unlink(file);
    ASSERT_EQ(0, mkdir(file, 0755));
  }
  Lines happened = more(18, &argument);
  happened.resize(2);
  EXPECT_EQ((Lines{"log <ERR>  [SW]   E18 ", "trap 19"}), happened);
  for (const char* const file : {kPending, kKeptArgument}) (void)rmdir(file);
}

TEST_F(Dispatcher, AReplayBringsTheKeptArgumentBack) {
  const struct {
    const char* kept;  // null: no file
    std::int32_t word;
    const char* subject;
  } cases[] = {{"3", 3, "monthly"}, {"1\n", 1, "daily"}, {"77", 77, ""},
               {"?", -1, ""},       {"", -1, ""},        {nullptr, -1, ""}};
  for (const unsigned code : {17U, 18U}) {
    for (const auto& c : cases) {
      std::int32_t word = -1;
      (void)raise(0, nullptr, 0);
      if (c.kept != nullptr) writeFile(kKeptArgument, c.kept);
      writeFile(kPending, "60000");
      const Lines happened = more(code, &word);
      EXPECT_EQ("mail E" + std::to_string(code) + " " + c.subject, happened[0])
          << (c.kept == nullptr ? "none" : c.kept);
      EXPECT_EQ(c.word, word);
      EXPECT_FALSE(exists(kKeptArgument));
      EXPECT_EQ("60000", readFile(kPending)) << "clearing it is for whoever replays";
    }
  }
  // The file is about those two events.
  std::int32_t word = -1;
  writeFile(kKeptArgument, "3");
  EXPECT_EQ(0, Nas1Event(15, &word));
  EXPECT_EQ("3", readFile(kKeptArgument));
  EXPECT_EQ(-1, word);

  // Whole: what one process defers another one sends after the restart.
  EXPECT_EQ("argument 3", raise(17, &monthly, kAllEvents).back());
  EXPECT_EQ((Lines{"mail E17 monthly", "status 80020000", "pending 20000"}), more(17, &word));
}

TEST_F(Dispatcher, CodesBeyondTheTableFollowTheGeneralRules) {
  EXPECT_EQ((Lines{"mail ", "trap 30", "status A0000000"}), raise(29, &disk, 1U << 29));
  EXPECT_EQ((Lines{"status A0000000"}), raise(29, &disk, kAllEvents));
  EXPECT_EQ((Lines{"mail ", "trap 34", "status 80000002"}), raise(33, nullptr, 2));
  EXPECT_EQ((Lines{"mail ", "status 80000002"}), raise(33, &mark, 2));
  EXPECT_EQ((Lines{"mail ", "trap 41", "status 80000100"}), raise(40, nullptr, 1U << 8 | kShutDownOn8));
}

TEST_F(Dispatcher, ArgumentsThatNameNothingAreTakenAsZeroAndEmpty) {
  for (unsigned code = 0; code < EVENT_COUNT; ++code) {
    setWord("EVENT_ACTION", code == 17 || code == 18 ? kAllEvents : 0);
    EXPECT_EQ(0, Nas1Event(code, nullptr)) << code;
  }
  Lines log = applianceMessages();
  log.resize(8);
  EXPECT_EQ((Lines{"<CRIT> [HD]   E0 0", "<INFO> [HD]   E1 0", "<WARN> [HD]   E2 0", "<INFO> [HD]   E3 0",
                   "<ERR>  [HD]   E4 0", "<ERR>  [HD]   E5 0", "<ERR>  [NW]   E6 ", "<INFO> [NW]   E7 "}),
            log);
  EXPECT_EQ("0", readFile(kKeptArgument));
  for (const std::int32_t index : {-2, 256, INT32_MIN, INT32_MAX})
    EXPECT_EQ("log <INFO> [HD]   E1 0", raise(1, &index, 0)[0]) << index;
  for (const std::int32_t job : {0, 4, -7, INT32_MIN, INT32_MAX})
    EXPECT_EQ("log <INFO> [SW]   E15 ", raise(15, &job, 0)[0]) << job;
  // A text may be shorter than the mark, or begin like it.
  EXPECT_EQ("log <CRIT> [HD]   E28 \xFF\xFF", raise(28, "\xFF\xFF", 0)[0]);
  EXPECT_EQ("log <CRIT> [HD]   E28 ", raise(28, "", 0)[0]);
}

TEST_F(Dispatcher, TextsThatAreMissingOrDoNotFitStopNothing) {
  writeFile(templateFiles[0], "subject1=disk %n\nsubject25=mains%%\n");
  const Lines unfit = raise(1, &disk, 0);
  EXPECT_TRUE(unfit[0].starts_with("log <INFO> [SW]   ")) << unfit[0];
  EXPECT_TRUE(unfit[0].ends_with(" warning! text does not fit its arguments: disk %n")) << unfit[0];
  EXPECT_EQ("log <INFO> [HD]   disk %n", unfit[1]);
  EXPECT_EQ("log <INFO> [UPS]  mains%", raise(25, nullptr, 0)[0]);
  EXPECT_EQ("log <CRIT> [HD]   ", raise(20, nullptr, 0)[0]);
  EXPECT_EQ(nullptr, Subject[0]) << "an event frees what it loaded";

  (void)unlink(templateFiles[0]);
  EXPECT_EQ((Lines{"log <CRIT> [HD]   ", "mail ", "trap 21", "status 80100000"}), raise(20, nullptr, kAllEvents));
  (void)NasMailMsgFree(0);
  writeFile(templateFiles[0], "subject20=mine\n");
  ASSERT_EQ(1, NasMailMsgInit(0));
  EXPECT_EQ((Lines{"log <CRIT> [HD]   mine", "mail mine", "trap 21", "status 80100000"}),
            raise(20, nullptr, kAllEvents));
  EXPECT_NE(nullptr, Subject[0]) << "but not what its caller loaded";
}
