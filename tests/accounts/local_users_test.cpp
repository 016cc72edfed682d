#include "accounts/local_users.h"

#include "stored_accounts.h"

namespace {

using LocalUsers = AccountTest;

// The stored record of a user with these fields.
std::string passwordRecord(const std::string& password, const std::string& home) {
  return std::string("\x64\0\0\0", 4) + padded(password, 32) + padded(home, 32) + std::string(32, '\0');
}

}  // namespace

TEST_F(LocalUsers, AddingStoresThePasswordThenTheItem) {
  EXPECT_EQ(0, sysAddUser("ALICE", "secret"));
  EXPECT_EQ(passwordRecord("secret", ""), storedRecord("passwd.gdbm", "ALICE"));
  EXPECT_EQ(recordOf(userItem("ALICE", 0, 32768)), storedRecord("user_id.gdbm", "ALICE0"));
  EXPECT_EQ(-1, sysAddUser("ALICE", "other"));
  EXPECT_EQ("err Warnning!key existed for add local user", systemLog().back());
  EXPECT_EQ(passwordRecord("secret", ""), storedRecord("passwd.gdbm", "ALICE"));

  EXPECT_EQ(0, sysAddUser("BOB", nullptr));
  EXPECT_EQ(0, sysAddUser("CAROL", std::string(40, 'p').c_str()));
  EXPECT_EQ(passwordRecord(std::string(31, 'p'), ""), storedRecord("passwd.gdbm", "CAROL"));

  // The record stays when the account item cannot be made.
  storeItem(userItem("DAVE", 0, 40000));
  EXPECT_EQ(-1, sysAddUser("DAVE", ""));
  blockFile("/etc/admin/user_id.gdbm");
  EXPECT_EQ(-2, sysAddUser("EVE", ""));
  EXPECT_EQ((Lines{"ALICE", "BOB", "CAROL", "DAVE", "EVE"}), storedKeys("passwd.gdbm"));
}

TEST_F(LocalUsers, DeletingTakesBothRecords) {
  EXPECT_EQ(0, sysAddUser("ALICE", "secret"));
  EXPECT_EQ(0, sysDelUser("ALICE"));
  EXPECT_EQ(Lines(), storedKeys("passwd.gdbm"));
  EXPECT_EQ(Lines(), storedKeys("user_id.gdbm"));
  EXPECT_EQ(-1, sysDelUser("ALICE"));
  storeItem(userItem("BOB", 0, 40000));
  EXPECT_EQ(0, sysDelUser("BOB")) << "also one that never had a password record";
  EXPECT_EQ(0, sysAddUser("CAROL", ""));
  blockFile("/etc/admin/passwd.gdbm");
  EXPECT_EQ(Results(3, -1), (Results{sysDelUser("CAROL"), sysAddUser("DAVE", ""), sysSetUserPasswd("CAROL", "x")}));
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
  const std::string told = systemLog().back();
  EXPECT_TRUE(told.starts_with("err Warnning!nas_passwd:") && told.ends_with(" No such Data for User:alice")) << told;
  EXPECT_EQ(-1, sysSetUserConfig("bob", "home", 32, "x"));
  EXPECT_TRUE(systemLog().back().ends_with(" No such Data for user:bob")) << systemLog().back();
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
    storeRecord("passwd.gdbm", "ALICE", record.substr(0, length));
    EXPECT_EQ(Results(2, -1), (Results{sysGetUserPasswd("ALICE", out, sizeof out), sysSetUserPasswd("ALICE", "x")}));
    EXPECT_EQ(record.substr(0, length), storedRecord("passwd.gdbm", "ALICE"));
  }
}

TEST_F(LocalUsers, PasswordEntriesUpperCaseTheName) {
  EXPECT_EQ(0, sysAddUser("ALICE", "secret"));
  char name[] = "aLice";
  char nobody[] = "bob";
  std::string out(40, 'x');
  EXPECT_EQ(0, Nas1GetUserPasswd(99, name, out.data(), 33)) << "the source is not looked at";
  EXPECT_EQ(padded("secret", 33) + std::string(7, 'x'), out);
  EXPECT_STREQ("ALICE", name);
  EXPECT_EQ(-1, Nas1GetUserPasswd(0, nobody, out.data(), 40));
  EXPECT_EQ(std::string(40, '\0'), out) << "cleared all the same";
  std::strcpy(name, "alice");
  EXPECT_EQ(0, Nas1SetUserPasswd(-1, name, "other"));
  EXPECT_EQ(passwordRecord("other", ""), storedRecord("passwd.gdbm", "ALICE"));
  EXPECT_EQ(Results(5, -1), (Results{Nas1GetUserPasswd(0, nullptr, out.data(), 40),
                                     Nas1GetUserPasswd(0, name, out.data(), 0), Nas1SetUserPasswd(0, nobody, "x"),
                                     Nas1SetUserPasswd(0, nullptr, "x"), Nas1SetUserPasswd(0, name, nullptr)}));
}
