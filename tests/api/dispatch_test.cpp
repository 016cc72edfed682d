// Entries that reach the operations table, by what arrives at the daemons.

#include <cstring>

#include "api/nas1api.h"
#include "frame/appliance.h"

namespace {

class Dispatch : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    writeFile("/var/lock/samba/locks/smbd.pid", "4711\n");
    writeFile("/var/lock/samba/locks/nmbd.pid", "4712\n");
  }
};

int addShare(std::string name) { return Nas1ShareAdd(name.data(), "comment", ("/volume/v1/" + name).c_str()); }

// The commands since the last look, and how many of the daemons' files were written since then.
struct Seen {
  Lines ran;
  int written = 0;

  Seen() {
    static std::size_t before = 0;
    const Lines all = commands();
    ran.assign(all.begin() + static_cast<std::ptrdiff_t>(all.size() < before ? 0 : before), all.end());
    before = all.size();
    for (const char* file : {"/etc/samba/smb.conf", "/etc/exports", "/etc/atalk/AppleVolumes.default"})
      written += unlink(file) == 0 ? 1 : 0;
  }
};

}  // namespace

TEST_F(Dispatch, ARestartReachesItsRow) {
  EXPECT_EQ(0, Nas1Restart(PROTO_FTP, 2));
  EXPECT_EQ(1, Nas1Restart(PROTO_CIFS, 1));
  EXPECT_EQ(0, Nas1Restart(PROTO_SYSTEM, 2)) << "nothing to restart";
  for (const int protocol : {7, -1}) EXPECT_EQ(-1, Nas1Restart(protocol, 2)) << protocol;
  for (const int protocol : {0, 2, 5, 6, 7, -1}) EXPECT_EQ(-1, Nas1NetDisconnect(protocol, 0, 1)) << protocol;
  EXPECT_EQ((Lines{"/usr/sbin/ftpshut now", "/usr/sbin/ftprestart", "/etc/init.d/smb stop"}), commands());
}

TEST_F(Dispatch, ABatchWritesOnlyTheDatabaseUntilItEnds) {
  const Lines update = {"/etc/init.d/smb reload", "/usr/sbin/exportfs -ra"};
  (void)Seen();
  const auto expectSeen = [](const Lines& ran, int written, const char* what) {
    const Seen seen;
    EXPECT_EQ(ran, seen.ran) << what;
    EXPECT_EQ(written, seen.written) << what;
  };
  ASSERT_EQ(0, addShare("first"));
  expectSeen(update, 3, "no batch");
  EXPECT_EQ(0, EnableNas1ShareBatch(1));
  EXPECT_EQ(0, addShare("second"));
  EXPECT_EQ(0, Nas1ShareDel("first"));
  expectSeen({}, 0, "add and delete stop behind the database");
  EXPECT_EQ(Lines{"second"}, storedKeys("share.gdbm"));
  EXPECT_EQ(0, Nas1ShareMod("second", "changed", "/volume/v1/second"));
  expectSeen(update, 3, "a modification reaches every row");
  EXPECT_EQ(0, EnableNas1ShareBatch(0));
  expectSeen(update, 3, "each daemon once, in the order of the rows");
  EXPECT_EQ(0, addShare("third"));
  expectSeen(update, 3, "the batch is over");
}

TEST_F(Dispatch, ADaemonsFailureIsNotTheCallersFailure) {
  writeFile("/etc/samba/smb.conf/in the way", "");
  EXPECT_EQ(0, addShare("name"));
  EXPECT_EQ(Lines{"name"}, storedKeys("share.gdbm"));
  EXPECT_EQ(Lines{"<ERR>  [CIFS] failed to open /etc/samba/smb.conf for writing"}, applianceMessages());
}

TEST_F(Dispatch, AccountsOfASourceWithoutListsAreNone) {
  char buffer[48];
  std::memset(buffer, 'u', sizeof buffer);
  char name[] = "name";
  char* names[] = {buffer};
  for (const int source : {2, 4, 5, 6, 7, -1}) {
    EXPECT_EQ(0, Nas1GetUserList(source, 0, 1, buffer, sizeof buffer)) << source;
    EXPECT_EQ(0, Nas1GetGroupList(source, 0, -1, nullptr, 0)) << source;
    EXPECT_EQ(0, Nas1GetUserListFromRemoteServer(source, name)) << source;
    EXPECT_EQ(0, Nas1GetUserListCountInRemoteServer(source)) << source;
    EXPECT_EQ(0, Nas1ShowUserListInRemoteServer(source, names)) << source;
    EXPECT_EQ(0, Nas1GetGroupListFromRemoteServer(source, name)) << source;
    EXPECT_EQ(0, Nas1GetGroupListCountInRemoteServer(source)) << source;
    EXPECT_EQ(0, Nas1ShowGroupListInRemoteServer(source, names)) << source;
  }
  char empty[] = "";
  for (const auto& list : {Nas1ListUserGroups, Nas1ListGroupMembers}) {
    EXPECT_EQ(0, list(nullptr, 0, 0, 1, buffer, sizeof buffer));
    EXPECT_EQ(0, list(empty, 0, 0, 1, buffer, sizeof buffer));
    EXPECT_EQ(0, list(name, 0, 0, 1, nullptr, sizeof buffer));
    EXPECT_EQ(0, list(name, 0, 0, 1, buffer, -1));
    EXPECT_EQ(0, list(name, 7, 0, 1, buffer, sizeof buffer));
  }
  EXPECT_EQ(std::string(sizeof buffer, 'u') + "name", std::string(buffer, sizeof buffer) + name) << "both untouched";
  (void)Nas1ListUserGroups(name, 0, 0, 1, buffer, sizeof buffer);
  EXPECT_EQ(std::string(sizeof buffer, '\0') + "NAME", std::string(buffer, sizeof buffer) + name);
  EXPECT_EQ(Lines{}, commands());
}
