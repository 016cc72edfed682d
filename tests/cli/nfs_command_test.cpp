#include <cstring>

#include "api/nas1api.h"
#include "cli/nas1_command.h"

namespace {

struct NfsCommand : ApplianceTest {
  void SetUp() override {
    ApplianceTest::SetUp();
    writeFile("/etc/exports", "");  // the NFS back-end keeps a copy of the old one
    setDefaults("NFS_EXPORT_PRIVILEGE=no\n");
    char docs[] = "docs";
    ASSERT_EQ(0, Nas1ShareAdd(docs, "", "/volume/v1/docs"));
  }
};

TEST_F(NfsCommand, OptionsAreThoseOfTheExportList) {
  const struct {
    const char* host;
    const char* exported;
    const char* listed;
  } cases[] = {
      {"a", "a(sync,ro,no_all_squash,root_squash)", "a\tro,root_squash"},
      {"a=rw", "a(sync,rw,no_all_squash,root_squash)", "a\trw,root_squash"},
      {"a=rw,ro", "a(sync,ro,no_all_squash,root_squash)", "a\tro,root_squash"},
      {"a=no_root_squash", "a(sync,ro,no_all_squash,no_root_squash)", "a\tro,no_root_squash"},
      {"a=all_squash", "a(sync,ro,all_squash,anonuid=32767)", "a\tro,all_squash"},
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
  ASSERT_EQ(0, nas1({"nfs", "set", "docs", "192.0.2.1=rw", "*.example.org"}).exitCode);
  EXPECT_EQ(Json::parse(R"([{"share": "docs", "host": "192.0.2.1", "options": "rw,root_squash"},
                            {"share": "docs", "host": "*.example.org", "options": "ro,root_squash"}])"),
            nas1Json({"nfs", "list", "docs"})["hosts"]);
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

TEST_F(NfsCommand, EveryFailureHasItsExitCodeAndChangesNothing) {
  ASSERT_EQ(0, nas1({"nfs", "set", "docs", "192.0.2.1"}).exitCode);
  char blank[] = "blank";
  ASSERT_EQ(0, Nas1ShareAdd(blank, "", "/volume/v1/a b"));
  const auto stored = storedRecord("share_nfs.gdbm", "docs");
  const FailingCommand cases[] = {
      {3, "no share nowhere", {"nfs", "set", "nowhere", "a"}},
      {3, "no share nowhere", {"nfs", "clear", "nowhere"}},
      {3, "no share nowhere", {"nfs", "list", "nowhere"}},
      {2, "HOST is required", {"nfs", "set", "docs"}},
      {2, "name of a host is missing", {"nfs", "set", "docs", "=rw"}},
      {2, "256 characters", {"nfs", "set", "docs", std::string(256, 'h')}},
      {2, "no netmask", {"nfs", "set", "docs", "192.0.2.0/255.255.255.256"}},
      {2, "no netmask", {"nfs", "set", "docs", "192.0.2.0/129"}},
      {2, "no netmask", {"nfs", "set", "docs", "192.0.2.0/"}},
      {2, "no option insecure", {"nfs", "set", "docs", "a=rw,insecure"}},
      {2, "did you mean root_squash?", {"nfs", "set", "docs", "a=rootsquash"}},
      {2, "no option", {"nfs", "set", "docs", "a="}},
      {2, "all_squash", {"nfs", "set", "docs", "a=anonuid=99"}},
      {2, "anonuid=", {"nfs", "set", "docs", "a=all_squash,anonuid=x"}},
      {2, "named twice", {"nfs", "set", "docs", "a=rw", "b", "a"}},
      {9, "(", {"nfs", "set", "docs", "a(rw)"}},
      {9, "a blank", {"nfs", "set", "docs", "a b"}},
      {9, "begins with -", {"nfs", "set", "docs", "--", "-rw"}},
      {9, "a blank", {"nfs", "set", "blank", "a"}},
  };
  for (const FailingCommand& c : cases) expectFailure(c);
  EXPECT_EQ(stored, storedRecord("share_nfs.gdbm", "docs"));
}

TEST_F(NfsCommand, ADamagedListIsNamedAndCanBeSetAgain) {
  ASSERT_EQ(0, nas1({"nfs", "set", "docs", "192.0.2.1"}).exitCode);
  const std::string stored = storedRecord("share_nfs.gdbm", "docs").value();
  storeRecord("share_nfs.gdbm", "docs", stored.substr(0, stored.size() - 1));
  const CommandResult listed = nas1({"nfs", "list"});
  EXPECT_EQ(7, listed.exitCode);
  EXPECT_NE(std::string::npos, listed.err.find("a record docs"));
  ASSERT_EQ(0, nas1({"nfs", "set", "docs", "192.0.2.1"}).exitCode);
  EXPECT_EQ("docs\t192.0.2.1\tro,root_squash\n", nas1({"nfs", "list"}).out);
}

}  // namespace
