// nas1 event, mail, disk, raid, module, status and shutdown, as their users see them.

#include "cli/nas1_command.h"

namespace {

using EventCommand = ApplianceTest;

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
      {{"0", "0"}, "<CRIT> [HD]   disk 2"},         {{"4", "7", "4294967295", "2", "4096"}, "<ERR>  [HD]   volume 7"},
      {{"6", "eth 0"}, "<ERR>  [NW]   link eth 0"}, {{"15", "3"}, "<INFO> [SW]   job monthly"},
      {{"21", "7"}, "<CRIT> [HD]   Raid 7"},
  };
  for (const auto& c : cases) {
    const Lines words = Lines{"event", "raise"} + c.words;
    EXPECT_EQ(0, nas1(words).exitCode) << c.line;
    EXPECT_EQ(c.line, applianceMessages().back());
  }
  const std::size_t logged = applianceLog().size();
  for (const Lines& words : {Lines{"29"}, {"0"}, {"0", "256"}, {"0", "1x"}, {"15", "4"}, {"8", "1"}, {"6", "a\nb"}})
    EXPECT_NE(0, nas1(Lines{"event", "raise", "--"} + words).exitCode) << words[0];
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
    const std::string level = rows[code]["level"];
    const std::string category = rows[code]["category"];
    const Lines logged = applianceMessages();
    EXPECT_EQ(level.empty() ? 0U : 1U, logged.size()) << code;
    for (const std::string& line : logged)
      EXPECT_TRUE(line.starts_with("<" + level + ">") && line.find("[" + category + "]") != std::string::npos) << line;
  }
  EXPECT_EQ(true, eventRow(3, "happened"));
  EXPECT_EQ(false, eventRow(8, "happened")) << "26 ended it";
  storeWord("EVENT_ACTION", 1U << 3);
  EXPECT_EQ(true, eventRow(3, "notify"));
  EXPECT_EQ(false, eventRow(4, "notify"));
}

TEST_F(EventCommand, WaitingMailsAreListedSentAndTakenOffTheList) {
  EXPECT_EQ("nas1: no mail was waiting\n", nas1({"event", "replay"}).err);
  storeWord("EVENT_ACTION", 1U << 10 | 1U << 17);
  (void)done({"event", "raise", "10"});
  (void)done({"event", "raise", "17", "3"});
  EXPECT_EQ("10\tUPS battery low\t\n17\trestore finished\t3\n", nas1({"event", "pending"}).out);
  EXPECT_EQ(
      "nas1: the mail of event 10 (UPS battery low) was sent\nnas1: the mail of event 17 (restore finished) was sent\n",
      nas1({"event", "replay"}).err);
  EXPECT_EQ(2U, awaitCommands(2).size());
  EXPECT_FALSE(exists("/var/log/MailEvent"));
  EXPECT_FALSE(exists("/var/log/RestoreEvent"));
  EXPECT_EQ("", nas1({"event", "pending"}).out);
}

TEST_F(EventCommand, ThePreviewIsTheMailThatWouldBeSent) {
  storeText("ADMIN_EMAIL", "a@example.com;b@example.com");
  storeText("ADMIN_EMAIL_2", "c@example.com");
  storeText("CIFS_SERVER_NAME", "SRV");
  storeWord("EVENT_ACTION", ~0U >> 3);
  const std::string japanese = readFile("/etc/mail/alert.jp").value_or("");
  writeFile("/etc/mail/alert.jp", japanese + "subject8=" + std::string(400, 'j') + "\n");
  const struct {
    const char* language;
    std::uint32_t codePage;
    Lines event;
  } cases[] = {{"en", 0, {"1", "1"}}, {"jp", 932, {"8"}}, {"jp", 932, {"15", "2"}}, {"ko", 949, {"8"}}};
  std::size_t sent = 0;
  for (const auto& c : cases) {
    const std::string preview = nas1(Lines{"mail", "preview", "--language", c.language} + c.event).out;
    EXPECT_NE("", preview);
    EXPECT_EQ(sent, commands().size()) << "nothing is sent";
    // The real one, in the language of the settings.
    storeWord("EMAIL_LANGUAGE", c.codePage);
    (void)done(Lines{"event", "raise"} + c.event);
    const std::string mail = awaitCommands(++sent).back();
    EXPECT_EQ(readFile(mail.substr(std::strlen("/etc/nas1mail "), 21)), preview) << c.language << ' ' << c.event[0];
  }
  writeFile("/etc/mail/alert.jp", japanese);
  EXPECT_EQ(2, nas1({"mail", "preview", "8", "--language", "de"}).exitCode);
}

TEST_F(EventCommand, DisksAndRaid) {
  writeFile("/etc/hotswap.conf", "disks /dev/hdc foo /dev/hda /dev/hdb\n");
  // Kept: an unknown word drops the last disk from the map.
  EXPECT_EQ("0\t3\t/dev/hdc\n2\t2\t/dev/hda\n3\t4\t/dev/hdb\n", nas1({"disk", "list"}).out);
  storeWord("RAID_LEVEL", 6);
  storeWord("FILE_SYSTEM", 2);
  EXPECT_EQ("raid_level\t5\nfile_system\t2\nflag\t1\ncallers\t" + std::string(328, '0') + "\n",
            nas1({"disk", "config"}).out);
  refuseDriverRequest(0x480A);
  EXPECT_EQ("raid_level\t5\nflag\t1\ndriver\t\n", nas1({"raid"}).out);
}

TEST_F(EventCommand, ModulesLiveThroughTheirVerbs) {
  (void)done({"module", "add", "tape", "--description", "Tape backup", "--on-removal", "setled 7 7"});
  (void)done({"module", "add", "clock"});
  EXPECT_EQ(4, nas1({"module", "add", "tape"}).exitCode);
  (void)done({"module", "add", "clock", "--description", "Radio clock", "--replace"});
  EXPECT_EQ("clock\tRadio clock\t\ntape\tTape backup\tsetled 7 7\n", nas1({"module", "list"}).out);
  EXPECT_EQ(3, nas1({"module", "del", "radio"}).exitCode);
  EXPECT_EQ(2, nas1({"module", "add", "n", "--on-removal", std::string(128, 'c')}).exitCode);
  EXPECT_EQ(Lines{}, commands());
  EXPECT_EQ("nas1: the module tape is taken out by: setled 7 7\n", nas1({"module", "del", "tape"}).err);
  EXPECT_EQ(Lines{"/usr/sbin/setled 7 7"}, commands());
}

TEST_F(EventCommand, StatusIsOnePage) {
  storeWord("CIFS_ENABLED", 1);
  writeFile("/etc/service.zelmar", "cifs=yes\nnfs=yes\n");
  writeFile("/var/log/MailEvent", "400");
  ConnectionRecord client = {};
  client.pid = getpid();
  ASSERT_EQ(0, Nas1AddConnection(PROTO_CIFS, &client));
  ASSERT_EQ(0, Nas1Event(12, nullptr));
  for (int i = 0; i < 6; ++i) (void)nas1_log(0, 2, "line %d", i);
  const std::string page = nas1({"status"}).out;
  for (const char* const line :
       {"service\tcifs\ton\n", "service\tnfs\toff\n", "service\tafp\tnot installed\n", "connections\tcifs\t1\n",
        "event\t12\tsupply voltage out of range\n", "waiting mail\t10\tUPS battery low\n", "\t<INFO> [SW]   line 5\n"})
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
