// CIFS: the share list that Samba reads, when its init script runs, and the accounts of a domain controller.

#include "backends/cifs.h"

#include "backends/back_end.h"

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

// The names that a listing writes; everything of an item but size, source and name must stay as it was.
template <typename Item>
Lines listed(int (*list)(int, int, void*, int), int start, int count, int room) {
  std::vector<char> buffer(static_cast<std::size_t>(std::max(room, 0)) + sizeof(Item), 'u');
  const int written = list(start, count, buffer.data(), room);
  Lines names;
  for (int i = 0; i < written; ++i) {
    Item item;
    std::memcpy(&item, &buffer[static_cast<std::size_t>(i) * sizeof item], sizeof item);
    EXPECT_EQ(sizeof item, item.size);
    EXPECT_EQ(static_cast<std::uint32_t>(PROTO_CIFS), item.source);
    EXPECT_EQ(0x75757575U, item.quota);
    names.push_back(item.name);
  }
  const std::size_t end = static_cast<std::size_t>(std::max(written, 0)) * sizeof(Item);
  EXPECT_EQ(std::string(buffer.size() - end, 'u'), std::string(&buffer[end], buffer.size() - end));
  return written < 0 ? Lines{"failed"} : names;
}

// The remote names that the list file gives, each in a buffer of 128 bytes.
Lines shown(int (*show)(char**), std::size_t count) {
  std::vector<std::string> buffers(count, std::string(128, 'u'));
  std::vector<char*> names;
  for (std::string& buffer : buffers) names.push_back(buffer.data());
  names.push_back(nullptr);
  EXPECT_EQ(0, show(names.data()));
  return {names.begin(), names.end() - 1};
}

}  // namespace

TEST_F(Cifs, TheShareListIsWrittenWholeAndReloaded) {
  EXPECT_EQ(smb("reload"), commandsOf([] { EXPECT_EQ(1, cifsDbUpdate()); }));
  EXPECT_EQ(kHeader, readFile(kConf)) << "no shares";

  EXPECT_EQ(0, EnableNas1ShareBatch(1));
  std::map<std::string, std::string> sections;
  for (const auto& [name, comment, path] : {std::tuple("second one", "", "/volume/v1/a path"),
                                            {"First", "about it", "/volume/v1/first"},
                                            {"third", "50% [off]", "/volume/v2/%s"}}) {
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

  std::strcpy(servicesf, "/run/other.conf");
  EXPECT_EQ(1, cifsRestart(3));
  EXPECT_EQ(expected, readFile("/run/other.conf"));
  std::strcpy(servicesf, "/no/such/folder/smb.conf");
  EXPECT_EQ(Lines{}, commandsOf([] { EXPECT_EQ(-1, cifsRestart(3)); })) << "the daemons are left alone";
  EXPECT_EQ(Lines{"<ERR>  [CIFS] failed to open /no/such/folder/smb.conf for writing"}, applianceMessages());
  std::strcpy(servicesf, kConf);
}

TEST_F(Cifs, ModesRunTheInitScriptOfARunningSamba) {
  setExitStatus("smb", 1);  // how the script ends does not count
  const char* const actions[] = {"start", "stop", "restart", "reload"};
  for (int mode = 0; mode < 4; ++mode)
    EXPECT_EQ(smb(actions[mode]), commandsOf([=] { EXPECT_EQ(1, cifsRestart(mode)); })) << mode;
  for (const int mode : {4, -1, INT32_MIN}) EXPECT_EQ(1, cifsRestart(mode)) << mode;
  EXPECT_EQ(4U, commands().size());

  (void)unlink(kConf);
  for (const char* daemon : {"smbd", "nmbd"}) {
    for (const char* content : {"0", "", "none"}) {
      writeFile(pidFile(daemon), content);
      for (int mode = 0; mode < 5; ++mode) EXPECT_EQ(0, cifsRestart(mode)) << daemon << " " << content << " " << mode;
    }
    (void)unlink(pidFile(daemon).c_str());
    EXPECT_EQ(0, cifsRestart(0)) << daemon;
    EXPECT_FALSE(exists(pidFile(daemon))) << "looking creates nothing";
    writeFile(pidFile(daemon), "  123\n");
    EXPECT_EQ(123, cifsGetProcessPid(daemon));
  }
  EXPECT_EQ(4U, commands().size());
  EXPECT_FALSE(exists(kConf));
  EXPECT_EQ(Lines(10, "<ERR>  [CIFS] read pidfile error!"), applianceMessages()) << "one for each empty file";
  writeFile(pidFile("smbd"), "0000000000000000012345");
  EXPECT_EQ(12, cifsGetProcessPid("smbd")) << "19 bytes are read";
}

TEST_F(Cifs, ItsOwnSettingsRestartIt) {
  const auto withoutName = [](int id, int size, void* value) { return id == 0 ? 0 : cifsSetConfig(id, size, value); };
  expectReactions(withoutName, 1, {3, 5, 6, 19, 30, 78, 101}, "/etc/init.d/smb restart");
  char name[] = "NAME";
  EXPECT_EQ(Lines{"/sbin/set_hostname.sh"} + smb("restart"),
            commandsOf([&] { (void)cifsSetConfig(0, sizeof name, name); }));
}

TEST_F(Cifs, DisconnectingEndsTheClientsProcess) {
  expectDisconnectEnds(PROTO_CIFS, SIGTERM);
  EXPECT_EQ(SIGTERM, signalThatEnds([](pid_t pid) { EXPECT_EQ(0, cifsNetDisconnect(99, pid)); })) << "not in the table";
  for (const int pid : {0, -1}) EXPECT_EQ(0, cifsNetDisconnect(0, pid)) << "several processes at once: none of them";
}

TEST_F(Cifs, ControllerCommandsGetTheNameQuoted) {
  char name[] = "My PDC";
  const std::pair<std::string, std::function<int(char*)>> cases[] = {
      {"probepdc", cifsCheckPDCExist},
      {"listpdcusers", [](char* server) { return Nas1GetUserListFromRemoteServer(PROTO_CIFS, server); }},
      {"listpdcgroups", [](char* server) { return Nas1GetGroupListFromRemoteServer(PROTO_CIFS, server); }}};
  for (const auto& [program, call] : cases) {
    for (const int status : {0, 2}) {
      setExitStatus(program, status);
      EXPECT_EQ(Lines{"/bin/" + program + " My PDC"},
                commandsOf([&, &run = call] { EXPECT_EQ(status == 0 ? 0 : -1, run(name)); }));
    }
    EXPECT_EQ(-1, call(nullptr));
  }
}

TEST_F(Cifs, NamesOfTheListFilesAreCountedAndShown) {
  for (const auto show : {Nas1ShowUserListInRemoteServer, Nas1ShowGroupListInRemoteServer}) {
    char* names[] = {servicesf};
    EXPECT_EQ(-1, show(PROTO_CIFS, names));
    EXPECT_EQ(nullptr, names[0]);
    EXPECT_EQ(-1, show(PROTO_CIFS, nullptr));
  }
  EXPECT_EQ(0, Nas1GetUserListCountInRemoteServer(PROTO_CIFS));
  EXPECT_EQ(0, Nas1GetGroupListCountInRemoteServer(PROTO_CIFS));
  const std::string most(79, 'x');
  const std::pair<std::string, Lines> cases[] = {
      {"2\nALICE\nBOB B", {"ALICE", "BOB B"}},  // nothing is lost without a newline
      {"", {}},
      {"none\nA\n", {}},
      {"-3\nA\n", {}},
      {" 1 or so\nA\nB\n", {"A"}},
      {"3\nA\n\n", {"A", "", ""}},
      {"2\n" + most + "\nB\n", {most, "B"}},
      {"2\n" + std::string(500, 'x') + "\nB\n", {most, "B"}},
  };
  for (const auto& [file, names] : cases) {
    writeFile(kUsers, file);
    EXPECT_EQ(static_cast<int>(names.size()), Nas1GetUserListCountInRemoteServer(PROTO_CIFS)) << file;
    EXPECT_EQ(names, shown(cifsShowUserListInPDC, names.size())) << file;
  }
  writeFile(kGroups, "2\nG1\nG2\n");
  EXPECT_EQ(2, Nas1GetGroupListCountInRemoteServer(PROTO_CIFS));
  EXPECT_EQ((Lines{"G1", "G2"}), shown(cifsShowGroupListInPDC, 2));
}

TEST_F(Cifs, ControllerAccountsAreListedAsItems) {
  const std::string longName(40, 'L');
  const std::string cut = longName.substr(0, 31);
  const std::string three = "3\nA\nB\n" + longName + "\n";
  constexpr int kItem = sizeof(UserItem);
  const struct {
    std::string file;
    int start, count, room;
    Lines names;
  } cases[] = {
      {three, 0, 5, 10 * kItem, {"A", "B", cut}},
      {three, 1, 5, 10 * kItem, {"B", cut}},
      {three, 0, 2, 10 * kItem, {"A", "B"}},
      {three, 3, 5, 10 * kItem, {}},
      {three, -2, 1, 10 * kItem, {"A"}},
      {three, 0, 5, 2 * kItem - 1, {"A"}},
      {three, 0, 5, kItem - 1, {}},
      {three, 2, INT32_MAX, 10 * kItem, {cut}},
      // A first line that promises more than there is, or more than any machine could hold.
      {"4\nA\nB\n", 0, 5, 10 * kItem, {"A", "B"}},
      {"2147483647\nA\nB\n", 0, 5, 10 * kItem, {"A", "B"}},
  };
  EXPECT_EQ(Lines{}, listed<UserItem>(cifsGetUserList, 0, 5, 10 * kItem)) << "no file";
  for (const auto& c : cases) {
    writeFile(kUsers, c.file);
    EXPECT_EQ(c.names, listed<UserItem>(cifsGetUserList, c.start, c.count, c.room)) << c.start << ", " << c.count;
  }
  writeFile(kGroups, "2\nG1\nG2\n");
  EXPECT_EQ((Lines{"G1", "G2"}), listed<GroupItem>(cifsGetGroupList, 0, 5, 1000));
  UserItem items[2];
  EXPECT_EQ(1, Nas1GetUserList(PROTO_CIFS, 1, 1, items, sizeof items));
  EXPECT_STREQ("B", items[0].name);
  EXPECT_EQ(0U, items[0].quota) << "cleared by the entry";
}

TEST_F(Cifs, CountingRefreshesTheListOfTheConfiguredController) {
  writeFile(kUsers, "7\n");
  writeFile(kGroups, "9\n");
  storeText("CIFS_PDC_NAME", "PDC 1");
  char buffer[8] = "buffer";
  EXPECT_EQ(7, Nas1GetUserList(PROTO_CIFS, 0, 0, buffer, sizeof buffer));
  EXPECT_EQ(9, Nas1GetGroupList(PROTO_CIFS, 0, 5, nullptr, 100));
  EXPECT_EQ(7, Nas1GetUserList(PROTO_CIFS, 0, 5, buffer, 0));
  EXPECT_STREQ("buffer", buffer);
  (void)listed<UserItem>(cifsGetUserList, 0, 1, 200);
  EXPECT_EQ((Lines{"/sbin/setnas 600 1 PDC 1", "/sbin/setnas 700 1 PDC 1", "/sbin/setnas 600 1 PDC 1"}), commands());
  setExitStatus("setnas", 1);
  EXPECT_EQ(Results(2, -1), (Results{cifsGetUserList(0, -1, nullptr, 0), cifsGetGroupList(0, -1, nullptr, 0)}));
  (void)unlink("/etc/admin/system.gdbm");
  (void)unlink("/etc/default.zelmar");
  EXPECT_EQ(Lines{}, commandsOf([] { EXPECT_EQ(7, cifsGetUserList(0, -1, nullptr, 0)); })) << "no controller known";
}

TEST_F(Cifs, FormattingIsBounded) {
  const struct {
    int max;
    const char* text;
    int length;
    const char* buffer;
  } cases[] = {
      {4, "abcd", 4, "abcd\0u"}, {4, "abcde", -1, "abcd\0u"}, {0, "a", -1, "\0uuuuu"}, {-1, "a", -1, "uuuuuu"}};
  for (const auto& c : cases) {
    std::string buffer(6, 'u');
    EXPECT_EQ(c.length, cifs_slprintf(buffer.data(), c.max, "%s", c.text)) << c.max;
    EXPECT_EQ(std::string(c.buffer, 6), buffer) << c.max;
  }
}
