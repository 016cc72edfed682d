#include <gdbm.h>

#include "../../cli/record_layouts.h"
#include "accounts/account_items.h"
#include "accounts/identity.h"
#include "accounts/local_users.h"
#include "cli/nas1_command.h"
#include "share/permissions.h"
#include "share/share_database.h"
#include "status/segment.h"

// The command knows the library's records by offset alone.
static_assert(layout::kReadPassword == offsetof(ShareSettings, ro_passwd));
static_assert(layout::kWritePassword == offsetof(ShareSettings, rw_passwd));
static_assert(layout::kHomeMark == offsetof(ShareSettings, is_home));
static_assert(layout::kShareInfo == offsetof(ShareRecord, info));
static_assert(layout::kListCount == offsetof(PermittedListHeader, count));
static_assert(layout::kListEntries == sizeof(PermittedListHeader));
static_assert(layout::kItem == kItemOffset);
static_assert(layout::kFirstId == kFirstId && layout::kIdCount == kIdentityRange);
static_assert(layout::kPassword == offsetof(LocalUserRecord, passwd));
static_assert(layout::kHome == offsetof(LocalUserRecord, home));
static_assert(layout::kPasswordRecord == sizeof(LocalUserRecord));
static_assert(layout::kNextIndex[0] == offsetof(IdentitySegment, nextIndexes));
static_assert(layout::kNextIndex[1] == layout::kNextIndex[0] + 4);
static_assert(layout::kTakenIds[0] == offsetof(IdentitySegment, bitmaps));

namespace {

struct Db : CommandTest {
  void SetUp() override {
    CommandTest::SetUp();
    setDefaults("AUTO_HOME=1\n");
    (void)done({"user", "add", "anna"}, "secret\n");
    (void)done({"user", "add", "bert"}, "secret\n");
    (void)done({"group", "add", "staff"});
    (void)done({"group", "primary", "staff", "anna"});
    (void)done({"share", "add", "music", "/volume/v1/music"});
    (void)done({"perm", "add", "music", "user:BERT=1"});
  }
};

Lines filesBeside() {
  Lines names;
  for (const auto& entry : std::filesystem::directory_iterator("/etc/admin")) {
    if (entry.path().extension() != ".gdbm") names.push_back(entry.path().filename());
  }
  return names;
}

void patch(const std::string& file, const std::string& key, std::size_t at, const std::string& bytes) {
  std::string value = storedRecord(file, key).value();
  storeRecord(file, key, value.replace(at, bytes.size(), bytes));
}

TEST_F(Db, ABackupBringsEverythingBack) {
  const auto before = allRecords();
  (void)done({"db", "backup", "/tmp/backup"});
  for (const char* const user : {"anna", "bert"}) (void)done({"user", "del", user});
  (void)done({"share", "mod", "music", "--comment", "new"});
  (void)done({"share", "add", "more", "/volume/v1/more"});
  const auto changed = allRecords();

  const CommandResult rehearsal = nas1({"db", "restore", "/tmp/backup", "--dry-run"});
  EXPECT_NE(std::string::npos, rehearsal.out.find("share.gdbm\t2\t1\t1\n")) << rehearsal.out;
  EXPECT_EQ(changed, allRecords());
  (void)done({"db", "restore", "/tmp/backup"});
  EXPECT_EQ(before, allRecords());
  EXPECT_EQ(Lines{}, filesBeside());
  EXPECT_TRUE(exists("/volume/v1/Data/ANNA")) << "went with the user";
  EXPECT_EQ(std::string::npos, readFile("/etc/samba/smb.conf").value_or("").find("more"));
  (void)done({"db", "check"});

  // The numbers in use are in shared memory: they must be those of the restored accounts.
  (void)done({"user", "add", "carl"}, "secret\n");
  EXPECT_EQ(0, nas1({"db", "check"}).exitCode) << "no number doubled";
}

TEST_F(Db, ABackupThatIsNotWholeChangesNothing) {
  (void)done({"db", "backup", "/tmp/backup"});
  (void)done({"share", "add", "more", "/volume/v1/more"});
  const std::string whole = readFile("/tmp/backup").value();
  const auto before = allRecords();
  Lines broken = {"", "nas1 backup 2\n" + whole, whole + "x", whole + whole};
  for (std::size_t cut = 0; cut < whole.size(); cut += whole.size() / 20) broken.push_back(whole.substr(0, cut));
  for (std::size_t at = 0; at < whole.size(); at += whole.size() / 20) {
    broken.push_back(whole);
    broken.back()[at] ^= 1;
  }
  for (const std::string& archive : broken) {
    writeFile("/tmp/broken", archive);
    EXPECT_EQ(4, nas1({"db", "restore", "/tmp/broken"}).exitCode) << archive.substr(0, 20);
  }
  EXPECT_EQ(before, allRecords());
  EXPECT_EQ(3, nas1({"db", "restore", "/tmp/none"}).exitCode);
}

TEST_F(Db, EachLooseEndIsNamedAndMended) {
  const struct {
    const char* file;
    const char* record;
    const char* finding;
    std::function<void()> make;
    bool isMended = true;
  } cases[] = {
      {"user_smb.gdbm", "gone", "permissions of a share",
       [] { storeRecord("user_smb.gdbm", "gone", std::string(40, '\0')); }},
      {"share_nfs.gdbm", "gone", "NFS hosts of a share",
       [] { storeRecord("share_nfs.gdbm", "gone", std::string(40, '\0')); }},
      {"user_id.gdbm", "BERT0", "in the group 40000",
       [] { patch("user_id.gdbm", "BERT0", 36 + 12 + 4, bytesOf(40000)); }},
      {"passwd.gdbm", "BERT", "home share lost is not there",
       [] { patch("passwd.gdbm", "BERT", 36, std::string("lost\0", 5)); }},
      {"share.gdbm", "music", "no user has it", [] { patch("share.gdbm", "music", 68, bytesOf(1)); }},
      {"passwd.gdbm", "NOBODY", "without an account",
       [] { storeRecord("passwd.gdbm", "NOBODY", storedRecord("passwd.gdbm", "BERT").value()); }},
      {"user_id.gdbm", "", "32769 counts as taken",
       [] {
         (void)done({"user", "del", "bert"});
         (void)done({"user", "add", "bert"}, "x\n");
         const SegmentLock<IdentitySegment> segment(PROTO_SYSTEM);
         segment.data->bitmaps[KIND_USER][1] = 1;
       }},
      {"user_id.gdbm", "ANNA0", "100 is none", [] { patch("user_id.gdbm", "ANNA0", 36 + 8, bytesOf(100)); }, false},
      {"user_id.gdbm", "BERT0", "32768 is that of ANNA0 too",
       [] { patch("user_id.gdbm", "BERT0", 36 + 8, bytesOf(32768)); }, false},
  };
  (void)done({"db", "backup", "/tmp/backup"});
  for (const auto& c : cases) {
    (void)done({"db", "restore", "/tmp/backup"});
    (void)done({"db", "check"});
    (void)Nas1UserItemCount();
    c.make();
    const CommandResult check = nas1({"db", "check"});
    EXPECT_EQ(7, check.exitCode) << c.finding;
    EXPECT_TRUE(check.out.starts_with(std::string(c.file) + "\t" + c.record + "\t")) << c.finding << ": " << check.out;
    EXPECT_NE(std::string::npos, check.out.find(c.finding)) << check.out;
    const auto before = allRecords();
    EXPECT_EQ(0, nas1({"db", "repair", "--leftovers", "--dry-run"}).exitCode);
    EXPECT_EQ(0, nas1({"db", "repair"}).exitCode);
    EXPECT_EQ(before, allRecords()) << c.finding << ": only mended when asked for";
    EXPECT_EQ(0, nas1({"db", "repair", "--leftovers"}).exitCode) << c.finding;
    EXPECT_EQ(c.isMended ? 0 : 7, nas1({"db", "check"}).exitCode) << c.finding;
  }
}

// The library's lists end at a record that they cannot read; the command must not pass that on.
TEST_F(Db, NoListIsShortWithoutAWord) {
  const struct {
    const char* file;
    std::string key;
    std::string value;
    Lines list;
  } cases[] = {
      {"share.gdbm", "music", storedRecord("share.gdbm", "music")->substr(0, 203), {"share", "list"}},
      {"user_id.gdbm", "ANNA0", std::string(152, '\xFF'), {"user", "list"}},
      {"group_id.gdbm", "STAFF0", std::string(87, '\0'), {"group", "list"}},
      {"user_local.gdbm", "music", std::string(40, '\1'), {"perm", "list"}},
      {"share_nfs.gdbm",
       "music",
       std::string(36, '\0') + bytesOf(2) + bytesOf(33) + std::string(29, '\0'),
       {"nfs", "list"}},
      {"passwd.gdbm", "BERT", std::string(99, '\0'), {"db", "check"}},
      {"module.gdbm", "backup", std::string(364, 'x'), {"module", "list"}},
  };
  for (const auto& c : cases) {
    storeRecord(c.file, c.key, c.value);
    EXPECT_EQ(7, nas1(c.list).exitCode) << c.file;
    EXPECT_EQ(7, nas1({"db", "backup", "/tmp/faulty"}).exitCode) << c.file;
    const CommandResult repair = done({"db", "repair", "--leftovers"});
    EXPECT_NE(std::string::npos, repair.out.find("lost: the record " + c.key)) << repair.out;
    EXPECT_EQ(0, nas1(c.list).exitCode) << c.file;
  }
  EXPECT_FALSE(exists("/tmp/faulty"));
}

TEST_F(Db, ADamagedFileIsRecoveredAndKept) {
  const std::string path = "/etc/admin/share.gdbm";
  (void)done({"db", "check"});
  for (int i = 0; i < 40; ++i) {
    const std::string name = "share" + std::to_string(i);
    EXPECT_EQ(0, sysShareAdd(name.c_str(), "", ("/volume/v1/" + name).c_str()));
  }
  const std::string good = readFile(path).value();
  std::string bad = good;
  bad.replace(bad.find("share17"), 7, "shareXX");
  writeFile(path, bad);
  for (const Lines& verb : {Lines{"share", "list"}, Lines{"db", "compact"}, Lines{"db", "backup", "/tmp/b"}}) {
    EXPECT_EQ(7, nas1(verb).exitCode) << verb[1];
  }
  EXPECT_EQ(bad, readFile(path)) << "nothing but a repair touches it";
  const CommandResult repair = done({"db", "repair"});
  EXPECT_NE(std::string::npos, repair.out.find("42 records saved")) << repair.out;
  EXPECT_NE(std::string::npos, repair.out.find("lost: the record shareXX")) << repair.out;
  EXPECT_EQ(42u, nas1Json({"share", "list"})["shares"].size());
  ASSERT_EQ(1u, filesBeside().size());
  EXPECT_EQ(bad, readFile("/etc/admin/" + filesBeside()[0]));

  // Half of the directory leads astray, each entry elsewhere: told in one line.
  std::string astray = good;
  std::uint64_t directory = 0;
  std::memcpy(&directory, good.data() + 8, sizeof directory);
  for (std::size_t i = 0; i < 100; ++i) astray[directory + i * sizeof directory] = static_cast<char>(i + 1);
  writeFile(path, astray);
  const std::string told = done({"db", "repair"}).out;
  EXPECT_NE(std::string::npos, told.find("unreadable: ")) << told;
  EXPECT_LE(std::count(told.begin(), told.end(), '\n'), 3) << told;

  writeFile(path, std::string(good.size(), '\xFF'));
  EXPECT_EQ(7, nas1({"db", "repair"}).exitCode) << "beyond recovery";
  EXPECT_EQ(std::string(good.size(), '\xFF'), readFile(path));
}

TEST_F(Db, CompactingGivesSpaceBackAndLosesNothing) {
  for (const std::size_t size : {2000, 364})
    for (int i = 0; i < 200; ++i) storeRecord("module.gdbm", "filler" + std::to_string(i), std::string(size, 'x'));
  const auto before = allRecords();
  const auto size = std::filesystem::file_size("/etc/admin/module.gdbm");
  (void)done({"db", "compact", "--dry-run"});
  EXPECT_EQ(size, std::filesystem::file_size("/etc/admin/module.gdbm"));
  (void)done({"db", "compact"});
  EXPECT_LT(std::filesystem::file_size("/etc/admin/module.gdbm"), size / 2);
  EXPECT_EQ(before, allRecords());
}

TEST_F(Db, AFileInUseIsNotTouched) {
  (void)done({"db", "backup", "/tmp/backup"});
  (void)done({"share", "add", "more", "/volume/v1/more"});
  const auto before = allRecords();
  {
    const OtherProcess holder("/etc/admin/passwd.gdbm", GDBM_WRITER);
    for (const Lines& verb : {Lines{"check"}, Lines{"restore", "/tmp/backup"}, Lines{"compact"}})
      EXPECT_EQ(6, nas1(Lines{"db"} + verb).exitCode) << verb[0];
  }
  EXPECT_EQ(before, allRecords());
  EXPECT_EQ(Lines{}, filesBeside());
}

}  // namespace
