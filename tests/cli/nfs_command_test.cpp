#include "cli/nas1_command.h"

namespace {

struct NfsCommand : CommandTest {
  void SetUp() override {
    CommandTest::SetUp();
    setDefaults("NFS_EXPORT_PRIVILEGE=no\n");
    (void)done({"share", "add", "docs", "/volume/v1/docs"});
  }
};

TEST_F(NfsCommand, OptionsAreThoseOfTheExportList) {
  const struct {
    const char* host;
    const char* exported;
    const char* listed;
  } cases[] = {
      {"a", "a(sync,ro,no_all_squash,root_squash)", "a\tro,root_squash"},
      {"a=rw,ro", "a(sync,ro,no_all_squash,root_squash)", "a\tro,root_squash"},
      {"a=all_squash,no_all_squash", "a(sync,ro,no_all_squash,no_root_squash)", "a\tro,no_root_squash"},
      {"a=anonuid=0,all_squash,anongid=-2", "a(sync,ro,all_squash,anongid=-2,anonuid=0)",
       "a\tro,all_squash,anonuid=0,anongid=-2"},
      {"192.0.2.0/255.255.255.0=rw", "192.0.2.0/255.255.255.0(sync,rw,no_all_squash,root_squash)",
       "192.0.2.0/255.255.255.0\trw,root_squash"},
      {"fd00::/64", "fd00::/64(sync,ro,no_all_squash,root_squash)", "fd00::/64\tro,root_squash"},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(0, nas1({"nfs", "set", "docs", c.host}).exitCode) << c.host;
    EXPECT_EQ("/volume/v1/docs\t" + std::string(c.exported) + " \n", readFile("/etc/exports")) << c.host;
    EXPECT_EQ("docs\t" + std::string(c.listed) + "\n", nas1({"nfs", "list"}).out) << c.host;
  }
}

TEST_F(NfsCommand, AListIsReplacedAndClearedAndEqualOnesAreLeftAlone) {
  (void)done({"nfs", "set", "docs", "192.0.2.1=rw", "*.example.org"});
  const std::size_t before = commands().size();
  EXPECT_EQ("nas1: unchanged\n", nas1({"nfs", "set", "docs", "192.0.2.1=rw,root_squash", "*.example.org=ro"}).err);
  EXPECT_EQ(before, commands().size());
  EXPECT_EQ("", nas1({"nfs", "clear", "docs"}).err);
  EXPECT_EQ("", nas1({"nfs", "list"}).out);
  EXPECT_EQ("", readFile("/etc/exports"));
  ASSERT_EQ(0, NasSetConfig("NFS_EXPORT_PRIVILEGE", 3, "ro"));
  EXPECT_EQ("nas1: unchanged\nnas1: without hosts, everybody may mount docs and read, as NFS_EXPORT_PRIVILEGE says\n",
            nas1({"nfs", "clear", "docs"}).err);
}

TEST_F(NfsCommand, ADamagedListIsNamedAndCanBeSetAgain) {
  (void)done({"nfs", "set", "docs", "192.0.2.1"});
  const std::string stored = storedRecord("share_nfs.gdbm", "docs").value();
  storeRecord("share_nfs.gdbm", "docs", stored.substr(0, stored.size() - 1));
  const CommandResult listed = nas1({"nfs", "list"});
  EXPECT_EQ(7, listed.exitCode);
  EXPECT_NE(std::string::npos, listed.err.find("a record docs"));
  (void)done({"nfs", "set", "docs", "192.0.2.1"});
  EXPECT_EQ("docs\t192.0.2.1\tro,root_squash\n", nas1({"nfs", "list"}).out);
}

}  // namespace
