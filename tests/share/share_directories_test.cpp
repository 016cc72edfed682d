// Directories of shares: what the shell is given, and what becomes of the directory.

#include "frame/appliance.h"

namespace {

using ShareDirectories = ApplianceTest;

struct stat statusOf(const char* path) {
  struct stat status = {};
  EXPECT_EQ(0, stat(path, &status)) << path;
  return status;
}

}  // namespace

TEST_F(ShareDirectories, QuotingTouchesOnlyWhatTheShellReadsInQuotes) {
  const struct {
    std::string source;
    std::string quoted;
  } cases[] = {
      {"a\"b`c`d\\e", "a\\\"b\\`c\\`d\\\\e"},
      {"$a 'b' \n\t;&|", "$a 'b' \n\t;&|"},
      {"\x81\x5C", "\x81\\\\"},  // a byte is a byte, whatever character it belongs to
      {"", ""},
  };
  for (const auto& c : cases) {
    const int bytes = static_cast<int>(c.source.size()) + 1;
    std::string out(static_cast<std::size_t>(2 * bytes) + 4, 'u');
    EXPECT_EQ(static_cast<int>(c.quoted.size()) + 1, NasAddSlash(2 * bytes, out.data(), bytes, c.source.c_str()));
    EXPECT_EQ(c.quoted, out.c_str());
    EXPECT_EQ("uuuu", out.substr(static_cast<std::size_t>(2 * bytes)));
  }
  char out[5] = {'u', 'u', 'u', 'u', 'u'};
  EXPECT_EQ(4, NasAddSlash(4, out, 2, "\"`")) << "two bytes without a NUL";
  EXPECT_EQ("\\\"\\`u", std::string(out, 5)) << "no room for one, none written";
  EXPECT_EQ(0, NasAddSlash(1, out, 0, "x"));
  EXPECT_EQ('\0', out[0]);
  EXPECT_EQ(-1, NasAddSlash(4, out, -1, "x"));
  EXPECT_EQ(SIGABRT, inChild([&] { (void)NasAddSlash(3, out, 2, "x"); }).signal);
}

TEST_F(ShareDirectories, ADirectoryIsEverybodysToRead) {
  const mode_t before = umask(077);
  EXPECT_EQ(0, Nas1SysMkdir("/volume/v1/some/deep one"));
  (void)umask(before);
  EXPECT_EQ(0755U, statusOf("/volume/v1/some/deep one").st_mode & 07777U);
  EXPECT_EQ(32767U, statusOf("/volume/v1/some/deep one").st_uid);
  EXPECT_EQ(0U, statusOf("/volume/v1/some/deep one").st_gid);
  EXPECT_EQ(0U, statusOf("/volume/v1/some").st_uid) << "only the last one is the share's";
  EXPECT_EQ(0, Nas1SysMkdir("/volume/v1/some/deep one")) << "it may exist";
  EXPECT_EQ(0, NasSysRmdir("/volume/v1/some"));
  EXPECT_FALSE(exists("/volume/v1/some"));
  EXPECT_EQ(0, NasSysRmdir("/volume/v1/some")) << "it may be gone";

  // Not while another tool rebuilds accounts and directories.
  ASSERT_EQ(0, Nas1SysMkdir("/volume/v1/there"));
  ASSERT_EQ(0, chmod("/volume/v1/there", 0700));
  writeFile("/var/lock/zelmar_builduser", "");
  EXPECT_EQ(0, Nas1SysMkdir("/volume/v1/new"));
  EXPECT_FALSE(exists("/volume/v1/new"));
  EXPECT_EQ(0, Nas1SysMkdir("/volume/v1/there"));
  EXPECT_EQ(0, NasSysRmdir("/volume/v1/there"));
  EXPECT_EQ(0700U, statusOf("/volume/v1/there").st_mode & 07777U);
}

TEST_F(ShareDirectories, HostilePathsReachTheShellAsTheyAre) {
  for (const char* name : {"two words", "a`touch /run/hostile`b", "a\\", "a\\\"b", "a;touch /run/hostile;", "a\nb",
                           "a'b", "*", "#x", "~", "%s%n", "\x81\x5C"}) {
    const std::string path = std::string("/volume/v1/") + name;
    EXPECT_EQ(0, Nas1SysMkdir(path.c_str())) << name;
    EXPECT_TRUE(exists(path)) << name;
    EXPECT_EQ(0, NasSysRmdir(path.c_str())) << name;
    EXPECT_FALSE(exists(path)) << name;
  }
  EXPECT_FALSE(exists("/run/hostile"));
  // Kept: a dollar is the shell's.
  (void)setenv("PLACE", "expanded", 1);
  EXPECT_EQ(0, Nas1SysMkdir("/volume/v1/$PLACE"));
  (void)unsetenv("PLACE");
  EXPECT_TRUE(exists("/volume/v1/expanded"));
}

TEST_F(ShareDirectories, AFailureEndsTheSequence) {
  writeFile("/volume/v1/file", "");
  EXPECT_EQ(0, inChild([] {
                 EXPECT_EQ(-1, Nas1SysMkdir("/volume/v1/file"));
                 EXPECT_EQ(-1, NasSysRmdir("/proc/self"));
               }).exitCode);
  EXPECT_EQ(0U, statusOf("/volume/v1/file").st_uid) << "no owner for what was not made";
  for (const auto call : {Nas1SysMkdir, NasSysRmdir}) {
    EXPECT_EQ(SIGABRT, inChild([=] { (void)call(nullptr); }).signal);
    EXPECT_EQ(SIGABRT, inChild([=] { (void)call(""); }).signal);
  }
}
