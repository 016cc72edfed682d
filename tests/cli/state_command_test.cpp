// nas1 state, as a user or a script sees it.

#include "cli/nas1_command.h"

namespace {

using StateCommand = CommandTest;

constexpr char kFile[] = "/tmp/state.json";

// As on an appliance that was never set up.
void wipe() {
  (void)std::system("rm -rf /etc/admin/*.gdbm /volume/v1/* && ipcrm --all=shm");
  writeFile("/etc/resolv.conf", "");
}

std::string exported() { return done({"state", "export", "--with-secrets"}).out; }

// Something of everything, with names in the code page 932 and numbers that have gaps.
void fill() {
  setDefaults("AUTO_HOME=1\nUPS_TIMEOUT=5\nCIFS_CODE_PAGE=850\nNFS_EXPORT_PRIVILEGE=ro\n");
  writeFile("/tmp/fill",
            "config set CIFS_CODE_PAGE 932\n"
            "config set AUTO_HOME 1\n"
            "config set DEFAULT_USER_QUOTA 7\n"
            "config set CIFS_SERVER_COMMENT \"two words\"\n"
            "config set SNMP_CONTACT somebody\n"
            "config set IP_DNS 192.0.2.53\n"
            "config set EVENT_ACTION 0x60000020\n"
            "group add zeta\ngroup add gone\ngroup add \x83\x8f\x83\x56\ngroup quota zeta 12\n"
            "user add zoe --file /tmp/password\nuser add gone --no-password\n"
            "user add \x83\x41\x83\x43 --file /tmp/password\nuser add Ben --no-password\nuser add zoe --source cifs\n"
            "user del gone\ngroup del gone\n"
            "group join zeta ben\ngroup primary \x83\x8f\x83\x56 ben\nuser quota ben 3\n"
            "share add '\x83\x5c\x83\x5c' '/volume/v1/\x83\x5c\x83\x5c' --allow-unsafe --comment \x89\xb9\x8ay\n"
            "share add plain /volume/v1/plain\n"
            "share passwd plain --read-write --file /tmp/password\n"
            "perm add plain user:ben=2 group:zeta=1\nperm add plain user:zoe=3 --protocol cifs\n"
            "nfs set plain 192.0.2.0/24=rw,all_squash,anonuid=99 *.example.org\n"
            "snapshot set v1 --reserved 33 --schedule 1 2 3 4\n"
            "product set TINT 'dark blue'\n"
            "module add wiki --description 'A wiki' --on-removal 'echo gone'\n");
  writeFile("/tmp/password", "open sesame\n");
  (void)done({"batch", "/tmp/fill"});
}

}  // namespace

TEST_F(StateCommand, ExportWipeImportGivesTheSameExport) {
  fill();
  const std::string before = exported();
  EXPECT_NE(std::string::npos, before.find("\xE3\x83\xAF\xE3\x82\xB7")) << "in UTF-8";
  writeFile(kFile, before);
  EXPECT_EQ("nas1: unchanged\n", nas1({"state", "import", kFile, "--allow-unsafe"}).err);

  wipe();
  EXPECT_EQ("", done({"state", "import", kFile, "--allow-unsafe"}).err);
  EXPECT_EQ(before, exported());
  EXPECT_TRUE(exists("/volume/v1/Data/BEN"));
  EXPECT_EQ("nas1: the record files are sound\n", nas1({"db", "check"}).err);

  // The same by taking away what is too much, and what was planned is what is done.
  (void)done({"batch", "-"},
             "share add more /volume/v1/more\nuser add newer --no-password\ngroup add more\n"
             "perm add plain user:newer=1\nconfig set UPS_TIMEOUT 9\n");
  const Lines pruning = {"state", "import", kFile, "--allow-unsafe", "--prune"};
  const auto untouched = allRecords();
  const std::string plan = nas1(pruning + Lines{"--dry-run"}).out;
  EXPECT_EQ(untouched, allRecords());
  EXPECT_NE(std::string::npos, plan.find("Nas1ShareDel(\"more\")\n")) << plan;
  EXPECT_EQ(plan, nas1(pruning).out);
  EXPECT_EQ(before, exported());
}

TEST_F(StateCommand, SecretsAndDefaultsStayOutUnlessWanted) {
  fill();
  const Json state = Json::parse(nas1({"state", "export", "--only-changed"}).out, nullptr, false)["state"];
  EXPECT_EQ(std::string::npos, state.dump().find("sesame"));
  for (const char* const key : {"CIFS_CODE_PAGE", "EVENT_ACTION"}) EXPECT_TRUE(state["settings"].contains(key)) << key;
  for (const char* const key : {"AUTO_HOME", "UPS_TIMEOUT", "UID_START", "ADMIN_PASSWORD"})
    EXPECT_FALSE(state["settings"].contains(key)) << key;

  // Without passwords, those that are there stay, and nobody new goes without one by accident.
  writeFile(kFile, nas1({"state", "export"}).out);
  EXPECT_EQ("nas1: unchanged\n", nas1({"state", "import", kFile, "--allow-unsafe"}).err);
  ASSERT_EQ(0, nas1({"user", "del", "ben"}).exitCode);
  const auto before = allRecords();
  expectFailure({4, "the user BEN is new", {"state", "import", kFile, "--allow-unsafe"}});
  EXPECT_EQ(before, allRecords());
  EXPECT_EQ(0, nas1({"state", "import", kFile, "--allow-unsafe", "--no-passwords"}).exitCode);
}

TEST_F(StateCommand, WhatIsNotUnderstoodIsRefusedWhole) {
  fill();
  (void)exported();  // reading a setting for the first time stores its default
  const auto before = allRecords();
  const struct {
    int exitCode;
    const char* said;
    const char* families;  // of the document
  } cases[] = {
      {2, "no JSON from line 2 on", R"("groups": [}])"},
      {2, "field groups twice", R"("groups": [], "groups": [])"},
      {2, "state.shares[1].colour is a field", R"("shares": [{"name": "plain"}, {"name": "b", "colour": 1}])"},
      {2, "state.shares[1] is the second", R"("shares": [{"name": "plain"}, {"name": "plain"}])"},
      {2, "state.shares[0].permissions.cifs[0].rights is no number",
       R"("shares": [{"name": "plain", "permissions": {"cifs": [{"type": "user", "name": "a", "rights": "1"}]}}])"},
      {2, "permissions.afp holds the user", R"("shares": [{"name": "plain", "permissions": {"afp": [
          {"type": "user", "name": "a", "rights": 1}, {"type": "user", "name": "A", "rights": 2}]}}])"},
      {9, "state.shares[0].path holds \"$\"", R"("shares": [{"name": "b", "path": "/volume/v1/$id"}])"},
      {5, "state.settings.CPU_SPEED is the appliance's own", R"("settings": {"CPU_SPEED": "fast"})"},
      {4, "must be different", R"("settings": {"CIFS_SERVER_NAME": "a", "NCP_SERVER_NAME": "a"})"},
      {2, "more than one primary",
       R"("users": [{"name": "ben", "groups": [{"name": "a", "primary": true}, {"name": "b", "primary": true}]}])"},
      {4, "state.products[0].key is that of", R"("products": [{"key": "ADMIN_PASSWORD", "text": "x"}])"},
  };
  for (const auto& c : cases) {
    writeFile(kFile, std::string("{\"schema\": \"nas1/1\",\n\"state\": {") + c.families + "}}");
    const CommandResult result = nas1({"state", "import", kFile});
    EXPECT_EQ(c.exitCode, result.exitCode) << c.said << ": " << result.err;
    EXPECT_NE(std::string::npos, result.err.find(c.said)) << result.err;
    EXPECT_EQ("", result.out) << c.said;
  }
  writeFile(kFile, R"({"schema": "nas1/2", "state": {}})");
  EXPECT_EQ(2, nas1({"state", "import", kFile}).exitCode);
  EXPECT_EQ(before, allRecords());
}
