// Adding and deleting accounts with all that hangs on them: home share, permissions, groups.

#include "accounts/account_items.h"
#include "frame/appliance.h"

namespace {

struct UserApi : ApplianceTest {
  void SetUp() override {
    ApplianceTest::SetUp();
    (void)unlink("/etc/default.zelmar");  // no default quotas
    writeFile("/etc/exports", "");
    writeFile("/etc/fstab.zelmar", "/dev/md0 /volume/v1\n/dev/md1 /volume/v2\n");
  }
};

void setAutoHome(const char* value) { ASSERT_EQ(0, NasSetConfig("AUTO_HOME", 2, value)); }

// Names are changed in the caller's buffer.
int addUser(int source, std::string name, const char* password = "secret") {
  return Nas1AddUser(source, name.data(), password);
}
int delUser(int source, std::string name) { return Nas1DelUser(source, name.data()); }
int delGroup(int source, std::string name) { return Nas1DelGroup(source, name.data()); }
int addShare(std::string name, const std::string& path) { return Nas1ShareAdd(name.data(), "", path.c_str()); }

int permit(const char* share, int protocol, int type, const char* name) {
  PermittedItem item = {.type = type, .rights = 2, .name = {}};
  std::strncpy(item.name, name, sizeof item.name - 1);
  return Nas1AddPermittedItem(share, protocol, &item);
}

// "user NAME rights", one a line, of a share's list.
Lines permitted(const char* share, int protocol) {
  PermittedItem items[8];
  const int count = Nas1ListPermittedItems(share, protocol, 0, 8, items, sizeof items);
  Lines lines;
  for (int i = 0; i < count; ++i) {
    lines.push_back((items[i].type == PERMITTED_USER ? "user " : "group ") + std::string(items[i].name) + " " +
                    std::to_string(items[i].rights));
  }
  return lines;
}

std::string homeOf(const char* user) {
  const auto record = storedRecord("passwd.gdbm", user);
  return record ? record->c_str() + 36 : "none";
}

// Everything that adding a user may write.
Lines everyKey() {
  Lines all;
  for (const std::string file : {"passwd.gdbm", "user_id.gdbm", "share.gdbm", "user_local.gdbm"})
    for (const std::string& key : storedKeys(file)) all.push_back(file + " " + key);
  return all;
}

}  // namespace

TEST_F(UserApi, ALocalUserGetsItsHomeShare) {
  setAutoHome("1");
  char name[] = "  Alice ";
  EXPECT_EQ(0, Nas1AddUser(PROTO_SYSTEM, name, "secret"));
  EXPECT_STREQ("ALICE", name) << "upper-cased and trimmed in the caller's buffer";
  EXPECT_EQ((Lines{"passwd.gdbm ALICE", "user_id.gdbm ALICE0", "share.gdbm Alice", "user_local.gdbm Alice"}),
            everyKey());
  EXPECT_EQ("Alice", homeOf("ALICE")) << "the share keeps the caller's case";
  EXPECT_EQ(Lines{"user ALICE 1"}, permitted("Alice", PROTO_SYSTEM));
  int isHome = 0;
  EXPECT_EQ(0, NasShareGetConfig("Alice", "is_home", sizeof isHome, &isHome, nullptr));
  EXPECT_EQ(1, isHome);
}

TEST_F(UserApi, EveryResultOfAddingAUser) {
  const struct {
    const char *title, *autoHome;
    std::string prepare;  // "share", "no volume", "item", "no id file"
    int source;
    std::string name;
    const char* password;
    int result;
    std::size_t written;  // keys that appear
  } cases[] = {
      {"a home", "1", "", 0, "bob", "", 0, 4},
      {"other sources share no names", "1", "share", 3, "bob", nullptr, 0, 1},
      {"password too long", "1", "", 0, "bob", "12345678901234567890123456789012", -1, 0},
      {"unknown source", "0", "", 7, "bob", "", -1, 0},
      {"share name taken", "1", "share", 0, "bob", "", -2, 0},
      {"no volume before the name is looked at", "1", "no volume", 0, "", "", -3, 0},
      {"item exists", "1", "item", 0, "bob", "", -1, 1},  // the password record stays
      {"id file unusable", "0", "no id file", 0, "bob", "", -2, 1},
  };
  for (const auto& c : cases) {
    SetUp();
    setAutoHome(c.autoHome);
    if (c.prepare == "share") (void)addShare("bob", "/volume/v2/bob");
    if (c.prepare == "no volume") writeFile("/etc/fstab.zelmar", "");
    if (c.prepare == "item") storeRecord("user_id.gdbm", "BOB0", std::string(152, '\1'));
    if (c.prepare == "no id file") blockFile("/etc/admin/user_id.gdbm");
    const std::size_t before = everyKey().size();
    EXPECT_EQ(c.result, addUser(c.source, c.name, c.password)) << c.title;
    EXPECT_EQ(before + c.written, everyKey().size()) << c.title;
  }
}

TEST_F(UserApi, CharactersThatAShareCannotHaveAreReplaced) {
  setAutoHome("1");
  EXPECT_EQ(0, addUser(0, "~!@#$%^&*<>/:\"'()+|\\?=`[]x-.,;"));
  const std::string name = std::string(25, '_') + "x-.,;";
  const std::string share = storedRecord("share.gdbm", name).value();
  EXPECT_STREQ("/volume/v1/Data/~!@#$%^_*<>/:__()+|_?_`[]X-.,;", share.c_str() + 200)
      << "only what a shell takes apart";
  EXPECT_STREQ("home of  ~!@#$%^&*<>/:\"'()+|\\?=`[]X-.,;", share.c_str() + 136);
}

TEST_F(UserApi, ADoubleByteNameIsNotCutInHalf) {
  setAutoHome("1");
  (void)NasLangInit(932, -1);
  // Shift-JIS: the second byte looks like a backslash, and like a lower-case letter.
  EXPECT_EQ(0, addUser(0, "\x83\x5c\x83\x61z"));
  EXPECT_EQ(Lines{"\x83\x5c\x83\x61z"}, storedKeys("share.gdbm"));
  EXPECT_EQ(Lines{"\x83\x5c\x83\x61Z"}, storedKeys("passwd.gdbm"));
  // 30 single bytes and a double-byte character: the share would be called as the first 30 bytes say.
  const std::string first(30, 'a');
  ASSERT_EQ(0, addShare(first, "/volume/v2/first"));
  EXPECT_EQ(-2, addUser(0, first + "\x83\x5c"));
  (void)NasLangInit(860, -1);
  EXPECT_EQ(-1, addUser(0, first + "\x83\x5c")) << "only too long";
}

TEST_F(UserApi, TheHomeShareReachesTheDaemonsOnceAndKeepsTheCallersBatch) {
  setAutoHome("1");
  const auto exports = [](const std::function<int()>& call) {
    const Lines ran = commandsOf([&] { EXPECT_EQ(0, call()); });
    return std::count(ran.begin(), ran.end(), "/usr/sbin/exportfs -ra");
  };
  EXPECT_EQ(1, exports([] { return addUser(0, "one"); }));
  EXPECT_EQ(0, exports([] { return EnableNas1ShareBatch(1) + addUser(0, "two"); }))
      << "a batch of the caller's goes on";
  EXPECT_EQ(1, exports([] { return EnableNas1ShareBatch(0); }));
  EXPECT_EQ(1, exports([] { return addShare("three", "/volume/v1/three"); })) << "no batch is left behind";

  blockFile("/etc/admin/share.gdbm");
  EXPECT_EQ(0, addUser(0, "bob")) << "a user without a home share is still a user";
  EXPECT_EQ("", homeOf("BOB"));
}

TEST_F(UserApi, DeletingAUserTakesHomeAndPermissions) {
  setAutoHome("1");
  for (const char* name : {"Alice", "Bob"}) ASSERT_EQ(0, addUser(0, name));
  ASSERT_EQ(0, permit("Bob", PROTO_SYSTEM, PERMITTED_USER, "Alice"));
  ASSERT_EQ(0, permit("Bob", PROTO_CIFS, PERMITTED_USER, "ALICE"));
  EXPECT_EQ((Results{0, -1}), (Results{delUser(0, "alice"), delUser(0, "alice")}));
  EXPECT_EQ(Lines{"Bob"}, storedKeys("share.gdbm"));
  EXPECT_EQ(Lines{"BOB"}, storedKeys("passwd.gdbm"));
  EXPECT_EQ(Lines{"user BOB 1"}, permitted("Bob", PROTO_SYSTEM));
  EXPECT_EQ(Lines{"user ALICE 2"}, permitted("Bob", PROTO_CIFS)) << "another source's user";

  ASSERT_EQ(0, permit("Bob", PROTO_SYSTEM, PERMITTED_USER, "NOBODY"));
  EXPECT_EQ(-1, delUser(0, "nobody"));
  EXPECT_EQ((Lines{"user BOB 1", "user NOBODY 2"}), permitted("Bob", PROTO_SYSTEM)) << "a failed deletion";
}

TEST_F(UserApi, GroupsComeAndGoWithTheirPermissions) {
  char name[] = " Staff ";
  EXPECT_EQ(0, Nas1AddGroup(PROTO_SYSTEM, name, nullptr));
  EXPECT_STREQ("STAFF", name);
  char remote[] = " Staff ";
  EXPECT_EQ(0, Nas1AddGroup(PROTO_CIFS, remote, nullptr));
  EXPECT_EQ((Lines{" STAFF 1", "STAFF0"}), storedKeys("group_id.gdbm")) << "only local names are trimmed";
  ASSERT_EQ(0, addShare("docs", "/volume/v1/docs"));
  ASSERT_EQ(0, permit("docs", PROTO_SYSTEM, PERMITTED_GROUP, "Staff"));
  ASSERT_EQ(0, permit("docs", PROTO_SYSTEM, PERMITTED_USER, "ALICE"));
  EXPECT_EQ((Results{-1, 0, -1}),
            (Results{Nas1AddGroup(PROTO_SYSTEM, name, nullptr), delGroup(0, "staff"), delGroup(0, "staff")}));
  EXPECT_EQ(Lines{"user ALICE 2"}, permitted("docs", PROTO_SYSTEM));
  blockFile("/etc/admin/group_id.gdbm");
  EXPECT_EQ(-2, Nas1AddGroup(PROTO_SYSTEM, name, nullptr));
}
