// Alert mails byte for byte.

#include <cstring>

#include <sys/mount.h>
#include <sys/stat.h>

#include "events/event_fixture.h"
#include "status/disks.h"

namespace {

class AlertMail : public EventFixture {
 protected:
  // Loads templates for a language and makes it that of the mails.
  void speak(int lang, const std::string& templates) {
    static constexpr std::uint32_t codePages[MAIL_LANGUAGE_COUNT] = {437, 950, 932, 949, 936};
    setWord("EMAIL_LANGUAGE", codePages[lang]);
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

// The lines that two texts of an event make of a mail; "SRV" sends without an address of its own.
std::string mailOf(const std::string& subject, const std::string& text) {
  return "Subject: " + subject + "\nFrom: SRV\nTo: R\n\n" + text + ".\n";
}

constexpr std::int32_t kDisk = 0;  // the second drive letter in the tests' hot-swap file
constexpr std::int32_t kJob = 2;
constexpr std::int32_t kRaid = 2;
constexpr std::int32_t kNone = -1;
constexpr std::uint32_t volume[4] = {7, 3000000, 500, 4096};
constexpr std::uint32_t hugeVolume[4] = {0xFFFFFFFE, 4000000000, 3000000, 2047};  // product and quotient in 32 bits

struct TextCase {
  unsigned code;
  const void* arg;
  const char* subjectTemplate;
  const char* bodyTemplate;
  const char* subject;
  const char* body;
};

constexpr char kWords[] = "%s: %u %u %u %.2f GB %.4f KB\\n";

const TextCase textCases[] = {
    {0, &kDisk, "S0 <%d>", "%s B0 <%d>\\n", "S0 <2>", "SRV B0 <2>\n"},
    {1, &kDisk, "S1 <%d>", "%s B1 <%d>\\n", "S1 <2>", "SRV B1 <2>\n"},
    {2, &kDisk, "S2 <%3d>", "%s B2 <%d>\\n", "S2 <  2>", "SRV B2 <2>\n"},
    {3, &kDisk, "S3 <%d>", "%s B3 <%d>\\n", "S3 <2>", "SRV B3 <2>\n"},
    {4, volume, "S4 <%u>", kWords, "S4 <7>", "SRV: 7 7 7 11.44 GB 2000.0000 KB\n"},
    {4, hugeVolume, "S4 <%u>", kWords, "S4 <4294967294>",
     "SRV: 4294967294 4294967294 4294967294 3814.70 GB 1802766.3125 KB\n"},
    {5, &kDisk, "S5 <%d>", "%s B5 <%d>\\n", "S5 <2>", "SRV B5 <2>\n"},
    {6, "eth%d", "S6 <%s>", "%s B6 <%s>\\n", "S6 <eth%d>", "SRV B6 <eth%d>\n"},
    {7, "eth1", "S7 <%5s>", "%s B7 <%s>\\n", "S7 < eth1>", "SRV B7 <eth1>\n"},
    {8, nullptr, "S8 5%% %d", "%s B8 5%%\\n", "S8 5%% %d", "SRV B8 5%\n"},
    {9, nullptr, "S9 5%%", "%s B9\\n", "S9 5%%", "SRV B9\n"},
    {10, nullptr, "S10 5%%", "%s B10\\n", "S10 5%%", "SRV B10\n"},
    {11, nullptr, "S11 5%%", "%s B11\\n", "S11 5%%", "SRV B11\n"},
    {12, nullptr, "S12 5%%", "%s B12\\n", "S12 5%%", "SRV B12\n"},
    {13, nullptr, "S13 5%%", "%s B13\\n", "S13 5%%", "SRV B13\n"},
    {14, nullptr, "S14 5%%", "%s B14\\n", "S14 5%%", "SRV B14\n"},
    {15, &kJob, "S15 <%s>", "%s B15 <%s>\\n", "S15 <weekly>", "SRV B15 <weekly>\n"},
    {16, &kJob, "S16 <%s>", "%s B16 <%s>\\n", "S16 <weekly>", "SRV B16 <weekly>\n"},
    {17, &kJob, "S17 <%s>", "%s B17 <%s>\\n", "S17 <weekly>", "SRV B17 <weekly>\n"},
    {18, &kJob, "S18 <%s>", "%s B18 <%s>\\n", "S18 <weekly>", "SRV B18 <weekly>\n"},
    {19, nullptr, "S19 5%%", "%s B19\\n", "S19 5%%", "SRV B19\n"},
    {20, nullptr, "S20 5%%", "%s B20\\n", "S20 5%%", "SRV B20\n"},
    {21, &kRaid, "S21 <%s>", "%s B21 <%s>\\n", "S21 <Raid 2>", "SRV B21 <RAID 2>\n"},
    {21, &kNone, "S21 <%s>", "%s B21 <%s>\\n", "S21 <None-Raid>", "SRV B21 <None Raid>\n"},
    {22, &kDisk, "S22 <%d>", "%s B22 <%d>\\n", "S22 <%d>", "SRV B22 <2>\n"},
    {23, nullptr, "S23 5%%", "%s B23\\n", "S23 5%%", "SRV B23\n"},
    {24, nullptr, "S24 5%%", "%s B24\\n", "S24 5%%", "SRV B24\n"},
    {25, nullptr, "S25 5%%", "%s B25\\n", "S25 5%%", "SRV B25\n"},
    {26, nullptr, "S26 5%%", "%s B26\\n", "S26 5%%", ""},
    {27, nullptr, "S27 5%%", "%s B27\\n", "S27 5%%", ""},
    {28, "as passed", "S28 <%s>", "%s B28\\n", "S28 <%s>", "SRV B28\n"},
    {29, &kDisk, "S29", "%s B29", "", ""},
    {0xFFFFFFFF, nullptr, "S", "B", "", ""},
};

}  // namespace

TEST_F(AlertMail, EveryEventInEveryLanguage) {
  writeFile("/etc/hotswap.conf", "disks /dev/hdc /dev/hda\n");
  initDiskNumMap();
  for (int lang = 0; lang < MAIL_LANGUAGE_COUNT; ++lang) {
    const std::string own = std::to_string(lang);  // every language has texts of its own
    std::string templates = "backup0=daily\nbackup1=weekly\nbackup2=monthly\n";
    for (const TextCase& c : textCases) {
      templates += "subject" + std::to_string(c.code) + "=" + own + c.subjectTemplate + "\n";
      templates += "body" + std::to_string(c.code) + "=" + own + c.bodyTemplate + "\n";
    }
    speak(lang, templates);
    for (const TextCase& c : textCases) {
      const bool known = c.code < EVENT_COUNT;
      std::string subject = (known ? own : "") + c.subject;
      if (lang == 2) subject = "=?iso-2022-jp?B?" + encoded(subject) + "=?=";
      const std::string text = *c.body == '\0' ? "" : own + c.body;
      EXPECT_EQ(mailOf(subject, text), mailText(c.code, c.arg)) << "language " << lang << ", event " << c.code;
    }
    (void)NasMailMsgFree(lang);
  }
  EXPECT_EQ(Lines{}, applianceLog());
}

TEST_F(AlertMail, HeadersAreEncodedWithTheirNulAndWithoutPadding) {
  const struct {
    const char* text;
    const char* encoded;
  } cases[] = {
      {"", "AAAA"},
      {"a", "YQAA"},
      {"ab", "YWIA"},
      {"abc", "YWJjAAAA"},
      {"abcd", "YWJjZAAA"},
      {"\x1B$B%\xFF\x1B(B", "GyRCJf8bKEIA"},
      {"\xFB\xEF\xBE", "++++AAAA"},
      {"\xFF\xFF\xFF", "////AAAA"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.encoded, encoded(c.text));
  std::string alphabet;
  for (int n = 0; n < 64; ++n) alphabet += static_cast<char>(CharMap(n));
  EXPECT_EQ("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/", alphabet);
  for (const int outside : {-1, 64, 1000, -1000}) EXPECT_EQ(-1, CharMap(outside));
  EncodeHeader(nullptr);
}

TEST_F(AlertMail, TheSenderFollowsTheSettings) {
  speak(0, "subject8=s\nbody8=b\\n\n");
  const struct {
    const char* name;
    const char* installed;
    std::string sender, email, email2, line;
  } cases[] = {
      {"not installed", "no", "from@x", "a@x", "c@x", "SRV"},
      {"its own", "yes", "from@x", "a@x", "c@x", "\"SRV\"<from@x>"},
      {"the administrator's", "yes", "USE_ADMINMAIL_ADDR", "a@x;b@x", "c@x", "\"SRV\"<a@x;b@x>"},
      {"the second one", "yes", "USE_ADMINMAIL_ADDR", "", "c@x", "\"SRV\"<c@x>"},
      {"neither", "yes", "USE_ADMINMAIL_ADDR", "", "", "\"SRV\"<SRV@SRV>"},
      {"17 characters count", "yes", "USE_ADMINMAIL_ADD-and-more", "a@x", "", "\"SRV\"<a@x>"},
      {"16 do not", "yes", "USE_ADMINMAIL_AD", "a@x", "", "\"SRV\"<USE_ADMINMAIL_AD>"},
      {"none", "yes", "", "a@x", "c@x", "\"SRV\"<SRV@SRV>"},
      {"cut to its field", "yes", std::string(150, 'f'), "", "", "\"SRV\"<" + std::string(128, 'f') + ">"},
      {"the administrator's cut", "yes", "USE_ADMINMAIL_ADDR", std::string(150, 'a'), "",
       "\"SRV\"<" + std::string(128, 'a') + ">"},
  };
  for (const auto& c : cases) {
    writeFile("/etc/service.zelmar", "lvm=yes\nsender_address=" + std::string(c.installed) + "\n");
    setText("SENDER_ADDRESS", c.sender);
    setText("ADMIN_EMAIL", c.email);
    setText("ADMIN_EMAIL_2", c.email2);
    EXPECT_EQ("Subject: s\nFrom: " + c.line + "\nTo: R\n\nb\n.\n", mailText(8, nullptr)) << c.name;
  }
  // 20 characters of the server's name are told.
  writeFile("/etc/service.zelmar", "");
  setText("CIFS_SERVER_NAME", "TWENTY-CHARACTERS-XY-AND-MORE");
  EXPECT_EQ("Subject: s\nFrom: TWENTY-CHARACTERS-XY\nTo: R\n\nb\n.\n", mailText(8, nullptr));
}

TEST_F(AlertMail, TheSenderProgramGetsFileRecipientsAndWhatToDelete) {
  const struct {
    std::string email, email2, recipients;
  } cases[] = {
      {"a@x;b@x", "c@x", "a@x,b@x,c@x"},
      {"", "c@x", "c@x,"},
      {"a@x", "", "a@x,"},
      {"", "", ","},
      {";;", "c@x", "c@x,"},
      {";a@x;;b@x;", "", "a@x,b@x,"},
      {std::string(250, 'a'), std::string(150, 'c'), std::string(200, 'a') + "," + std::string(128, 'c')},
  };
  writeFile(templateFiles[0], "subject8=s\nbody8=b\\n\n");
  std::size_t sent = 0;
  for (const auto& c : cases) {
    setText("ADMIN_EMAIL", c.email);
    setText("ADMIN_EMAIL_2", c.email2);
    EXPECT_EQ(0, sent % 2 == 0 ? Nas1SendMail(8, nullptr) : Nas1SendMailDelFile(8, nullptr, "/tmp/delete.me"));
    const std::vector<SentMail> mails = sentMails();
    ASSERT_EQ(sent + 1, mails.size());
    const SentMail& mail = mails.back();
    EXPECT_EQ(c.recipients, mail.recipients);
    EXPECT_EQ(sent % 2 == 0 ? "" : "/tmp/delete.me", mail.toDelete);
    EXPECT_EQ("Subject: s\nFrom: SRV\nTo: " + c.recipients + "\n\nb\n.\n", mail.text);
    EXPECT_TRUE(mail.spool.starts_with("/var/spool/NAS1") && mail.spool.size() == 21) << mail.spool;
    struct stat status = {};
    EXPECT_EQ(0, stat(mail.spool.c_str(), &status));
    EXPECT_EQ(0600U, status.st_mode & 07777U);
    ++sent;
  }
  EXPECT_EQ(nullptr, Subject[0]) << "what a mail loaded is freed with it";
  ASSERT_EQ(1, NasMailMsgInit(0));
  EXPECT_EQ(0, Nas1SendMail(8, nullptr));
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
  setText("SENDER_ADDRESS", "box@example.com");
  setText("ADMIN_EMAIL", "a@example.com;b@example.com");
  writeFile("/tmp/delete.me", "");
  EXPECT_EQ(0, Nas1SendMailDelFile(6, "eth0", "/tmp/delete.me"));
  for (int waitedMs = 0; waitedMs < 5000 && exists("/tmp/delete.me"); ++waitedMs) (void)usleep(1000);
  EXPECT_EQ(
      "MAIL FROM:<box@example.com>\nRCPT TO:<a@example.com>\nRCPT TO:<b@example.com>\n"
      "Subject: link of eth0\nFrom: \"SRV\"<box@example.com>\nTo: a@example.com,b@example.com,\n\n"
      "SRV:\n.hidden\n..twice\neth0\n\n",
      readFile("/var/log/appliance/mail"));
  EXPECT_FALSE(exists("/tmp/delete.me"));
  for (const auto& entry : std::filesystem::directory_iterator("/var/spool"))
    EXPECT_FALSE(entry.path().filename().string().starts_with("NAS1")) << entry.path();
  endProcess("mail-receiver");
}

TEST_F(AlertMail, AbsentTextsAreEmpty) {
  speak(0, "backup1=weekly\n");
  const std::int32_t word = 3;
  for (const unsigned code : {0U, 4U, 8U, 15U, 21U}) {
    const std::uint32_t words[4] = {3, 3, 3, 3};
    EXPECT_EQ(mailOf("", ""), mailText(code, words)) << code;
  }
  (void)NasMailMsgFree(0);
  EXPECT_EQ(mailOf("", ""), mailText(0, &word)) << "no templates loaded";
  (void)unlink(templateFiles[0]);
  EXPECT_EQ(0, Nas1SendMail(8, nullptr));
  EXPECT_EQ("Subject: \nFrom: SRV\nTo: admin@example.com,\n\n.\n", sentMails().back().text);
  (void)unlink(templateFiles[2]);
  setWord("EMAIL_LANGUAGE", 932);
  EXPECT_EQ(0, Nas1SendMail(8, nullptr));
  EXPECT_EQ("Subject: =?iso-2022-jp?B?AAAA=?=\nFrom: SRV\nTo: admin@example.com,\n\n.\n", sentMails().back().text);
}

TEST_F(AlertMail, ArgumentsThatNameNothingGiveZeroAndEmptyTexts) {
  std::string templates = "backup0=daily\nbackup2=monthly\n";
  for (int code = 0; code < EVENT_COUNT; ++code) {
    const bool text = code == 6 || code == 7 || (code >= 15 && code <= 18) || code == 21;
    templates += "subject" + std::to_string(code) + (text ? "=<%s>\n" : "=<%d>\n");
    templates += "body" + std::to_string(code) +
                 (text        ? "=%s <%s>\n"
                  : code == 4 ? "=%s %d %d %d %.1f %.1f\n"
                              : "=%s <%d>\n");
  }
  speak(0, templates);
  initDiskNumMap();
  const std::int32_t words[] = {256, -2, INT32_MIN, INT32_MAX};
  for (const std::int32_t& word : words) {
    EXPECT_EQ(mailOf("<0>", "SRV <0>"), mailText(0, &word)) << word;
    EXPECT_EQ(mailOf("<>", "SRV <>"), mailText(15, &word)) << word;
  }
  for (const std::int32_t job : {0, 2, 4}) EXPECT_EQ(mailOf("<>", "SRV <>"), mailText(18, &job)) << job;
  const struct {
    unsigned code;
    const char* subject;
    const char* withoutArgument;
    const char* replaySubject;
    const char* replayed;
  } cases[] = {
      {0, "<0>", "SRV <0>", "<0>", "SRV <0>"},
      {4, "<0>", "SRV 0 0 0 0.0 0.0", "<-1>", "SRV -1 -1 -1 0.0 0.0"},
      {6, "<>", "SRV <>", "<>", "SRV <>"},
      {15, "<>", "SRV <>", "<>", "SRV <>"},
      {21, "<Raid 0>", "SRV <RAID 0>", "<None-Raid>", "SRV <None Raid>"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(mailOf(c.subject, c.withoutArgument), mailText(c.code, nullptr)) << c.code;
    EXPECT_EQ(mailOf(c.replaySubject, c.replayed), mailText(c.code, &kNone)) << c.code << " replayed";
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
  const struct {
    unsigned code;
    const char* arg;  // a text, or the bytes of a word
    const char* text;
    bool fits;
    const char* formatted;
  } cases[] = {
      {0, "\0\0\0\0", "disk %n", false, ""},
      {0, "\0\0\0\0", "disk %s", false, ""},
      {0, "\0\0\0\0", "disk %d %d", false, ""},
      {0, "\0\0\0\0", "disk %ld", false, ""},
      {0, "\0\0\0\0", "disk %*d", false, ""},
      {0, "\0\0\0\0", "disk %f", false, ""},
      {0, "\0\0\0\0", "disk %2$d", false, ""},
      {0, "\0\0\0\0", "disk %1000d", false, ""},
      {0, "\0\0\0\0", "disk %.99999999999d", false, ""},
      {0, "\0\0\0\0", "100 %", false, ""},
      {0, "\0\0\0\0", "%m", false, ""},
      {0, "\0\0\0\0", "no conversion at all", true, "no conversion at all"},
      {0, "\0\0\0\0", "%%%-+4i%%n", true, "%+1  %n"},
      {0, "\0\0\0\0", "%.3x", true, "001"},
      {6, "eth0", "%d", false, ""},
      {6, "eth0", "%s %s", false, ""},
      {6, "%n%s", "%6s", true, "  %n%s"},
      {15, "\1\0\0\0", "%.2s", true, "da"},
      {21, "\3\0\0\0", "%s %n", false, ""},
      {21, "\3\0\0\0", "%d", false, ""},
      {21, "\3\0\0\0", "%s!", true, "Raid 3!"},
  };
  (void)unlink("/etc/hotswap.conf");
  initDiskNumMap();
  for (const auto& c : cases) {
    const std::string key = std::to_string(c.code);
    speak(0, "backup0=daily\nsubject" + key + "=" + c.text + "\nbody" + key + "=%s\n");
    EXPECT_EQ(mailOf(c.fits ? c.formatted : c.text, "SRV"), mailText(c.code, c.arg)) << c.text;
    Lines log = applianceMessages();
    ASSERT_EQ(c.fits ? 0U : 1U, log.size()) << c.text;
    (void)unlink("/var/log/nas1log");
    if (c.fits) continue;
    EXPECT_TRUE(log[0].starts_with("<INFO> [SW]   mail.c:")) << log[0];
    EXPECT_TRUE(log[0].ends_with(std::string(" warning! text does not fit its arguments: ") + c.text)) << log[0];
  }
  // The body has the server's name before its own argument.
  for (const char* const text : {"%d", "%s %s", "%s %d %d", "%s %n"}) {
    speak(0, std::string("body0=") + text + "\n");
    EXPECT_EQ(mailOf("", text), mailText(0, "\0\0\0\0")) << text;
  }
  // Where a text is formatted a second time, percent signs of the server's name are not taken for conversions.
  setText("CIFS_SERVER_NAME", "A%sB%%n");
  speak(0, "body21=%s: %s\n");
  EXPECT_EQ("Subject: \nFrom: A%sB%%n\nTo: R\n\nA%sB%%n: RAID 3.\n", mailText(21, "\3\0\0\0"));
}
