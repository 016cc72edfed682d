#include "cli/nas1_command.h"

namespace {

using ShareCommand = CommandTest;

TEST_F(ShareCommand, AShareLivesThroughItsVerbs) {
  (void)done({"share", "add", "  music ", "/volume/v1/music", "--comment", "two words"});
  (void)done({"share", "add", "docs", "/volume/v1/docs"});
  EXPECT_TRUE(exists("/volume/v1/music"));
  EXPECT_EQ(Json::parse(R"([{"name": "docs", "comment": "", "path": "/volume/v1/docs"},
                            {"name": "music", "comment": "two words", "path": "/volume/v1/music"}])"),
            nas1Json({"share", "list"})["shares"]);

  (void)done({"share", "mod", "music", "--comment", ""});
  EXPECT_EQ("/volume/v1/music", nas1Json({"share", "show", "music"})["share"]["path"]) << "not named, not changed";
  const CommandResult moved = nas1({"share", "mod", "music", "--path", "/volume/v2/music"});
  EXPECT_EQ("nas1: the old folder /volume/v1/music stays as it is\n", moved.err);
  EXPECT_TRUE(exists("/volume/v1/music"));

  const CommandResult deleted = nas1({"share", "del", "music"});
  EXPECT_EQ(0, deleted.exitCode);
  EXPECT_EQ("nas1: the share music goes, and its folder /volume/v2/music with all that is in it\n", deleted.err);
  EXPECT_FALSE(exists("/volume/v2/music"));
  (void)done({"config", "set", "RESERVE_SHARE_PATH", "1"});
  const std::string last = nas1({"share", "del", "docs"}).err;
  EXPECT_TRUE(last.starts_with("nas1: the share docs goes; its folder /volume/v1/docs stays\n")) << last;
  EXPECT_TRUE(exists("/volume/v1/docs"));
  EXPECT_EQ("", nas1({"share", "list"}).out);
}

TEST_F(ShareCommand, PasswordsComeInAndStayMasked) {
  (void)done({"share", "add", "docs", "/volume/v1/docs"});
  (void)done({"share", "passwd", "docs", "--read-only"}, "first line\nsecond line\n");
  writeFile("/tmp/password", "from a file");
  (void)done({"share", "passwd", "docs", "--read-write", "--file", "/tmp/password"});
  for (const Lines& verb : {Lines{"share", "show", "docs"}, Lines{"share", "show", "docs", "--json"}}) {
    const std::string shown = nas1(verb).out;
    EXPECT_TRUE(shown.find("first line") == std::string::npos && shown.find("from a file") == std::string::npos);
  }
  const Json share = nas1Json({"share", "show", "docs", "--with-secrets"})["share"];
  EXPECT_EQ((Json{"first line", "from a file"}), (Json{share["read_only_password"], share["read_write_password"]}));
  EXPECT_EQ(2, nas1({"share", "passwd", "docs", "--read-only"}, "").exitCode) << "no line is no empty password";
}

TEST_F(ShareCommand, NamesOfAnyBytesNeitherBreakALineNorJson) {
  (void)done({"config", "set", "CIFS_CODE_PAGE", "932"});
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

}  // namespace
