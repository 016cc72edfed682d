#include "accounts/local_users.h"

#include <filesystem>

#include "stored_accounts.h"

namespace {

struct LocalUsers : ApplianceTest {
  void SetUp() override {
    ApplianceTest::SetUp();
    withoutDefaultQuota();
  }
};

std::string padded(std::string text, std::size_t size) {
  text.resize(size, '\0');
  return text;
}

// The stored record of a user with these fields.
std::string passwordRecord(const std::string& password, const std::string& home) {
  return std::string("\x64\0\0\0", 4) + padded(password, 32) + padded(home, 32) + std::string(32, '\0');
}

Lines lastLines(std::size_t count) {
  Lines lines = systemLog();
  lines.erase(lines.begin(), lines.end() - static_cast<long>(std::min(count, lines.size())));
  return lines;
}

}  // namespace

TEST_F(LocalUsers, AddingStoresThePasswordThenTheItem) {
  EXPECT_EQ(0, sysAddUser("ALICE", "secret"));
  EXPECT_EQ(passwordRecord("secret", ""), storedRecord("passwd.gdbm", "ALICE"));
  EXPECT_EQ(recordOf(userItem("ALICE", 0, 32768)), storedRecord("user_id.gdbm", "ALICE0"));
  EXPECT_EQ(-1, sysAddUser("ALICE", "other"));
  EXPECT_EQ(Lines({"err Warnning!key existed for add local user"}), lastLines(1));
  EXPECT_EQ(passwordRecord("secret", ""), storedRecord("passwd.gdbm", "ALICE"));

  EXPECT_EQ(0, sysAddUser("BOB", nullptr));
  EXPECT_EQ(0, sysAddUser("CAROL", std::string(40, 'p').c_str()));
  EXPECT_EQ(passwordRecord(std::string(31, 'p'), ""), storedRecord("passwd.gdbm", "CAROL"));

  // The record stays when the account item cannot be made.
  storeUser(userItem("DAVE", 0, 40000));
  EXPECT_EQ(-1, sysAddUser("DAVE", ""));
  std::filesystem::remove("/etc/admin/user_id.gdbm");
  std::filesystem::create_directory("/etc/admin/user_id.gdbm");
  EXPECT_EQ(-2, sysAddUser("EVE", ""));
  EXPECT_EQ((Lines{"ALICE", "BOB", "CAROL", "DAVE", "EVE"}), storedKeys("passwd.gdbm"));
}

TEST_F(LocalUsers, DeletingTakesBothRecords) {
  EXPECT_EQ(0, sysAddUser("ALICE", "secret"));
  EXPECT_EQ(0, sysDelUser("ALICE"));
  EXPECT_EQ(Lines(), storedKeys("passwd.gdbm"));
  EXPECT_EQ(Lines(), storedKeys("user_id.gdbm"));
  EXPECT_EQ(-1, sysDelUser("ALICE"));
  storeUser(userItem("BOB", 0, 40000));
  EXPECT_EQ(0, sysDelUser("BOB")) << "also one that never had a password record";
  EXPECT_EQ(0, sysAddUser("CAROL", ""));
  std::filesystem::remove("/etc/admin/passwd.gdbm");
  std::filesystem::create_directory("/etc/admin/passwd.gdbm");
  EXPECT_EQ(-1, sysDelUser("CAROL"));
  EXPECT_EQ(-1, sysAddUser("DAVE", ""));
  EXPECT_EQ(-1, sysSetUserPasswd("CAROL", "x"));
  EXPECT_EQ((Lines{"CAROL0"}), storedKeys("user_id.gdbm"));
}

TEST_F(LocalUsers, FieldsAreReadWithinTheBuffer) {
  storeRecord("passwd.gdbm", "ALICE", passwordRecord("secret", std::string(32, 'h')));
  const struct {
    const char* type;
    int size;
    int result;
    std::string out;
    int length;
  } cases[] = {{"passwd", 32, 0, "secret", 6}, {"passwd", 4, 0, "sec", 3},
               {"passwd", 1, 0, "", 0},        {"home", 64, 0, std::string(32, 'h'), 32},  // the field has lost its NUL
               {"Passwd", 32, -1, "", -7},     {"passwd", 0, -1, "", -7},
               {"home", -1, -1, "", -7}};
  for (const auto& c : cases) {
    std::string out(64, 'x');
    int length = -7;
    EXPECT_EQ(c.result, sysGetUserConfig("ALICE", c.type, c.size, out.data(), &length)) << c.type << c.size;
    EXPECT_EQ(c.length, length) << c.type << c.size;
    std::string expected(64, 'x');
    if (c.result == 0)
      expected.replace(0, static_cast<std::size_t>(c.size), padded(c.out, static_cast<std::size_t>(c.size)));
    EXPECT_EQ(expected, out) << c.type << c.size;
  }
  char out[32];
  EXPECT_EQ(0, NasGetUserConfig("ALICE", "passwd", sizeof out, out, nullptr));
  EXPECT_EQ(-1, NasGetUserConfig("alice", "passwd", sizeof out, out, nullptr));
  EXPECT_EQ(-1, sysSetUserConfig("bob", "home", 32, "x"));
  const Lines log = lastLines(2);
  EXPECT_TRUE(log[0].starts_with("err Warnning!nas_passwd:")) << log[0];
  EXPECT_TRUE(log[0].ends_with(" No such Data for User:alice")) << log[0];
  EXPECT_TRUE(log[1].ends_with(" No such Data for user:bob")) << log[1];
}

TEST_F(LocalUsers, FieldsAreStoredCutAndOthersRefused) {
  storeRecord("passwd.gdbm", "ALICE", passwordRecord("a longer one", "old"));
  EXPECT_EQ(0, sysSetUserPasswd("ALICE", "new"));
  EXPECT_EQ(passwordRecord("new", "old"), storedRecord("passwd.gdbm", "ALICE"));
  EXPECT_EQ(0, sysSetUserConfig("ALICE", "home", 3, std::string(50, 'h').c_str())) << "the size is not used";
  EXPECT_EQ(passwordRecord("new", std::string(31, 'h')), storedRecord("passwd.gdbm", "ALICE"));
  EXPECT_EQ(-1, sysSetUserConfig("ALICE", "Home", 32, "x"));
  EXPECT_EQ(passwordRecord("new", std::string(31, 'h')), storedRecord("passwd.gdbm", "ALICE"));
}

TEST_F(LocalUsers, DamagedRecordsFailAtEveryLength) {
  const std::string record = passwordRecord("secret", "home");
  char out[32];
  for (std::size_t length = 1; length < record.size(); ++length) {
    const std::string cut = record.substr(0, length);
    storeRecord("passwd.gdbm", "ALICE", cut);
    EXPECT_EQ(-1, sysGetUserPasswd("ALICE", out, sizeof out)) << length;
    EXPECT_EQ(-1, sysSetUserPasswd("ALICE", "x")) << length;
    EXPECT_EQ(cut, storedRecord("passwd.gdbm", "ALICE")) << length;
  }
}

TEST_F(LocalUsers, PasswordEntriesUpperCaseTheName) {
  EXPECT_EQ(0, sysAddUser("ALICE", "secret"));
  char name[] = "aLice";
  char nobody[] = "bob";
  char out[40];
  std::memset(out, 'x', sizeof out);
  EXPECT_EQ(0, Nas1GetUserPasswd(99, name, out, 33)) << "the source is not looked at";
  EXPECT_EQ(padded("secret", 33) + std::string(7, 'x'), std::string(out, sizeof out));
  EXPECT_STREQ("ALICE", name);
  EXPECT_EQ(-1, Nas1GetUserPasswd(0, nobody, out, sizeof out));
  EXPECT_EQ(std::string(40, '\0'), std::string(out, sizeof out)) << "cleared all the same";
  EXPECT_EQ(-1, Nas1GetUserPasswd(0, nullptr, out, sizeof out));
  EXPECT_EQ(-1, Nas1GetUserPasswd(0, name, out, 0));

  std::strcpy(name, "alice");
  EXPECT_EQ(0, Nas1SetUserPasswd(-1, name, "other"));
  EXPECT_EQ(passwordRecord("other", ""), storedRecord("passwd.gdbm", "ALICE"));
  EXPECT_EQ(-1, Nas1SetUserPasswd(0, nobody, "x"));
  EXPECT_EQ(-1, Nas1SetUserPasswd(0, nullptr, "x"));
  EXPECT_EQ(-1, Nas1SetUserPasswd(0, name, nullptr));
}
