#include "backends/ncp.h"

#include "accounts/account_items.h"
#include "frame/appliance.h"

using Ncp = ApplianceTest;

static constexpr char kAddressFile[] = "/mnt/param/nw/ipxaddr_temp";
static constexpr char kUserFile[] = "/mnt/param/nw/binderyuser";
static constexpr char kGroupFile[] = "/mnt/param/nw/binderygroup";
static const std::string fetch = "/usr/sbin/nwgetlistfrBind.sh OFFICE";

TEST_F(Ncp, FetchingUsersConnectsFromOneAddressToTheOther) {
  char server[] = "office";
  writeFile(kAddressFile, "0000000A00C0DF123456\n00000b0c00c0df654321 and more");
  EXPECT_EQ(0, Nas1GetUserListFromRemoteServer(PROTO_NCP, server));
  EXPECT_EQ(
      (Lines{fetch, "/usr/sbin/nwclient 00.00.00.0A:00.C0.DF.12.34.56:19.99 00.00.0b.0c:00.c0.df.65.43.21:04.51"}),
      commands());
  setExitStatus("nwclient", 3);
  EXPECT_EQ(-1, ncpGetUserListFromBindery(server));
  setExitStatus("nwgetlistfrBind.sh", 1);
  EXPECT_EQ(Lines{fetch}, commandsOf([&] { EXPECT_EQ(-1, ncpGetUserListFromBindery(server)); }));
  EXPECT_EQ(-1, ncpGetGroupList(0, -1, nullptr, 0));
  EXPECT_EQ((Lines{"<ERR>  [NCP]  Connect to Bindery Server failed", "<ERR>  [NCP]   IPX address or Server Name error",
                   "<ERR>  [NCP]  IPX address or Server Name error"}),
            applianceMessages());
  EXPECT_EQ(Lines{}, commandsOf([] { EXPECT_EQ(0, ncpGetGroupListFromBindery("OFFICE")); }));
}

TEST_F(Ncp, AnAddressFileThatIsNoneReachesNoCommand) {
  const std::string whole = "0000000A00C0DF123456\n";
  char server[] = "OFFICE";
  for (const std::string& content :
       {std::string(), whole, whole + "0000000A00C0DF12345\n", whole + "0000000A00C0DF1234;x\n",
        whole + std::string(19, '0') + '\0' + "00\n", std::string(200, ' ') + whole}) {
    writeFile(kAddressFile, content);
    EXPECT_EQ(Lines{fetch}, commandsOf([&] { EXPECT_EQ(-1, ncpGetUserListFromBindery(server)); })) << content;
  }
}

TEST_F(Ncp, ListsAreItemsOfTheConfiguredBindery) {
  char space[2][128] = {"?", "?"};
  char* names[] = {space[0], space[1]};
  EXPECT_EQ((Results{-1, -1, 0}),
            (Results{Nas1GetGroupList(PROTO_NCP, 0, 0, nullptr, 0), Nas1GetUserListCountInRemoteServer(PROTO_NCP),
                     Nas1ShowUserListInRemoteServer(PROTO_NCP, names)}))
      << "no list file";
  names[0] = space[0];
  std::string name = padded("office", NAS_NAME_SIZE);
  ASSERT_EQ(0, fpConfig[7].set(NAS_NAME_SIZE, name.data()));
  writeFile(kAddressFile, "0000000A00C0DF123456\n0000000A00C0DF123456\n");
  const std::string longName(90, 'N');
  writeFile(kUserFile, "3\nA\n" + longName + "\nC");
  writeFile(kGroupFile, "2\nX");
  // Counting refreshes users and groups differently.
  const std::string client =
      "/usr/sbin/nwclient 00.00.00.0A:00.C0.DF.12.34.56:19.99 00.00.00.0A:00.C0.DF.12.34.56:04.51";
  EXPECT_EQ((Lines{fetch, client}), commandsOf([] { EXPECT_EQ(3, Nas1GetUserList(PROTO_NCP, 0, 0, nullptr, 0)); }));
  EXPECT_EQ(Lines{fetch}, commandsOf([] { EXPECT_EQ(2, ncpGetGroupList(0, -1, nullptr, 0)); }));
  EXPECT_EQ(1, Nas1ShowGroupListInRemoteServer(PROTO_NCP, names));
  EXPECT_EQ((Lines{"X", ""}), (Lines{names[0], names[1]})) << "announced, but not there";

  char buffer[3 * sizeof(UserItem)];
  EXPECT_EQ(Lines{}, commandsOf([&] { EXPECT_EQ(2, Nas1GetUserList(PROTO_NCP, 1, 9, buffer, sizeof buffer)); }));
  UserItem expected[3] = {};
  describeRemote(&expected[0], PROTO_NCP, longName.substr(0, 31).c_str());
  describeRemote(&expected[1], PROTO_NCP, "C");
  EXPECT_EQ(bytesOf(expected), std::string(buffer, sizeof buffer));
}
