// nas1 event, mail, disk, raid, module, status and shutdown, as their users see them.

#include <algorithm>

#include "api/nas1api.h"
#include "cli/nas1_command.h"

namespace {

using EventCommand = ApplianceTest;

void setText(const std::string& key, const std::string& text) { storeRecord("system.gdbm", key, text + '\0'); }
void setWord(const std::string& key, std::uint32_t word) { storeRecord("system.gdbm", key, bytesOf(word)); }

// The column of an event in nas1 event list.
Json eventRow(unsigned code, const char* column) { return nas1Json({"event", "list"})["events"][code][column]; }

}  // namespace

TEST_F(EventCommand, ARaisedEventIsTheOneThatWasNamed) {
  writeFile("/etc/mail/alert.en",
            "subject0=disk %d\nsubject4=volume %u\nsubject6=link %s\nsubject15=job %s\n"
            "subject21=%s\nbackup2=monthly\n");
  // The numbers of the disks are read by the first event of a process.
  writeFile("/etc/hotswap.conf", "disks /dev/hdc /dev/hda\n");
  const struct {
    Lines words;
    const char* line;
  } cases[] = {
      {{"0", "0"}, "<CRIT> [HD]   disk 2"},
      {{"0", "255"}, "<CRIT> [HD]   disk 256"},
      {{"4", "7", "4294967295", "2", "4096"}, "<ERR>  [HD]   volume 7"},
      {{"6", "eth 0"}, "<ERR>  [NW]   link eth 0"},
      {{"15", "3"}, "<INFO> [SW]   job monthly"},
      {{"21", "7"}, "<CRIT> [HD]   Raid 7"},
      {{"8"}, "<CRIT> [HW]   "},
  };
  for (const auto& c : cases) {
    Lines words = {"event", "raise"};
    words.insert(words.end(), c.words.begin(), c.words.end());
    EXPECT_EQ(0, nas1(words).exitCode) << c.line;
    EXPECT_EQ(c.line, applianceMessages().back());
  }
  const Lines refused[] = {{"29"},      {"-1"},      {"x"},      {"0"},      {"0", "256"}, {"0", "1", "2"},
                           {"0", "1x"}, {"15", "4"}, {"8", "1"}, {"4", "1"}, {"6", "a\nb"}};
  const std::size_t logged = applianceLog().size();
  for (const Lines& words : refused) {
    Lines all = {"event", "raise", "--"};
    all.insert(all.end(), words.begin(), words.end());
    const CommandResult result = nas1(all);
    EXPECT_NE(0, result.exitCode) << words[0];
    EXPECT_TRUE(result.err.starts_with("nas1: ")) << result.err;
  }
  EXPECT_EQ(logged, applianceLog().size());
}

// The table that people see and what the library does must not part.
TEST_F(EventCommand, TheListSaysWhatHappens) {
  std::string templates;
  for (int code = 0; code < EVENT_COUNT; ++code) templates += "subject" + std::to_string(code) + "=s\n";
  writeFile("/etc/mail/alert.en", templates);
  const Json rows = nas1Json({"event", "list"})["events"];
  ASSERT_EQ(29U, rows.size());
  for (unsigned code = 0; code < EVENT_COUNT; ++code) {
    (void)unlink("/var/log/nas1log");
    std::int32_t words[4] = {1, 1, 1, 1024};
    char text[] = "eth0";
    const std::string argument = rows[code]["argument"];
    void* const arg = argument == "INTERFACE" || argument == "TEXT" ? static_cast<void*>(text) : words;
    EXPECT_EQ(0, Nas1Event(code, argument.empty() ? nullptr : arg));
    Lines tags;
    const std::string level = rows[code]["level"];
    const std::string category = rows[code]["category"];
    for (const std::string& line : applianceMessages()) {
      EXPECT_TRUE(line.starts_with("<" + level + ">") && line.find("[" + category + "]") != std::string::npos) << line;
      tags.push_back(line);
    }
    EXPECT_EQ(level.empty() ? 0U : 1U, tags.size()) << code;
  }
  EXPECT_EQ(true, eventRow(3, "happened"));
  EXPECT_EQ(false, eventRow(8, "happened")) << "26 ended it";
  setWord("EVENT_ACTION", 1U << 3);
  EXPECT_EQ(true, eventRow(3, "notify"));
  EXPECT_EQ(false, eventRow(4, "notify"));
}

TEST_F(EventCommand, WaitingMailsAreListedSentAndTakenOffTheList) {
  EXPECT_EQ("nas1: no mail was waiting\n", nas1({"event", "replay"}).err);
  setWord("EVENT_ACTION", 1U << 10 | 1U << 17);
  ASSERT_EQ(0, nas1({"event", "raise", "10"}).exitCode);
  ASSERT_EQ(0, nas1({"event", "raise", "17", "3"}).exitCode);
  EXPECT_EQ("10\tUPS battery low\t\n17\trestore finished\t3\n", nas1({"event", "pending"}).out);
  const CommandResult sent = nas1({"event", "replay"});
  EXPECT_EQ(
      "nas1: the mail of event 10 (UPS battery low) was sent\nnas1: the mail of event 17 (restore finished) was sent\n",
      sent.err);
  EXPECT_EQ(2U, awaitCommands(2).size());
  EXPECT_FALSE(exists("/var/log/MailEvent"));
  EXPECT_FALSE(exists("/var/log/RestoreEvent"));
  EXPECT_EQ("", nas1({"event", "pending"}).out);
}

TEST_F(EventCommand, ThePreviewIsTheMailThatWouldBeSent) {
  setText("ADMIN_EMAIL", "a@example.com;b@example.com");
  setText("ADMIN_EMAIL_2", "c@example.com");
  setText("CIFS_SERVER_NAME", "SRV");
  const std::string japanese = readFile("/etc/mail/alert.jp").value_or("");
  const std::string english = readFile("/etc/mail/alert.en").value_or("");
  const std::string longSubject(400, 'j');
  writeFile("/etc/mail/alert.jp", japanese + "subject8=" + longSubject + "\n");
  const struct {
    const char* language;
    std::uint32_t codePage;
    Lines event;
  } cases[] = {{"en", 0, {"0", "1"}},    {"jp", 932, {"0", "1"}},  {"jp", 932, {"8"}},
               {"en", 0, {"6", "eth1"}}, {"jp", 932, {"15", "2"}}, {"ko", 949, {"8"}}};
  std::size_t sent = 0;
  for (const auto& c : cases) {
    Lines words = {"mail", "preview", "--language", c.language};
    words.insert(words.end(), c.event.begin(), c.event.end());
    const std::string preview = nas1(words).out;
    EXPECT_EQ(sent, commands().size()) << "nothing is sent";
    // The real one, in the language of the settings.
    setWord("EMAIL_LANGUAGE", c.codePage);
    setWord("EVENT_ACTION", ~0U >> 3);
    words = {"event", "raise"};
    words.insert(words.end(), c.event.begin(), c.event.end());
    EXPECT_EQ(0, nas1(words).exitCode);
    Lines ran = awaitCommands(++sent);
    if (c.event[0] == "0") ran = awaitCommands(++sent);  // and the LED
    const auto mail = std::find_if(ran.rbegin(), ran.rend(),
                                   [](const std::string& line) { return line.starts_with("/etc/nas1mail "); });
    ASSERT_NE(ran.rend(), mail);
    EXPECT_EQ(readFile(mail->substr(14, 21)), preview) << c.language << ' ' << c.event[0];
    EXPECT_NE("", preview);
    // Without a language it is that of the settings.
    words = {"mail", "preview"};
    words.insert(words.end(), c.event.begin(), c.event.end());
    EXPECT_EQ(preview, nas1(words).out);
  }
  writeFile("/etc/mail/alert.jp", japanese);
  EXPECT_EQ(2, nas1({"mail", "preview", "8", "--language", "de"}).exitCode);
  EXPECT_EQ(3, nas1({"mail", "preview", "77"}).exitCode);
}

TEST_F(EventCommand, DisksAndRaid) {
  writeFile("/etc/hotswap.conf", "disks /dev/hdc foo /dev/hda /dev/hdb\n");
  // Kept: an unknown word drops the last disk from the map.
  EXPECT_EQ("0\t3\t/dev/hdc\n2\t2\t/dev/hda\n3\t4\t/dev/hdb\n", nas1({"disk", "list"}).out);
  setWord("RAID_LEVEL", 6);
  setWord("FILE_SYSTEM", 2);
  const Json config = nas1Json({"disk", "config"})["disk_config"];
  EXPECT_EQ(Json::parse(R"([5, 2, 1])"), (Json{config["raid_level"], config["file_system"], config["flag"]}));
  EXPECT_EQ(std::string(328, '0'), config["callers"]);
  writeFile("/run/nas1-driver/raid", std::string(176, '\x5A'));
  const Json raid = nas1Json({"raid"})["raid"];
  EXPECT_EQ(5, raid["raid_level"]);
  EXPECT_TRUE(raid["driver"].get<std::string>().starts_with("5a5a"));
  refuseDriverRequest(0x480A);
  EXPECT_EQ(1, nas1({"raid"}).exitCode);
  EXPECT_EQ("raid_level\t5\nflag\t1\ndriver\t\n", nas1({"raid"}).out);
}

TEST_F(EventCommand, ModulesLiveThroughTheirVerbs) {
  ASSERT_EQ(0, nas1({"module", "add", "tape", "--description", "Tape backup", "--on-removal", "setled 7 7"}).exitCode);
  ASSERT_EQ(0, nas1({"module", "add", "clock"}).exitCode);
  EXPECT_EQ(4, nas1({"module", "add", "tape"}).exitCode);
  EXPECT_EQ("clock\t\t\ntape\tTape backup\tsetled 7 7\n", nas1({"module", "list"}).out);
  ASSERT_EQ(0, nas1({"module", "add", "clock", "--description", "Radio clock", "--replace"}).exitCode);
  EXPECT_EQ("Radio clock", nas1Json({"module", "show", "clock"})["module"]["description"]);
  EXPECT_EQ(3, nas1({"module", "show", "radio"}).exitCode);
  EXPECT_EQ(3, nas1({"module", "del", "radio"}).exitCode);
  EXPECT_EQ(2, nas1({"module", "add", std::string(32, 'n')}).exitCode);
  EXPECT_EQ(2, nas1({"module", "add", ""}).exitCode);
  EXPECT_EQ(2, nas1({"module", "add", "n", "--on-removal", std::string(128, 'c')}).exitCode);
  EXPECT_EQ(Lines{}, commands());
  EXPECT_EQ("nas1: the module tape is taken out by: setled 7 7\n", nas1({"module", "del", "tape"}).err);
  EXPECT_EQ(Lines{"/usr/sbin/setled 7 7"}, commands());
  EXPECT_EQ("clock\tRadio clock\t\n", nas1({"module", "list"}).out);
}

TEST_F(EventCommand, StatusIsOnePage) {
  setWord("CIFS_ENABLED", 1);
  setWord("SNMP_STATE", 1);
  writeFile("/etc/service.zelmar", "cifs=yes\nsnmp=yes\nnfs=yes\n");
  writeFile("/var/log/MailEvent", "400");
  ConnectionRecord client = {};
  client.pid = getpid();
  ASSERT_EQ(0, Nas1AddConnection(PROTO_CIFS, &client));
  ASSERT_EQ(0, Nas1Event(12, nullptr));
  for (int i = 0; i < 6; ++i) (void)nas1_log(0, 2, "line %d", i);
  const std::string page = nas1({"status"}).out;
  for (const char* const line :
       {"service\tcifs\ton\n", "service\tnfs\toff\n", "service\tafp\tnot installed\n", "service\tsnmp\ton\n",
        "connections\tcifs\t1\n", "connections\tafp\t0\n", "event\t12\tsupply voltage out of range\n",
        "waiting mail\t10\tUPS battery low\n", "\t<INFO> [SW]   line 5\n"})
    EXPECT_NE(std::string::npos, page.find(line)) << line << "is not in\n" << page;
  EXPECT_EQ(std::string::npos, page.find("line 0")) << "only the last five";
  ASSERT_EQ(0, Nas1DelConnection(PROTO_CIFS, client.pid));
}

TEST_F(EventCommand, ShutdownIsOneRequest) {
  EXPECT_EQ(0, nas1({"shutdown", "--yes"}).exitCode);
  EXPECT_EQ(Lines{"0x480B 0"}, driverRequests());
  refuseDriverRequest(0x480B);
  EXPECT_EQ(1, nas1({"shutdown"}).exitCode);
}
