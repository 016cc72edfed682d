// Template files: what is taken from them, and what is not.

#include <iconv.h>

#include "events/event_fixture.h"

using MailTemplates = EventFixture;

// Loads a file's text as the English templates; the tables stay loaded until the next one.
static void load(std::string_view text) {
  (void)NasMailMsgFree(0);
  writeFile(templateFiles[0], text);
  EXPECT_EQ(1, NasMailMsgInit(0));
}

// All entries that are set: "subject 3: text".
static Lines entries() {
  Lines found;
  const auto collect = [&](const char* name, char** const table, int count) {
    for (int i = 0; i < count; ++i)
      if (table[i] != nullptr) found.push_back(name + std::string(" ") + std::to_string(i) + ": " + table[i]);
  };
  collect("body", body[0], EVENT_COUNT);
  collect("subject", Subject[0], EVENT_COUNT);
  collect("backup", backup[0], BACKUP_JOB_COUNT);
  return found;
}

TEST_F(MailTemplates, LinesOfTheFormAreTakenAndNoOthers) {
  const std::string most(1023 - std::strlen("body1="), 'm');
  const struct {
    const char* name;
    std::string file;
    Lines entries;
  } cases[] = {
      {"one of each kind", "body0=a\nsubject28=b\nbackup2=c", {"body 0: a", "subject 28: b", "backup 2: c"}},
      {"indexes out of range",
       "body29=x\nsubject29=x\nbackup3=x\nbody4294967296=x\nbody18446744073709551616=x\nsubject-1=x\n",
       {}},
      {"other lines",
       "# body0=x\n body0=x\nBODY0=x\nbody=x\nbody 0=x\nbody0 =x\nbody0x=x\nbodies0=x\n\nbody+1=x\n",
       {}},
      {"later lines win", "body5=first\nbody05=second\n", {"body 5: second"}},
      {"the value is all of the rest", "subject1= a = b \t#\n", {"subject 1:  a = b \t#"}},
      {"an empty value", "subject1=\n", {"subject 1: "}},
      {"escapes", "body1=a\\nb\\rc\\td\\\\e\\\\n\n", {"body 1: a\nb\rc\td\\e\\n"}},
      {"as long as a line may be", "body1=" + most + "\nbody2=x\n", {"body 1: " + most, "body 2: x"}},
      {"longer: the rest is a line of its own", "body1=" + most + "body2=x\n", {"body 1: " + most, "body 2: x"}},
      {"a backslash at the very end", "body1=a\\\nbody2=b\\", {"body 1: a", "body 2: b"}},
      {"an empty file", "", {}},
  };
  for (const auto& c : cases) {
    load(c.file);
    EXPECT_EQ(c.entries, entries()) << c.name;
  }
  EXPECT_EQ(Lines{}, applianceLog());
}

TEST_F(MailTemplates, UnknownEscapesAreDroppedWithAWarning) {
  load("body3=a\\tb\\x\nsubject4=%d\\q%s\\0\n");
  EXPECT_EQ((Lines{"body 3: a\tb", "subject 4: %d%s"}), entries());
  const std::string warning = "<INFO> [SW]   mail.c:100 warning! unknown format: ";
  EXPECT_EQ((Lines{warning + "\\x in src[4]=a\\tb\\x", warning + "\\q in src[2]=%d\\q%s\\0",
                   warning + "\\0 in src[6]=%d\\q%s\\0"}),
            applianceMessages());
}

TEST_F(MailTemplates, ALanguageIsLoadedOnceUntilItIsFreed) {
  load("subject1=old\n");
  writeFile(templateFiles[0], "subject1=new\n");
  EXPECT_EQ(0, NasMailMsgInit(0)) << "it is loaded";
  EXPECT_EQ(Lines{"subject 1: old"}, entries());
  EXPECT_EQ((Results{0, 0}), (Results{NasMailMsgFree(0), NasMailMsgFree(0)})) << "once more does no harm";
  for (char** const table : {body[0], Subject[0], backup[0]}) EXPECT_EQ(nullptr, table);

  // Kept: a missing file counts as loaded; only freeing has it looked for again.
  (void)unlink(templateFiles[0]);
  EXPECT_EQ(0, NasMailMsgInit(0));
  writeFile(templateFiles[0], "subject1=late\n");
  EXPECT_EQ(0, NasMailMsgInit(0));
  EXPECT_EQ(nullptr, Subject[0]);
  EXPECT_EQ((Results{0, 1}), (Results{NasMailMsgFree(0), NasMailMsgInit(0)}));
  EXPECT_EQ(Lines{"subject 1: late"}, entries());
  for (const int unknown : {-1, 5, 1000})
    EXPECT_EQ((Results{0, 0}), (Results{NasMailMsgInit(unknown), NasMailMsgFree(unknown)}));
}

TEST_F(MailTemplates, TheCodePageChoosesTheLanguage) {
  EXPECT_EQ(0, GetLang()) << "never set";
  const std::pair<std::uint32_t, int> cases[] = {{0, 0},   {437, 0}, {950, 1},       {932, 2},
                                                 {949, 3}, {936, 4}, {0xFFFFFFFF, 0}};
  for (const auto& [codePage, lang] : cases) {
    storeWord("EMAIL_LANGUAGE", codePage);
    EXPECT_EQ(lang, GetLang()) << codePage;
    if (lang == 0) continue;
    writeFile(templateFiles[lang], "backup0=" + std::to_string(codePage) + "\n");
    EXPECT_EQ(1, NasMailMsgInit(lang));
    EXPECT_EQ(std::to_string(codePage), backup[lang][0]);
  }
}

// Whether a text is well-formed in an encoding.
static bool isText(const char* encoding, std::string text) {
  const iconv_t converter = iconv_open("UTF-8", encoding);
  std::string out(4 * text.size() + 16, '\0');
  char* from = text.data();
  char* to = out.data();
  std::size_t fromLeft = text.size();
  std::size_t toLeft = out.size();
  const bool whole = iconv(converter, &from, &fromLeft, &to, &toLeft) != static_cast<std::size_t>(-1);
  (void)iconv_close(converter);
  return whole && out.find("%%") == std::string::npos;
}

// In Japanese texts the bytes of a character may look like a conversion.
TEST_F(MailTemplates, TheShippedTextsFitTheirEvents) {
  const struct {
    int lang;
    std::uint32_t codePage;
    const char* encoding;
  } languages[] = {{0, 437, "US-ASCII"}, {2, 932, "ISO-2022-JP"}};
  for (const auto& [lang, codePage, encoding] : languages) {
    storeWord("EMAIL_LANGUAGE", codePage);
    EXPECT_EQ(0, Nas1SendMail(8, nullptr));
    ASSERT_EQ(1, NasMailMsgInit(lang)) << templateFiles[lang];
    for (int code = 0; code < EVENT_COUNT; ++code) {
      EXPECT_NE(nullptr, Subject[lang][code]) << code;
      EXPECT_EQ(code != 26 && code != 27, body[lang][code] != nullptr) << code;
      std::int32_t words[4] = {1, 2, 3, 4096};
      char text[] = "eth0";
      void* const arg = code == 6 || code == 7 || code == 28 ? static_cast<void*>(text) : words;
      const std::string mail = mailText(static_cast<unsigned>(code), arg);
      EXPECT_TRUE(isText(encoding, mail)) << mail;
      const bool isFormat =
          std::strchr(Subject[lang][code], '%') != nullptr && (code < 8 || (code >= 15 && code <= 21));
      EXPECT_TRUE(isFormat || isText(encoding, Subject[lang][code])) << "the subject stays as it is: " << code;
      EXPECT_EQ(0, Nas1Event(static_cast<unsigned>(code), arg)) << code;
    }
  }
  for (const std::string& line : applianceMessages()) EXPECT_EQ(std::string::npos, line.find("warning")) << line;
}
