// Alert mails byte for byte.

#include <sys/mount.h>

#include "events/event_fixture.h"
#include "status/disks.h"

namespace {

class AlertMail : public EventFixture {
 protected:
  // Loads templates for a language and makes it that of the mails.
  void speak(int lang, const std::string& templates) {
    static constexpr std::uint32_t codePages[MAIL_LANGUAGE_COUNT] = {437, 950, 932, 949, 936};
    storeWord("EMAIL_LANGUAGE", codePages[lang]);
    (void)NasMailMsgFree(lang);
    writeFile(templateFiles[lang], templates);
    EXPECT_EQ(0, Nas1SendMail(8, nullptr));
    EXPECT_EQ(1, NasMailMsgInit(lang));
  }
};

std::string encoded(const std::string& text) {
  std::vector<char> room(2 * text.size() + 8, '\x11');
  std::memcpy(room.data(), text.c_str(), text.size() + 1);
  EncodeHeader(room.data());
  return room.data();
}

// A mail that "SRV" sends without an address of its own.
std::string mailOf(const std::string& subject, const std::string& text) {
  return "Subject: " + subject + "\nFrom: SRV\nTo: R\n\n" + text + ".\n";
}

constexpr std::int32_t disk = 0;  // the second drive letter in the tests' hot-swap file
constexpr std::int32_t job = 2;
constexpr std::int32_t raid = 2;
constexpr std::int32_t none = -1;
constexpr std::uint32_t volume[4] = {7, 3000000, 500, 4096};
constexpr std::uint32_t hugeVolume[4] = {0xFFFFFFFE, 4000000000, 3000000, 2047};  // product and quotient in 32 bits

}  // namespace

TEST_F(AlertMail, EveryEventInEveryLanguage) {
  // The templates of these events, and what they become; each is preceded by language and number.
  const struct {
    std::vector<unsigned> codes;
    const void* arg;
    const char *subjectTemplate, *bodyTemplate;
    const char *subject, *body;
  } cases[] = {
      // clang-format off
      {{0, 1, 2, 3, 5}, &disk, "<%3d>", "%s <%d>", "<  2>", "SRV <2>"},
      {{4}, volume, "<%u>", "%s: %u %u %u %.2f GB %.4f KB", "<7>", "SRV: 7 7 7 11.44 GB 2000.0000 KB"},
      {{4}, hugeVolume, "<%u>", "%s: %u %u %u %.2f GB %.4f KB",
       "<4294967294>", "SRV: 4294967294 4294967294 4294967294 3814.70 GB 1802766.3125 KB"},
      {{6, 7}, "eth%d", "<%6s>", "%s <%s>", "< eth%d>", "SRV <eth%d>"},
      {{8, 9, 10, 11, 12, 13, 14, 19, 20, 23, 24, 25}, nullptr, "5%% %d", "%s 5%%", "5%% %d", "SRV 5%"},
      {{15, 16, 17, 18}, &job, "<%s>", "%s <%s>", "<weekly>", "SRV <weekly>"},
      {{21}, &raid, "<%s>", "%s <%s>", "<Raid 2>", "SRV <RAID 2>"},
      {{21}, &none, "<%s>", "%s <%s>", "<None-Raid>", "SRV <None Raid>"},
      {{22}, &disk, "<%d>", "%s <%d>", "<%d>", "SRV <2>"},
      {{26, 27}, nullptr, "5%%", "%s", "5%%", nullptr},
      {{28}, "as passed", "<%s>", "%s", "<%s>", "SRV"},
      {{29, 0xFFFFFFFF}, &disk, "", "%s", nullptr, nullptr},
      // clang-format on
  };
  writeFile("/etc/hotswap.conf", "disks /dev/hdc /dev/hda\n");
  initDiskNumMap();
  for (int lang = 0; lang < MAIL_LANGUAGE_COUNT; ++lang) {
    const auto own = [&](unsigned code) { return std::to_string(lang) + "." + std::to_string(code) + " "; };
    std::string templates = "backup0=daily\nbackup1=weekly\nbackup2=monthly\n";
    for (const auto& c : cases)
      for (const unsigned code : c.codes)
        templates += "subject" + std::to_string(code) + "=" + own(code) + c.subjectTemplate + "\nbody" +
                     std::to_string(code) + "=" + own(code) + c.bodyTemplate + "\\n\n";
    speak(lang, templates);
    for (const auto& c : cases) {
      for (const unsigned code : c.codes) {
        std::string subject = c.subject == nullptr ? "" : own(code) + c.subject;
        if (lang == 2) subject = "=?iso-2022-jp?B?" + encoded(subject) + "=?=";
        EXPECT_EQ(mailOf(subject, c.body == nullptr ? "" : own(code) + c.body + "\n"), mailText(code, c.arg))
            << "language " << lang << ", event " << code;
      }
    }
    (void)NasMailMsgFree(lang);
  }
  EXPECT_EQ(Lines{}, applianceLog());
}

TEST_F(AlertMail, HeadersAreEncodedWithTheirNulAndWithoutPadding) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "AAAA"},
      {"a", "YQAA"},
      {"ab", "YWIA"},
      {"abc", "YWJjAAAA"},
      {"\xFB\xEF\xBE", "++++AAAA"},
      {"\xFF\xFF\xFF", "////AAAA"},
  };
  for (const auto& [text, header] : cases) EXPECT_EQ(header, encoded(text));
}

TEST_F(AlertMail, TheSenderFollowsTheSettings) {
  speak(0, "subject8=s\nbody8=b\\n\n");
  const std::string most(128, 'f');
  const struct {
    const char* installed;
    std::string sender, email, email2, line;
  } cases[] = {
      {"no", "from@x", "a@x", "c@x", "SRV"},
      {"yes", "USE_ADMINMAIL_ADDR", "a@x;b@x", "c@x", "\"SRV\"<a@x;b@x>"},
      {"yes", "USE_ADMINMAIL_ADDR", "", "c@x", "\"SRV\"<c@x>"},
      {"yes", "USE_ADMINMAIL_ADDR", "", "", "\"SRV\"<SRV@SRV>"},
      {"yes", "USE_ADMINMAIL_ADD-and-more", "a@x", "", "\"SRV\"<a@x>"},     // 17 characters count,
      {"yes", "USE_ADMINMAIL_AD", "a@x", "", "\"SRV\"<USE_ADMINMAIL_AD>"},  // 16 do not
      {"yes", "", "a@x", "c@x", "\"SRV\"<SRV@SRV>"},
      {"yes", most + "more", "", "", "\"SRV\"<" + most + ">"},
  };
  for (const auto& c : cases) {
    writeFile("/etc/service.zelmar", "lvm=yes\nsender_address=" + std::string(c.installed) + "\n");
    storeText("SENDER_ADDRESS", c.sender);
    storeText("ADMIN_EMAIL", c.email);
    storeText("ADMIN_EMAIL_2", c.email2);
    EXPECT_EQ("Subject: s\nFrom: " + c.line + "\nTo: R\n\nb\n.\n", mailText(8, nullptr)) << c.line;
  }
}

TEST_F(AlertMail, TheSenderProgramGetsFileRecipientsAndWhatToDelete) {
  const struct {
    std::string email, email2, recipients;
  } cases[] = {
      {"a@x;b@x", "c@x", "a@x,b@x,c@x"},
      {"", "", ","},
      {";a@x;;b@x;", "", "a@x,b@x,"},
      {std::string(250, 'a'), std::string(150, 'c'), std::string(200, 'a') + "," + std::string(128, 'c')},
  };
  writeFile(templateFiles[0], "subject8=s\nbody8=b\\n\n");
  for (const auto& c : cases) {
    storeText("ADMIN_EMAIL", c.email);
    storeText("ADMIN_EMAIL_2", c.email2);
    EXPECT_EQ(0, Nas1SendMailDelFile(8, nullptr, "/tmp/delete.me"));
    const SentMail mail = sentMails().back();
    EXPECT_EQ(c.recipients, mail.recipients);
    EXPECT_EQ("/tmp/delete.me", mail.toDelete);
    EXPECT_EQ("Subject: s\nFrom: SRV\nTo: " + c.recipients + "\n\nb\n.\n", mail.text);
    struct stat status = {};
    EXPECT_EQ(0, stat(mail.spool.c_str(), &status));
    EXPECT_EQ(0600U, status.st_mode & 07777U);
  }
  EXPECT_EQ(nullptr, Subject[0]) << "what a mail loaded is freed with it";
  ASSERT_EQ(1, NasMailMsgInit(0));
  EXPECT_EQ(0, Nas1SendMail(8, nullptr));
  EXPECT_EQ("", sentMails().back().toDelete);
  EXPECT_STREQ("s", Subject[0][8]) << "what its caller loaded is not";

  // A spool that cannot be written stops nothing.
  ASSERT_EQ(0, mount("none", "/var/spool", "tmpfs", MS_RDONLY, nullptr));
  EXPECT_EQ(0, Nas1SendMail(8, nullptr));
  EXPECT_EQ("(no file)", sentMails().back().text);
  EXPECT_EQ(0, umount("/var/spool"));
}

// The whole way: the sender program speaks to the mail host, then deletes the spool file and the one it was told of.
TEST_F(AlertMail, TheMailHostReceivesWhatWasWritten) {
  letHelpersAct();
  writeFile(templateFiles[0], "subject6=link of %s\nbody6=%s:\\n.hidden\\n..twice\\n%s\\n\n");
  writeFile("/etc/service.zelmar", "sender_address=yes\n");
  storeText("SENDER_ADDRESS", "box@example.com");
  storeText("ADMIN_EMAIL", "a@example.com;b@example.com");
  writeFile("/tmp/delete.me", "");
  EXPECT_EQ(0, Nas1SendMailDelFile(6, "eth0", "/tmp/delete.me"));
  EXPECT_TRUE(comes([] { return !exists("/tmp/delete.me"); }));
  EXPECT_EQ(
      "MAIL FROM:<box@example.com>\nRCPT TO:<a@example.com>\nRCPT TO:<b@example.com>\n"
      "Subject: link of eth0\nFrom: \"SRV\"<box@example.com>\nTo: a@example.com,b@example.com,\n\n"
      "SRV:\n.hidden\n..twice\neth0\n\n",
      readFile("/var/log/appliance/mail"));
  for (const auto& entry : std::filesystem::directory_iterator("/var/spool"))
    EXPECT_FALSE(entry.path().filename().string().starts_with("NAS1")) << entry.path();
  endProcess("mail-receiver");
}

TEST_F(AlertMail, WhatIsAbsentIsZeroOrEmpty) {
  speak(0, "backup1=weekly\n");
  for (const unsigned code : {0U, 4U, 8U, 15U, 21U}) EXPECT_EQ(mailOf("", ""), mailText(code, volume)) << code;
  std::string templates = "backup0=daily\nbackup2=monthly\nsubject4=<%d>\nbody4=%s %d %d %d %.1f %.1f\n";
  for (const char* const code : {"6", "15", "21"})
    templates += "subject" + std::string(code) + "=<%s>\nbody" + code + "=%s <%s>\n";
  speak(0, templates + "subject0=<%d>\nbody0=%s <%d>\n");
  initDiskNumMap();
  for (const std::int32_t word : {256, -2, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ(mailOf("<0>", "SRV <0>"), mailText(0, &word)) << word;
    EXPECT_EQ(mailOf("<>", "SRV <>"), mailText(15, &word)) << word;
  }
  EXPECT_EQ(mailOf("<0>", "SRV 0 0 0 0.0 0.0"), mailText(4, nullptr));
  EXPECT_EQ(mailOf("<-1>", "SRV -1 -1 -1 0.0 0.0"), mailText(4, &none)) << "replayed";
  EXPECT_EQ(mailOf("<Raid 0>", "SRV <RAID 0>"), mailText(21, nullptr));
  for (const void* const arg : {static_cast<const void*>(nullptr), static_cast<const void*>(&none)}) {
    EXPECT_EQ(mailOf("<0>", "SRV <0>"), mailText(0, arg));
    EXPECT_EQ(mailOf("<>", "SRV <>"), mailText(6, arg));
  }
}

TEST_F(AlertMail, TextsAreCutWhereTheirFieldsEnd) {
  const std::string most(900, 'm');
  speak(0, "subject6=" + most + "%s\nbody6=%s " + most + " %s\\n\n");
  const std::string argument(5000, 'a');
  EXPECT_EQ(mailOf(std::string(245, 'm'), "SRV " + most + " " + argument + "\n"), mailText(6, argument.c_str()));
  speak(2, "subject6=" + most + "\n");
  const std::string japanese = mailText(6, "x");
  const std::string line = japanese.substr(0, japanese.find('\n') + 1);
  EXPECT_EQ(255U, line.size());
  EXPECT_TRUE(line.starts_with("Subject: =?iso-2022-jp?B?bW1t") && line.ends_with("bW=?=\n")) << line;
}

// Texts are formats; one that wants what its event does not have is used as it stands.
TEST_F(AlertMail, TextsThatDoNotFitTheirEventStayUnformatted) {
  const char zero[] = "\0\0\0\0";
  const struct {
    unsigned code;
    const char* arg;               // a text, or the bytes of a word
    const char *text, *formatted;  // null: it does not fit
  } cases[] = {
      // clang-format off
      {0, zero, "disk %n", nullptr}, {0, zero, "disk %s", nullptr}, {0, zero, "disk %d %d", nullptr},
      {0, zero, "disk %ld", nullptr}, {0, zero, "disk %*d", nullptr}, {0, zero, "disk %2$d", nullptr},
      {0, zero, "disk %.99999999999d", nullptr}, {0, zero, "100 %", nullptr}, {6, "eth0", "%s %s", nullptr},
      {0, zero, "none at all", "none at all"}, {0, zero, "%%%-+4i%%n", "%+1  %n"}, {6, "%n%s", "%6s", "  %n%s"},
      // clang-format on
  };
  (void)unlink("/etc/hotswap.conf");
  initDiskNumMap();
  for (const auto& c : cases) {
    (void)unlink("/var/log/nas1log");
    const std::string key = std::to_string(c.code);
    speak(0, "backup0=daily\nsubject" + key + "=" + c.text + "\nbody" + key + "=%s\n");
    EXPECT_EQ(mailOf(c.formatted == nullptr ? c.text : c.formatted, "SRV"), mailText(c.code, c.arg)) << c.text;
    const Lines log = applianceMessages();
    ASSERT_EQ(c.formatted == nullptr ? 1U : 0U, log.size()) << c.text;
    for (const std::string& line : log)
      EXPECT_TRUE(line.ends_with(" warning! text does not fit its arguments: " + std::string(c.text))) << line;
  }
  // Where a text is formatted a second time, percent signs of the server's name are not taken for conversions.
  storeText("CIFS_SERVER_NAME", "A%sB%%n");
  speak(0, "body21=%s: %s\n");
  EXPECT_EQ("Subject: \nFrom: A%sB%%n\nTo: R\n\nA%sB%%n: RAID 3.\n", mailText(21, "\3\0\0\0"));
}
