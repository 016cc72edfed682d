#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "api/nas1api.h"
#include "cli/nas1_command.h"

namespace {

using ShareCommand = ApplianceTest;
using Usage = ApplianceTest;

TEST_F(ShareCommand, AShareLivesThroughItsVerbs) {
  writeFile("/etc/exports", "");  // the NFS back-end keeps a copy of the old one
  ASSERT_EQ(0, nas1({"share", "add", "  music ", "/volume/v1/music", "--comment", "two words"}).exitCode);
  ASSERT_EQ(0, nas1({"share", "add", "docs", "/volume/v1/docs"}).exitCode);
  EXPECT_TRUE(exists("/volume/v1/music"));
  EXPECT_EQ("docs\t\t/volume/v1/docs\nmusic\ttwo words\t/volume/v1/music\n", nas1({"share", "list"}).out);
  EXPECT_EQ(Json::parse(R"([{"name": "docs", "comment": "", "path": "/volume/v1/docs"},
                            {"name": "music", "comment": "two words", "path": "/volume/v1/music"}])"),
            nas1Json({"share", "list"})["shares"]);

  ASSERT_EQ(0, nas1({"share", "mod", "music", "--comment", ""}).exitCode);
  EXPECT_EQ("/volume/v1/music", nas1Json({"share", "show", "music"})["share"]["path"]) << "not named, not changed";
  const CommandResult moved = nas1({"share", "mod", "music", "--path", "/volume/v2/music"});
  EXPECT_EQ("nas1: the old folder /volume/v1/music stays as it is\n", moved.err);
  EXPECT_TRUE(exists("/volume/v1/music"));

  const CommandResult deleted = nas1({"share", "del", "music"});
  EXPECT_EQ(0, deleted.exitCode);
  EXPECT_EQ("nas1: the share music goes, and its folder /volume/v2/music with all that is in it\n", deleted.err);
  EXPECT_FALSE(exists("/volume/v2/music"));
  ASSERT_EQ(0, nas1({"config", "set", "RESERVE_SHARE_PATH", "1"}).exitCode);
  EXPECT_EQ("nas1: the share docs goes; its folder /volume/v1/docs stays\n", nas1({"share", "del", "docs"}).err);
  EXPECT_TRUE(exists("/volume/v1/docs"));
  EXPECT_EQ("", nas1({"share", "list"}).out);
}

TEST_F(ShareCommand, PasswordsComeInAndStayMasked) {
  ASSERT_EQ(0, nas1({"share", "add", "docs", "/volume/v1/docs"}).exitCode);
  ASSERT_EQ(0, nas1({"share", "passwd", "docs", "--read-only"}, "first line\nsecond line\n").exitCode);
  writeFile("/tmp/password", "from a file");
  ASSERT_EQ(0, nas1({"share", "passwd", "docs", "--read-write", "--file", "/tmp/password"}).exitCode);
  char stored[33];
  ASSERT_EQ(0, Nas1ShareGetPassword("docs", 0, stored));
  EXPECT_STREQ("first line", stored);
  ASSERT_EQ(0, Nas1ShareGetPassword("docs", 1, stored));
  EXPECT_STREQ("from a file", stored);

  for (const Lines& verb : {Lines{"share", "show", "docs"}, Lines{"share", "show", "docs", "--json"}}) {
    const std::string shown = nas1(verb).out;
    EXPECT_EQ(std::string::npos, shown.find("first line")) << shown;
    EXPECT_EQ(std::string::npos, shown.find("from a file")) << shown;
  }
  EXPECT_EQ("from a file", nas1Json({"share", "show", "docs", "--with-secrets"})["share"]["read_write_password"]);
  EXPECT_EQ(2, nas1({"share", "passwd", "docs", "--read-only"}, "").exitCode) << "no line is no empty password";
  EXPECT_EQ(2, nas1({"share", "passwd", "docs", "--read-only"}, std::string(32, 'x')).exitCode);
}

TEST_F(ShareCommand, NamesOfAnyBytesNeitherBreakALineNorJson) {
  ASSERT_EQ(0, nas1({"config", "set", "CIFS_CODE_PAGE", "932"}).exitCode);
  char name[] = "\x83\x65\x83\x58\x83\x67";  // half of its bytes are letters on their own
  ASSERT_EQ(0, Nas1ShareAdd(name, "a\tb\n\x1B[31m", "/volume/v1/x"));
  char broken[] = "z\x83";
  ASSERT_EQ(0, Nas1ShareAdd(broken, "", "/volume/v1/y"));
  EXPECT_EQ("z\x83\t\t/volume/v1/y\n\x83\x65\x83\x58\x83\x67\ta\\x09b\\x0A\\x1B[31m\t/volume/v1/x\n",
            nas1({"share", "list"}).out);
  const Json shares = nas1Json({"share", "list"})["shares"];
  EXPECT_EQ("テスト", shares[1]["name"]);
  EXPECT_EQ("a\tb\n\x1B[31m", shares[1]["comment"]);
  EXPECT_EQ("7a83", shares[0]["name_hex"]);
}

// A file that cannot be read must never look like one without records, and a folder never goes without its share.
TEST_F(ShareCommand, AnUnreadableRecordFileIsNamed) {
  ASSERT_EQ(0, nas1({"share", "add", "docs", "/volume/v1/docs"}).exitCode);
  const Lines verbs[] = {{"share", "list"},
                         {"share", "show", "docs"},
                         {"share", "del", "docs"},
                         {"share", "add", "more", "/volume/v1/more"}};
  const std::string file = "/etc/admin/share.gdbm";
  const int fd = open(file.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(0, flock(fd, LOCK_EX));
  for (const Lines& verb : verbs) EXPECT_EQ(6, nas1(verb).exitCode) << verb[1];
  (void)close(fd);
  EXPECT_TRUE(exists("/volume/v1/docs"));
  EXPECT_EQ(0, nas1({"share", "show", "docs"}).exitCode);

  writeFile(file, std::string(5000, 'x'));
  for (const Lines& verb : verbs) EXPECT_EQ(7, nas1(verb).exitCode) << verb[1];
  EXPECT_TRUE(exists("/volume/v1/docs"));
}

TEST_F(Usage, EveryFailureHasItsExitCodeAndSaysSoOnce) {
  ASSERT_EQ(0, nas1({"share", "add", "docs", "/volume/v1/docs"}).exitCode);
  const std::string name32(32, 'n');
  const FailingCommand cases[] = {
      {2, "did you mean share?", {"shaer", "list"}},
      {2, "did you mean list?", {"share", "lsit"}},
      {2, "has no --json", {"share", "mod", "docs", "--comment", "x", "--json"}},
      {2, "PATH is required", {"share", "add", "x"}},
      {2, "name of the share is empty", {"share", "add", "   ", "/volume/v1/x"}},
      {2, "32 characters", {"share", "add", name32, "/volume/v1/x"}},
      {2, "64 characters", {"share", "add", "x", "/volume/v1/x", "--comment", std::string(64, 'c')}},
      {2, "does not begin with /", {"share", "add", "x", "volume/v1/x"}},
      {2, "does not begin with /", {"share", "add", "x", ""}},
      {2, "nothing to change", {"share", "mod", "docs"}},
      {3, "no share Docs", {"share", "show", "Docs"}},
      {3, "no share ", {"share", "del", ""}},
      {4, "already", {"share", "add", " docs ", "/volume/v1/x"}},
      {9, "$", {"share", "add", "x", "/volume/v1/$(id)"}},
      {9, "..", {"share", "add", "x", "/volume/v1/../../etc/x"}},
      {9, "a blank", {"share", "add", "x", "/volume/v1/a b"}},
      {9, "three digits", {"share", "mod", "docs", "--path", "/volume/v1/a\\040b"}},
      {9, "folder of the system", {"share", "add", "x", "//etc//"}},
      {9, "[", {"share", "add", "x[global", "/volume/v1/x"}},
      {9, "0x0A", {"share", "mod", "docs", "--comment", "a\nb"}},
      {9, "\\", {"share", "mod", "docs", "--comment", "a\\"}},
  };
  const auto stored = storedRecord("share.gdbm", "docs");
  for (const FailingCommand& c : cases) expectFailure(c);
  EXPECT_EQ(Lines{"docs"}, storedKeys("share.gdbm"));
  EXPECT_EQ(stored, storedRecord("share.gdbm", "docs"));
}

}  // namespace
