// CIFS: the share list that Samba reads, when its init script runs, and the accounts of a domain controller.

#include "backends/cifs.h"

#include "frame/appliance.h"

namespace {

constexpr char kConf[] = "/etc/samba/smb.conf";
constexpr char kHeader[] = "# Samba config file created through Zelmar APIs(11-19-2001).\n";
constexpr char kUsers[] = "/etc/samba/pdcusers";
constexpr char kGroups[] = "/etc/samba/pdcgroups";

std::string pidFile(const char* daemon) { return std::string("/var/lock/samba/locks/") + daemon + ".pid"; }

class Cifs : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    for (const char* daemon : {"smbd", "nmbd"}) writeFile(pidFile(daemon), "4711\n");
  }
};

Lines smb(const char* action) { return {std::string("/etc/init.d/smb ") + action}; }

// The names that a listing writes; of an item only size, source and name, and nothing behind the last.
template <typename Item>
Lines listed(int (*list)(int, int, void*, int), int start, int count, int room) {
  std::vector<Item> items(8);
  std::memset(items.data(), 'u', items.size() * sizeof(Item));
  const std::string untouched = bytesOf(items[7]);
  const int written = list(start, count, items.data(), room);
  Lines names;
  for (int i = 0; i < written; ++i) {
    const Item& item = items[static_cast<std::size_t>(i)];
    EXPECT_EQ(std::tuple(sizeof item, 1U, 0x75757575U), std::tuple(item.size, item.source, item.quota));
    names.push_back(item.name);
  }
  EXPECT_EQ(untouched, bytesOf(items[static_cast<std::size_t>(written)]));
  return names;
}

}  // namespace

TEST_F(Cifs, TheShareListIsWrittenWholeAndReloaded) {
  EXPECT_EQ(smb("reload"), commandsOf([] { EXPECT_EQ(1, cifsDbUpdate()); }));
  EXPECT_EQ(kHeader, readFile(kConf)) << "no shares";

  EXPECT_EQ(0, EnableNas1ShareBatch(1));
  std::map<std::string, std::string> sections;
  for (const auto& [name, comment, path] :
       {std::tuple("second one", "", "/volume/v1/a path"), {"First", "50% [off]", "/volume/v2/%s"}}) {
    std::string copy = name;
    EXPECT_EQ(0, Nas1ShareAdd(copy.data(), comment, path));
    sections[name] = "[" + copy + "]\n    comment = " + comment + "\n    path = " + path + "\n\n";
  }
  std::string expected = kHeader;
  char share[1000];
  for (int i = 0; Nas1ShareList(i, 1, share, sizeof share) == 1; ++i)
    expected += sections[reinterpret_cast<const ShareInfo*>(share)->name];
  const std::function<int()> calls[] = {cifsDbUpdate, [] { return cifsShareAdd("x", "", "/x"); },
                                        [] { return cifsShareDel("x"); }, [] { return cifsShareMod("x", "", "/x"); }};
  for (const auto& call : calls) {
    writeFile(kConf, "old, and longer than what comes: " + std::string(2000, 'x'));
    EXPECT_EQ(smb("reload"), commandsOf([&] { EXPECT_EQ(1, call()); }));
    EXPECT_EQ(expected, readFile(kConf));
  }
  EXPECT_EQ(0, EnableNas1ShareBatch(0));
  std::strcpy(servicesf, "/no/such/folder/smb.conf");
  EXPECT_EQ(Lines{}, commandsOf([] { EXPECT_EQ(-1, cifsRestart(3)); })) << "the daemons are left alone";
  EXPECT_EQ(Lines{"<ERR>  [CIFS] failed to open /no/such/folder/smb.conf for writing"}, applianceMessages());
  std::strcpy(servicesf, kConf);
}

TEST_F(Cifs, ModesRunTheInitScriptOfARunningSamba) {
  setExitStatus("smb", 1);  // how the script ends does not count
  for (const int mode : {0, 1, 2, 3, 4, -1}) EXPECT_EQ(1, cifsRestart(mode)) << mode;
  EXPECT_EQ(smb("start") + smb("stop") + smb("restart") + smb("reload"), commands());

  (void)unlink(kConf);
  for (const char* daemon : {"smbd", "nmbd"}) {
    for (const char* content : {"", "none"}) {
      writeFile(pidFile(daemon), content);
      for (const int mode : {0, 3}) EXPECT_EQ(0, cifsRestart(mode)) << daemon << " " << content << " " << mode;
    }
    (void)unlink(pidFile(daemon).c_str());
    EXPECT_EQ(0, cifsRestart(0)) << daemon;
    EXPECT_FALSE(exists(pidFile(daemon))) << "looking creates nothing";
    writeFile(pidFile(daemon), "0000000000000000012345");
    EXPECT_EQ(12, cifsGetProcessPid(daemon)) << "19 bytes are read";
  }
  EXPECT_EQ(4U, commands().size());
  EXPECT_FALSE(exists(kConf));
  EXPECT_EQ(Lines(4, "<ERR>  [CIFS] read pidfile error!"), applianceMessages()) << "one for each empty file";
}

TEST_F(Cifs, ControllerCommandsGetTheNameQuoted) {
  char name[] = "My PDC";
  setExitStatus("listpdcgroups", 2);
  EXPECT_EQ((Results{0, 0, -1, -1}),
            (Results{cifsCheckPDCExist(name), Nas1GetUserListFromRemoteServer(PROTO_CIFS, name),
                     Nas1GetGroupListFromRemoteServer(PROTO_CIFS, name), cifsCheckPDCExist(nullptr)}));
  EXPECT_EQ((Lines{"/bin/probepdc My PDC", "/bin/listpdcusers My PDC", "/bin/listpdcgroups My PDC"}), commands());
}

TEST_F(Cifs, ControllerAccountsAreListedAsItems) {
  const std::string three = "3\nA\nB\n" + std::string(40, 'L') + "\n";
  const std::string cut(31, 'L');
  constexpr int kItem = sizeof(UserItem);
  const struct {
    std::string file;
    int start, count, room;
    Lines names;
  } cases[] = {
      {three, -2, 5, 8 * kItem, {"A", "B", cut}},
      {three, 0, 2, 8 * kItem, {"A", "B"}},
      {three, 0, 5, 2 * kItem - 1, {"A"}},
      {three, 2, INT32_MAX, 8 * kItem, {cut}},
      // A first line that promises more than any machine could hold, less than there is, or nothing.
      {"2147483647\nA\n\nB B", 0, 5, 8 * kItem, {"A", "", "B B"}},
      {" 1 or so\nA\nB\n", 0, 5, 8 * kItem, {"A"}},
      {"-3\nA\n", 0, 5, 8 * kItem, {}},
  };
  EXPECT_EQ(Lines{}, listed<UserItem>(cifsGetUserList, 0, 5, 8 * kItem)) << "no file";
  for (const auto& c : cases) {
    writeFile(kUsers, c.file);
    EXPECT_EQ(c.names, listed<UserItem>(cifsGetUserList, c.start, c.count, c.room)) << c.start << ", " << c.count;
  }
  writeFile(kGroups, "2\nG1\nG2\n");
  EXPECT_EQ((Lines{"G1", "G2"}), listed<GroupItem>(cifsGetGroupList, 0, 5, 8 * sizeof(GroupItem)));
}

TEST_F(Cifs, CountingRefreshesTheListOfTheConfiguredController) {
  writeFile(kUsers, "7\n");
  writeFile(kGroups, "9\n");
  storeText("CIFS_PDC_NAME", "PDC 1");
  EXPECT_EQ((Results{7, 9}),
            (Results{Nas1GetUserList(PROTO_CIFS, 0, 0, nullptr, 0), Nas1GetGroupList(PROTO_CIFS, 0, 5, nullptr, 100)}));
  (void)listed<UserItem>(cifsGetUserList, 0, 1, 200);
  EXPECT_EQ((Lines{"/sbin/setnas 600 1 PDC 1", "/sbin/setnas 700 1 PDC 1"}), commands());
  setExitStatus("setnas", 1);
  EXPECT_EQ(-1, cifsGetUserList(0, -1, nullptr, 0));
  (void)unlink("/etc/admin/system.gdbm");
  (void)unlink("/etc/default.zelmar");
  EXPECT_EQ(Lines{}, commandsOf([] { EXPECT_EQ(7, cifsGetUserList(0, -1, nullptr, 0)); })) << "no controller known";
}
