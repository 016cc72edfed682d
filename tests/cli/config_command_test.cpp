#include <algorithm>
#include <set>

#include "api/nas1api.h"
#include "cli/nas1_command.h"

namespace {

using ConfigCommand = ApplianceTest;

TEST_F(ConfigCommand, EveryListedKeyIsTheLibrarysUnderItsNameAndItsNumber) {
  std::set<std::string> names;
  std::set<int> numbers;
  const Json listing = nas1Json({"config", "list", "--all"});
  for (const Json& key : listing["keys"]) {
    const std::string name = key["name"];
    EXPECT_TRUE(names.insert(name).second) << name;
    const int number = key["number"].is_null() ? -1 : key["number"].get<int>();
    EXPECT_TRUE(number < 0 || numbers.insert(number).second) << name;

    int size = 0;
    const int type = NasGetConfig(name.c_str(), 0, nullptr, &size);
    if (type < 0) continue;
    EXPECT_EQ((Lines{"integer", "text", "hex", "record"}[static_cast<std::size_t>(type)]), key["type"]) << name;
    if (number < 0 || type == CFG_RECORD || fpConfig[number].set == nullptr || name == "LVM_ENABLED") continue;
    // What goes in by the number comes out by the name.
    char value[64] = "192.0.2.200";
    char found[64] = {};
    size = type == CFG_TEXT ? 12 : 4;
    ASSERT_EQ(0, Nas1SetConfig(number, size, value)) << name;
    ASSERT_EQ(0, NasGetConfig(name.c_str(), size, found, nullptr)) << name;
    EXPECT_EQ(std::string(value, static_cast<std::size_t>(size)), std::string(found, static_cast<std::size_t>(size)))
        << name;
  }
  EXPECT_EQ(128U, static_cast<std::size_t>(std::count_if(names.begin(), names.end(), [](const std::string& name) {
              return NasGetConfig(name.c_str(), 0, nullptr, nullptr) >= 0;
            })));
  descriptorsLeftByRule = 1;  // of the driver, by DIRECT_PING_ENABLED
  for (int number = 0; number < CONFIG_COUNT; ++number) {
    EXPECT_EQ(fpConfig[number].get != nullptr, numbers.contains(number)) << number;
  }
}

TEST_F(ConfigCommand, ValuesComeBackAsTheyWereSet) {
  const struct {
    const char* setAs;
    const char* value;
    const char* getAs;
    const char* shown;
  } cases[] = {
      {"UPS_TIMEOUT", "4294967295", "68", "4294967295"},
      {"68", "7", "UPS_TIMEOUT", "7"},
      {"UPS_TIMEOUT", "32", "68", "32"},
      {"EVENT_ACTION", "ff", "55", "0xFF"},
      {"EVENT_ACTION", "0xFFFFFFFF", "EVENT_ACTION", "0xFFFFFFFF"},
      {"CIFS_SERVER_COMMENT", "it is; not a shell's", "6", "it is; not a shell's"},
      {"CIFS_GROUP_NAME", "", "3", ""},
      {"SNMP_CONTACT", "a b", "83", "a b"},
  };
  for (const auto& c : cases) {
    const std::string quoted =
        std::string(c.value).find('\'') == std::string::npos ? c.value : "it is; not a shell'\\''s";
    const CommandResult set = nas1({"config", "set", c.setAs, quoted});
    EXPECT_EQ(0, set.exitCode) << c.setAs << ": " << set.err;
    EXPECT_EQ(std::string(c.shown) + "\n", nas1({"config", "get", c.getAs}).out) << c.setAs << ' ' << c.value;
  }
}

TEST_F(ConfigCommand, RefusalsChangeNothing) {
  ASSERT_EQ(0, nas1({"config", "set", "UPS_TIMEOUT", "5"}).exitCode);
  ASSERT_EQ(0, nas1({"config", "set", "NCP_SERVER_NAME", "BOX"}).exitCode);
  const struct {
    int exitCode;
    const char* said;
    Lines arguments;
  } cases[] = {
      {2, "from 0 to 4294967295", {"config", "set", "UPS_TIMEOUT", "4294967296"}},
      {2, "from 0 to 4294967295", {"config", "set", "UPS_TIMEOUT", "-1"}},
      {2, "from 0 to 4294967295", {"config", "set", "UPS_TIMEOUT", "5 "}},
      {2, "from 0 to FFFFFFFF", {"config", "set", "EVENT_ACTION", "0x"}},
      {2, "missing", {"config", "set", "UPS_TIMEOUT"}},
      {2, "at most 31 characters", {"config", "set", "CIFS_GROUP_NAME", std::string(32, 'g')}},
      {2, "command line", {"config", "set", "ADMIN_PASSWORD", "secret"}},
      {3, "did you mean UPS_TIMEOUT?", {"config", "set", "UPS_TIMEOT", "5"}},
      {3, "no key has the number 27", {"config", "get", "27"}},
      {3, "no key has the number", {"config", "get", "99999999999999999999"}},
      {3, "never set", {"config", "get", "SNMP_LOCATION"}},
      {4, "different server names", {"config", "set", "CIFS_SERVER_NAME", "BOX"}},
      {4, "taken for a blank", {"config", "set", "68", "32"}},
      {5, "read-only", {"config", "set", "CPU_SPEED", "x"}},
      {5, "read-only", {"config", "set", "46", "x"}},
      {5, "read-only", {"config", "set", "NAS_VERSION", "x"}},
      {9, "a shell would misread", {"config", "set", "TIME_ZONE", "UTC;reboot"}},
      {9, "0x0A", {"config", "set", "CIFS_SERVER_COMMENT", "a\nb"}},
  };
  for (const auto& c : cases) {
    const CommandResult result = nas1(c.arguments);
    EXPECT_EQ(c.exitCode, result.exitCode) << c.said << ": " << result.err;
    EXPECT_NE(std::string::npos, result.err.find(c.said)) << result.err;
    EXPECT_EQ("", result.out) << c.said;
  }
  EXPECT_EQ("5\n", nas1({"config", "get", "UPS_TIMEOUT"}).out);
  for (const char* const key : {"ADMIN_PASSWORD", "TIME_ZONE", "CIFS_SERVER_NAME", "EVENT_ACTION", "CPU_SPEED"}) {
    EXPECT_FALSE(storedRecord("system.gdbm", key)) << key;
  }
}

TEST_F(ConfigCommand, PasswordsAreMaskedWhereverTheyAppear) {
  const char* const keys[] = {"ADMIN_PASSWORD", "DEFAULT_SHARE_RO_PASSWD", "DEFAULT_SHARE_RW_PASSWD",
                              "NCP_BINDERY_ADMIN_PASSWORD", "ADS_ADMIN_PASSWORD"};
  for (const char* const key : keys) ASSERT_EQ(0, nas1({"config", "set", key}, "open-sesame\n").exitCode) << key;
  const Lines verbs[] = {{"config", "list"},
                         {"config", "list", "--json"},
                         {"config", "get", "ADMIN_PASSWORD"},
                         {"config", "get", "41", "--json"}};
  for (const Lines& verb : verbs) {
    const std::string shown = nas1(verb).out;
    EXPECT_EQ(std::string::npos, shown.find("open-sesame")) << verb[1];
    EXPECT_NE(std::string::npos, shown.find("********")) << verb[1];
  }
  EXPECT_EQ("open-sesame\n", nas1({"config", "get", "ADMIN_PASSWORD", "--with-secrets"}).out);
}

TEST_F(ConfigCommand, AnUnreadableRecordFileGivesNoValues) {
  writeFile("/etc/admin/system.gdbm", std::string(5000, 'x'));
  EXPECT_EQ(7, nas1({"config", "get", "UPS_TIMEOUT"}).exitCode);
  EXPECT_EQ(7, nas1({"config", "list"}).exitCode);
  EXPECT_EQ(7, nas1({"config", "set", "UPS_TIMEOUT", "5"}).exitCode);
}

}  // namespace
