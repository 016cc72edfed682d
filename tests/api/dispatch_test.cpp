// Entries that reach the operations table, by what arrives at the daemons.

#include <cstring>

#include "api/nas1api.h"
#include "frame/appliance.h"

namespace {

class Dispatch : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    for (const char* daemon : {"smbd", "nmbd"}) {
      writeFile(std::string("/var/lock/samba/locks/") + daemon + ".pid", "4711\n");
    }
  }
  void TearDown() override {
    (void)EnableNas1ShareBatch(0);
    ApplianceTest::TearDown();
  }
};

int addShare(std::string name, const char* path) { return Nas1ShareAdd(name.data(), "comment", path); }

// The files that the daemons of shares read.
constexpr const char* daemonFiles[] = {"/etc/samba/smb.conf", "/etc/exports", "/etc/atalk/AppleVolumes.default"};

void removeDaemonFiles() {
  for (const char* file : daemonFiles) (void)unlink(file);
}

int daemonFilesPresent() {
  int count = 0;
  for (const char* file : daemonFiles) count += exists(file) ? 1 : 0;
  return count;
}

}  // namespace

TEST_F(Dispatch, ARestartReachesItsRow) {
  EXPECT_EQ(0, Nas1Restart(PROTO_FTP, 2));
  EXPECT_EQ((Lines{"/usr/sbin/ftpshut now", "/usr/sbin/ftprestart"}), commands());
  EXPECT_EQ(1, Nas1Restart(PROTO_CIFS, 1));
  EXPECT_EQ("/etc/init.d/smb stop", commands().back());
  EXPECT_EQ(0, Nas1Restart(PROTO_SYSTEM, 2)) << "nothing to restart";
  for (const int protocol : {7, 1000, -1}) {
    EXPECT_EQ(-1, Nas1Restart(protocol, 2)) << protocol;
    EXPECT_EQ(-1, Nas1NetDisconnect(protocol, 0, 1)) << protocol;
  }
  for (const int protocol : {PROTO_SYSTEM, PROTO_NFS, PROTO_FTP, PROTO_SNMP}) {
    EXPECT_EQ(-1, Nas1NetDisconnect(protocol, 0, 1)) << protocol;
  }
  EXPECT_EQ(3U, commands().size());
}

TEST_F(Dispatch, ABatchWritesOnlyTheDatabaseUntilItEnds) {
  ASSERT_EQ(0, addShare("first", "/volume/v1/first"));
  EXPECT_EQ(3, daemonFilesPresent());
  const Lines perChange = commands();
  ASSERT_EQ((Lines{"/etc/init.d/smb reload", "/usr/sbin/exportfs -ra"}), perChange);

  removeDaemonFiles();
  EXPECT_EQ(0, EnableNas1ShareBatch(1));
  EXPECT_EQ(0, addShare("second", "/volume/v1/second"));
  EXPECT_EQ(0, Nas1ShareDel("first"));
  EXPECT_EQ(0, daemonFilesPresent());
  EXPECT_EQ(perChange, commands()) << "add and delete stop behind the database";
  EXPECT_EQ(Lines{"second"}, storedKeys("share.gdbm"));
  EXPECT_FALSE(exists("/volume/v1/first"));

  EXPECT_EQ(0, Nas1ShareMod("second", "changed", "/volume/v1/second"));
  EXPECT_EQ(3, daemonFilesPresent()) << "a modification reaches every row";

  removeDaemonFiles();
  const std::size_t before = commands().size();
  EXPECT_EQ(0, EnableNas1ShareBatch(0));
  EXPECT_EQ(3, daemonFilesPresent());
  Lines atEnd = commands();
  atEnd.erase(atEnd.begin(), atEnd.begin() + static_cast<std::ptrdiff_t>(before));
  EXPECT_EQ(perChange, atEnd) << "each daemon once, in the order of the rows";
  EXPECT_EQ(0, addShare("third", "/volume/v1/third"));
  EXPECT_LT(before + perChange.size(), commands().size()) << "the batch is over";
}

TEST_F(Dispatch, ADaemonsFailureIsNotTheCallersFailure) {
  writeFile("/etc/samba/smb.conf/in the way", "");
  EXPECT_EQ(0, addShare("name", "/volume/v1/name"));
  EXPECT_EQ(Lines{"name"}, storedKeys("share.gdbm"));
  EXPECT_EQ(Lines{"<ERR>  [CIFS] failed to open /etc/samba/smb.conf for writing"}, applianceMessages());
}

TEST_F(Dispatch, AccountsOfASourceWithoutListsAreNone) {
  char buffer[112];
  const auto untouched = [&] { return std::string(buffer, sizeof buffer) == std::string(sizeof buffer, 'u'); };
  char server[] = "server";
  char* names[] = {buffer};
  for (const int source : {2, 4, 5, 6, 7, -1}) {
    std::memset(buffer, 'u', sizeof buffer);
    EXPECT_EQ(0, Nas1GetUserList(source, 0, 1, buffer, sizeof buffer)) << source;
    EXPECT_EQ(0, Nas1GetGroupList(source, 0, 1, buffer, sizeof buffer)) << source;
    EXPECT_EQ(0, Nas1GetUserList(source, 0, -1, nullptr, 0)) << source;
    EXPECT_EQ(0, Nas1GetUserListFromRemoteServer(source, server)) << source;
    EXPECT_EQ(0, Nas1GetUserListCountInRemoteServer(source)) << source;
    EXPECT_EQ(0, Nas1ShowUserListInRemoteServer(source, names)) << source;
    EXPECT_EQ(0, Nas1GetGroupListFromRemoteServer(source, server)) << source;
    EXPECT_EQ(0, Nas1GetGroupListCountInRemoteServer(source)) << source;
    EXPECT_EQ(0, Nas1ShowGroupListInRemoteServer(source, names)) << source;
    EXPECT_TRUE(untouched()) << source;
  }
  EXPECT_EQ(Lines{}, commands());
}

TEST_F(Dispatch, ListsNeedANameAndRoom) {
  char name[] = "name";
  char empty[] = "";
  char buffer[48];
  std::memset(buffer, 'u', sizeof buffer);
  const auto list = {Nas1ListUserGroups, Nas1ListGroupMembers};
  for (const auto& entry : list) {
    EXPECT_EQ(0, entry(nullptr, 0, 0, 1, buffer, sizeof buffer));
    EXPECT_EQ(0, entry(empty, 0, 0, 1, buffer, sizeof buffer));
    EXPECT_EQ(0, entry(name, 0, 0, 1, nullptr, sizeof buffer));
    EXPECT_EQ(0, entry(name, 0, 0, 1, buffer, 0));
    EXPECT_EQ(0, entry(name, 0, 0, 1, buffer, -1));
    EXPECT_EQ(0, entry(name, 7, 0, 1, buffer, sizeof buffer));
    EXPECT_STREQ("name", name);
    EXPECT_EQ('u', buffer[0]);
  }
  for (const auto& entry : list) {
    char text[] = "name";
    EXPECT_GE(0, entry(text, 0, 0, 1, buffer, sizeof buffer)) << "nobody of that name";
    EXPECT_STREQ("NAME", text);
    EXPECT_EQ('\0', buffer[0]);
  }
}
