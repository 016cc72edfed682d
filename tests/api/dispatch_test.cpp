// Entries that reach the operations table, by what arrives at the daemons.

#include "frame/appliance.h"

namespace {

class Dispatch : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    for (const char* const file : {"/var/lock/samba/locks/smbd.pid", "/var/lock/samba/locks/nmbd.pid"})
      writeFile(file, "4711\n");
  }
};

int addShare(std::string name) { return Nas1ShareAdd(name.data(), "comment", ("/volume/v1/" + name).c_str()); }

// Looks at the commands that a call runs, and at how many of the daemons' files it writes.
void expectCall(const Lines& ran, int written, const char* what, const std::function<int()>& call) {
  constexpr const char* files[] = {"/etc/samba/smb.conf", "/etc/exports", "/etc/atalk/AppleVolumes.default"};
  for (const char* file : files) (void)unlink(file);
  EXPECT_EQ(ran, commandsOf([&] { EXPECT_EQ(0, call()) << what; })) << what;
  EXPECT_EQ(written, std::count_if(std::begin(files), std::end(files), exists)) << what;
}

}  // namespace

TEST_F(Dispatch, ABatchWritesOnlyTheDatabaseUntilItEnds) {
  const Lines update = {"/etc/init.d/smb reload", "/usr/sbin/exportfs -ra"};
  expectCall(update, 3, "no batch", [] { return addShare("first"); });
  expectCall({}, 0, "add and delete stop behind the database",
             [] { return EnableNas1ShareBatch(1) + addShare("second") + Nas1ShareDel("first"); });
  EXPECT_EQ(Lines{"second"}, storedKeys("share.gdbm"));
  expectCall(update, 3, "a modification reaches every row",
             [] { return Nas1ShareMod("second", "changed", "/volume/v1/second"); });
  expectCall(update, 3, "each daemon once, in the order of the rows", [] { return EnableNas1ShareBatch(0); });
  expectCall(update, 3, "the batch is over", [] { return addShare("third"); });
  expectCall(update, 3, "the database's failure stops nobody and is the result",
             [] { return 1 + Nas1ShareMod("none", "", "/volume/v1/none"); });
}
