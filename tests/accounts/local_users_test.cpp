#include "accounts/local_users.h"

#include "stored_accounts.h"

namespace {

using LocalUsers = AccountTest;

// The stored record of a user with these fields.
std::string passwordRecord(const std::string& password, const std::string& home) {
  return std::string("\x64\0\0\0", 4) + padded(password, 32) + padded(home, 32) + std::string(32, '\0');
}

}  // namespace

TEST_F(LocalUsers, RecordsAreMadeChangedAndDeleted) {
  EXPECT_EQ(0, sysAddUser("ALICE", "a longer one"));
  EXPECT_EQ(-1, sysAddUser("ALICE", "other"));
  EXPECT_EQ("err Warnning!key existed for add local user", systemLog().back());
  EXPECT_EQ(passwordRecord("a longer one", ""), storedRecord("passwd.gdbm", "ALICE"));
  EXPECT_EQ(0, sysSetUserPasswd("ALICE", "new"));
  EXPECT_EQ(0, sysSetUserConfig("ALICE", "home", 3, std::string(50, 'h').c_str())) << "the size is not used";
  EXPECT_EQ(-1, sysSetUserConfig("ALICE", "Home", 32, "x"));
  EXPECT_EQ(passwordRecord("new", std::string(31, 'h')), storedRecord("passwd.gdbm", "ALICE"));
  storeItem(userItem("BOB", 0, 40000));
  EXPECT_EQ(Results(2, 0), (Results{sysDelUser("ALICE"), sysDelUser("BOB")})) << "BOB never had a password record";
  EXPECT_EQ(Lines(), storedKeys("passwd.gdbm") + storedKeys("user_id.gdbm"));
}

TEST_F(LocalUsers, FieldsAreReadWithinTheBuffer) {
  storeRecord("passwd.gdbm", "ALICE", passwordRecord("secret", std::string(32, 'h')));
  std::string out(64, 'x');
  EXPECT_EQ(0, sysGetUserConfig("ALICE", "passwd", 4, out.data(), nullptr));
  EXPECT_EQ(padded("sec", 4) + std::string(60, 'x'), out);
  EXPECT_EQ(0, sysGetUserConfig("ALICE", "home", 64, out.data(), nullptr)) << "the field has lost its NUL";
  EXPECT_EQ(padded(std::string(32, 'h'), 64), out);
  char name[] = "aLice";
  char nobody[] = "bob";
  EXPECT_EQ(0, Nas1GetUserPasswd(99, name, out.data(), 33)) << "the source is not looked at";
  EXPECT_STREQ("secret", out.c_str());
  EXPECT_EQ((Results{-1, -1, -1}), (Results{sysGetUserConfig("ALICE", "Passwd", 32, out.data(), nullptr),
                                            sysGetUserConfig("ALICE", "passwd", 0, out.data(), nullptr),
                                            Nas1GetUserPasswd(0, nobody, out.data(), 40)}));
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
