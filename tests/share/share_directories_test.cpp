// Directories of shares: what becomes of the directory, and the limits of the quoting for the shell.

#include "frame/appliance.h"

namespace {

using ShareDirectories = ApplianceTest;

struct stat statusOf(const char* path) {
  struct stat status = {};
  EXPECT_EQ(0, stat(path, &status)) << path;
  return status;
}

}  // namespace

TEST_F(ShareDirectories, QuotingStaysInItsRoom) {
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
  const struct stat made = statusOf("/volume/v1/some/deep one");
  EXPECT_EQ((Results{0755, 32767, 0}), (Results{static_cast<int>(made.st_mode & 07777U), static_cast<int>(made.st_uid),
                                                static_cast<int>(made.st_gid)}));
  EXPECT_EQ(0U, statusOf("/volume/v1/some").st_uid) << "only the last one is the share's";
  EXPECT_EQ(0, Nas1SysMkdir("/volume/v1/some/deep one")) << "it may exist";
  EXPECT_EQ(0, NasSysRmdir("/volume/v1/some"));
  EXPECT_FALSE(exists("/volume/v1/some"));
  EXPECT_EQ(0, NasSysRmdir("/volume/v1/some")) << "it may be gone";

  writeFile("/volume/v1/file", "");
  EXPECT_EQ((Results{-1, -1}), (Results{Nas1SysMkdir("/volume/v1/file"), NasSysRmdir("/proc/self")}));
  EXPECT_EQ(0U, statusOf("/volume/v1/file").st_uid) << "no owner for what was not made";
  for (const auto call : {Nas1SysMkdir, NasSysRmdir}) EXPECT_EQ(SIGABRT, inChild([=] { (void)call(""); }).signal);
}
