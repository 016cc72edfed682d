#include "backends/ncp.h"

#include "accounts/account_items.h"
#include "backends/back_end.h"

using Ncp = ApplianceTest;

static constexpr char kAddressFile[] = "/mnt/param/nw/ipxaddr_temp";
static constexpr char kUserFile[] = "/mnt/param/nw/binderyuser";
static constexpr char kGroupFile[] = "/mnt/param/nw/binderygroup";
static const std::string fetch = "/usr/sbin/nwgetlistfrBind.sh OFFICE";

TEST_F(Ncp, ModesRunTheInitScript) {
  expectRestarts(
      ncpRestart, "mars",
      {"/etc/rc.d/init.d/mars start", "/etc/rc.d/init.d/mars stop", "/etc/rc.d/init.d/mars restart", nullptr});
}

TEST_F(Ncp, ItsOwnSettingsRestartIt) {
  const std::string restart = "/etc/rc.d/init.d/mars restart";
  expectReactions(ncpSetConfig, 1, {1, 7, 20, 32, 72, 73}, restart);
  // By name, the row's number arrives: 7 is both the row and the id of the bindery server, 33 is no id of NCP's.
  char name[NAS_NAME_SIZE] = "OFFICE";
  int on = 1;
  EXPECT_EQ(Lines{restart}, commandsOf([&] { EXPECT_EQ(0, NasSetConfig("NCP_BINDERY_SERVER_NAME", 32, name)); }));
  EXPECT_EQ(Lines{}, commandsOf([&] { EXPECT_EQ(0, NasSetConfig("NCP_ENABLED", 4, &on)); }));
  setExitStatus("mars", 127);
  EXPECT_EQ(-1, ncpSetConfig(32, 4, &on));
  EXPECT_EQ(0, Nas1SetConfig(32, 4, &on)) << "the setting is stored whatever the daemon does";
}

TEST_F(Ncp, FetchingUsersConnectsFromOneAddressToTheOther) {
  char server[] = "office";
  writeFile(kAddressFile, "0000000A00C0DF123456\n00000b0c00c0df654321 and more");
  EXPECT_EQ(0, Nas1GetUserListFromRemoteServer(PROTO_NCP, server));
  EXPECT_STREQ("OFFICE", server);
  EXPECT_EQ(
      (Lines{fetch, "/usr/sbin/nwclient 00.00.00.0A:00.C0.DF.12.34.56:19.99 00.00.0b.0c:00.c0.df.65.43.21:04.51"}),
      commands());
  setExitStatus("nwclient", 3);
  EXPECT_EQ(-1, ncpGetUserListFromBindery(server));
  setExitStatus("nwgetlistfrBind.sh", 1);
  EXPECT_EQ(Lines{fetch}, commandsOf([&] { EXPECT_EQ(-1, ncpGetUserListFromBindery(server)); }));
  EXPECT_EQ(
      (Lines{"<ERR>  [NCP]  Connect to Bindery Server failed", "<ERR>  [NCP]   IPX address or Server Name error"}),
      applianceMessages());
  EXPECT_EQ(-1, ncpGetUserListFromBindery(nullptr));
  EXPECT_EQ(Lines{}, commandsOf([] { EXPECT_EQ(0, ncpGetGroupListFromBindery("OFFICE")); }));
}

TEST_F(Ncp, AnAddressFileThatIsNoneReachesNoCommand) {
  const std::string whole = "0000000A00C0DF123456\n";
  char server[] = "OFFICE";
  EXPECT_EQ(-1, ncpGetUserListFromBindery(server)) << "no file";
  for (const std::string& content : {std::string(), std::string("\n\n"), whole, whole + "0000000A00C0DF12345\n",
                                     "0000000A00C0DF12345\n" + whole, whole + "0000000A00C0DF1234;x\n",
                                     whole + std::string(19, '0') + '\0' + "00\n", std::string(200, ' ') + whole}) {
    writeFile(kAddressFile, content);
    EXPECT_EQ(Lines{fetch}, commandsOf([&] { EXPECT_EQ(-1, ncpGetUserListFromBindery(server)); })) << content;
  }
  // A line beyond the limit is still one line.
  writeFile(kAddressFile, "0000000A00C0DF123456" + std::string(200, ' ') + "\n0000000A00C0DF123456");
  EXPECT_EQ(0, ncpGetUserListFromBindery(server));
}

TEST_F(Ncp, ListsAreItemsOfTheConfiguredBindery) {
  std::string name = padded("office", NAS_NAME_SIZE);
  ASSERT_EQ(0, fpConfig[7].set(NAS_NAME_SIZE, name.data()));
  EXPECT_EQ(-1, Nas1GetGroupList(PROTO_NCP, 0, 0, nullptr, 0)) << "no list file";
  writeFile(kAddressFile, "0000000A00C0DF123456\n0000000A00C0DF123456\n");
  const std::string longName(90, 'N');
  writeFile(kUserFile, "4\nA\n" + longName + "\nC\nD");
  writeFile(kGroupFile, "2\nX\nY\n");
  // Counting refreshes users and groups differently.
  const std::string client =
      "/usr/sbin/nwclient 00.00.00.0A:00.C0.DF.12.34.56:19.99 00.00.00.0A:00.C0.DF.12.34.56:04.51";
  EXPECT_EQ((Lines{fetch, client}), commandsOf([] { EXPECT_EQ(4, Nas1GetUserList(PROTO_NCP, 0, 0, nullptr, 0)); }));
  EXPECT_EQ(Lines{fetch}, commandsOf([] { EXPECT_EQ(2, ncpGetGroupList(0, -1, nullptr, 0)); }));
  setExitStatus("nwgetlistfrBind.sh", 1);
  EXPECT_EQ(Results(2, -1), (Results{ncpGetUserList(0, -1, nullptr, 0), ncpGetGroupList(0, -1, nullptr, 0)}));
  EXPECT_EQ(
      (Lines{"<ERR>  [NCP]   IPX address or Server Name error", "<ERR>  [NCP]  IPX address or Server Name error"}),
      applianceMessages());

  char buffer[4 * sizeof(UserItem)];
  EXPECT_EQ(Lines{}, commandsOf([&] { EXPECT_EQ(3, Nas1GetUserList(PROTO_NCP, 1, 9, buffer, sizeof buffer)); }));
  UserItem expected[4] = {};
  const std::string names[] = {longName.substr(0, 31), "C", "D"};
  for (std::size_t i = 0; i < 3; ++i) describeRemote(&expected[i], PROTO_NCP, names[i].c_str());
  EXPECT_EQ(bytesOf(expected), std::string(buffer, sizeof buffer));
  EXPECT_EQ(2, Nas1GetUserList(PROTO_NCP, 0, 2, buffer, sizeof buffer));
  EXPECT_EQ(1, Nas1GetUserList(PROTO_NCP, 0, 9, buffer, 2 * sizeof(UserItem) - 1)) << "whole items only";
  (void)unlink(kGroupFile);
  EXPECT_EQ(0, Nas1GetGroupList(PROTO_NCP, 0, 9, buffer, sizeof buffer)) << "no list file";
  for (const char* hostile : {"", "\n\nA\n", "x\nA\n", "-1\nA\n"}) {
    writeFile(kGroupFile, hostile);
    EXPECT_EQ(0, Nas1GetGroupList(PROTO_NCP, 0, 9, buffer, sizeof buffer)) << hostile;
  }
  writeFile(kGroupFile, "2147483647\nX\nY");
  EXPECT_EQ(2, Nas1GetGroupList(PROTO_NCP, 0, 9, buffer, sizeof buffer));
  GroupItem group = {};
  describeRemote(&group, PROTO_NCP, "Y");
  EXPECT_EQ(bytesOf(group), std::string(buffer + sizeof group, sizeof group));
}

TEST_F(Ncp, ShowingAndCountingTellAMissingFile) {
  char space[2][128] = {"?", "?"};
  char* names[] = {space[0], space[1]};
  EXPECT_EQ(Results(2, -1),
            (Results{Nas1GetUserListCountInRemoteServer(PROTO_NCP), Nas1GetGroupListCountInRemoteServer(PROTO_NCP)}));
  EXPECT_EQ(0, Nas1ShowUserListInRemoteServer(PROTO_NCP, names));
  EXPECT_EQ(nullptr, names[0]);
  names[0] = space[0];
  writeFile(kGroupFile, "2\nX");
  EXPECT_EQ(2, Nas1GetGroupListCountInRemoteServer(PROTO_NCP));
  EXPECT_EQ(1, Nas1ShowGroupListInRemoteServer(PROTO_NCP, names));
  EXPECT_STREQ("X", names[0]);
  EXPECT_STREQ("", names[1]) << "announced, but not there";
  EXPECT_EQ(0, ncpShowGroupListInBindery(nullptr));
}

TEST_F(Ncp, EndingASessionTerminatesOneProcess) {
  expectDisconnectEnds(PROTO_NCP, SIGTERM);
  for (const int group : {0, -1}) EXPECT_EQ(0, ncpNetDisconnect(0, group)) << "no process";
}
