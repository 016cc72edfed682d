// Template files: what is taken from them, and what is not.

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
      {"escapes", "body1=a\\nb\\rc\\td\\\\e\\\\n\n", {"body 1: a\nb\rc\td\\e\\n"}},
      {"longer: the rest is a line of its own", "body1=" + most + "body2=x\n", {"body 1: " + most, "body 2: x"}},
      {"a backslash at the very end", "body1=a\\\nbody2=b\\", {"body 1: a", "body 2: b"}},
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
  for (const int unknown : {-1, 5})
    EXPECT_EQ((Results{0, 0}), (Results{NasMailMsgInit(unknown), NasMailMsgFree(unknown)}));

  // Kept: a missing file counts as loaded; only freeing has it looked for again.
  (void)unlink(templateFiles[0]);
  EXPECT_EQ(0, NasMailMsgInit(0));
  writeFile(templateFiles[0], "subject1=late\n");
  EXPECT_EQ((Results{0, 0, 1}), (Results{NasMailMsgInit(0), NasMailMsgFree(0), NasMailMsgInit(0)}));
  EXPECT_EQ(Lines{"subject 1: late"}, entries());
}

TEST_F(MailTemplates, TheShippedTextsFitTheirEvents) {
  for (const auto& [lang, codePage] : {std::pair<int, std::uint32_t>(0, 437), {2, 932}}) {
    storeWord("EMAIL_LANGUAGE", codePage);
    EXPECT_EQ(0, Nas1SendMail(8, nullptr));
    ASSERT_EQ(1, NasMailMsgInit(lang)) << templateFiles[lang];
    for (unsigned code = 0; code < EVENT_COUNT; ++code) {
      EXPECT_NE(nullptr, Subject[lang][code]) << code;
      EXPECT_EQ(code != 26 && code != 27, body[lang][code] != nullptr) << code;
      std::int32_t words[4] = {1, 2, 3, 4096};
      char text[] = "eth0";
      void* const arg = code == 6 || code == 7 || code == 28 ? static_cast<void*>(text) : words;
      EXPECT_EQ(std::string::npos, mailText(code, arg).find("%%")) << code;
      EXPECT_EQ(0, Nas1Event(code, arg)) << code;
    }
  }
  for (const std::string& line : applianceMessages()) EXPECT_EQ(std::string::npos, line.find("warning")) << line;
}
