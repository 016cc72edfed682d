#include <algorithm>
#include <set>

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
  EXPECT_EQ(128, std::count_if(names.begin(), names.end(), [](const std::string& name) {
              return NasGetConfig(name.c_str(), 0, nullptr, nullptr) >= 0;
            }));
  descriptorsLeftByRule = 1;  // of the driver, by DIRECT_PING_ENABLED
  for (int number = 0; number < CONFIG_COUNT; ++number) {
    EXPECT_EQ(fpConfig[number].get != nullptr, numbers.contains(number)) << number;
  }
}

TEST_F(ConfigCommand, ValuesComeBackAsTheyWereSet) {
  const char* const cases[][4] = {
      // set as, the value, got as, shown
      {"UPS_TIMEOUT", "4294967295", "68", "4294967295"},
      {"68", "7", "UPS_TIMEOUT", "7"},
      {"UPS_TIMEOUT", "32", "68", "32"},
      {"EVENT_ACTION", "ff", "55", "0xFF"},
      {"CIFS_SERVER_COMMENT", "it is; no \"shell\"", "6", "it is; no \"shell\""},
      {"CIFS_GROUP_NAME", "", "3", ""},
  };
  for (const auto& [setAs, value, getAs, shown] : cases) {
    (void)done({"config", "set", setAs, value});
    EXPECT_EQ(std::string(shown) + "\n", nas1({"config", "get", getAs}).out) << setAs << ' ' << value;
  }
}

TEST_F(ConfigCommand, PasswordsAreMaskedWhereverTheyAppear) {
  for (const char* const key : {"ADMIN_PASSWORD", "DEFAULT_SHARE_RO_PASSWD", "DEFAULT_SHARE_RW_PASSWD",
                                "NCP_BINDERY_ADMIN_PASSWORD", "ADS_ADMIN_PASSWORD"})
    (void)done({"config", "set", key}, "open-sesame\n");
  for (const Lines& verb : {Lines{"list"}, {"list", "--json"}, {"get", "ADMIN_PASSWORD"}, {"get", "41", "--json"}}) {
    const std::string shown = nas1(Lines{"config"} + verb).out;
    EXPECT_EQ(std::string::npos, shown.find("open-sesame")) << verb[0];
    EXPECT_NE(std::string::npos, shown.find("********")) << verb[0];
  }
  EXPECT_EQ("open-sesame\n", nas1({"config", "get", "ADMIN_PASSWORD", "--with-secrets"}).out);
}

}  // namespace
