// The defaults file: how its lines are read, and what of them becomes the stored value.

#include "frame/appliance.h"

namespace {

using Defaults = ApplianceTest;

constexpr char kRecords[] = "system.gdbm";

// A key read that was never stored, into a buffer of 'u's.
struct Read {
  int result;
  int length = -99;
  std::string bytes = std::string(70, 'u');

  Read(const std::string& defaults, const char* key, int size) {
    setDefaults(defaults);
    (void)unlink("/etc/admin/system.gdbm");
    result = NasGetConfig(key, size, bytes.data(), &length);
  }
};

}  // namespace

TEST_F(Defaults, TextsEndAtTheirFirstWhiteSpace) {
  const std::string most(50, 'v');
  const struct {
    const char* name;
    std::string file, value;
  } cases[] = {
      {"any separator", "TEST_STRINGxvalue\n", "value"},
      {"blank behind the separator", "TEST_STRING= value\n", ""},
      {"no newline at the end", "TEST_STRING=value", "valu"},
      {"only the key at the end", "TEST_STRING", ""},
      {"not the first line", "# comment\n\nTEST_STRIN=no\n TEST_STRING=no\nTEST_STRING=yes\nTEST_STRING=late\n", "yes"},
      {"a longer key on an earlier line", "TEST_STRING_2=other\nTEST_STRING=own\n", "2=other"},
      {"a longer one loses its last character", "TEST_STRING=" + most + "v\n", most},
      {"a continuation is a line", std::string(63, 'x') + "TEST_STRING=continued\n", "continued"},
      {"a NUL in the line", std::string("TEST_STRING=a\0b\n", 16), ""},
  };
  for (const auto& c : cases) {
    const Read read(c.file, "TEST_STRING", 60);
    EXPECT_EQ((Results{0, static_cast<int>(c.value.size()) + 1}), (Results{read.result, read.length})) << c.name;
    EXPECT_EQ(c.value, read.bytes.c_str()) << c.name;
    EXPECT_EQ(c.value + '\0', storedRecord(kRecords, "TEST_STRING")) << c.name;
  }
}

TEST_F(Defaults, WhatWasReadIsStoredOnceWithoutTellingAnybody) {
  const Read cut("TEST_STRING=value\n", "TEST_STRING", 4);
  EXPECT_EQ("valuu", cut.bytes.substr(0, 5));
  EXPECT_EQ(4, cut.length) << "cut, without a NUL";
  setDefaults("TEST_STRING=other\n");
  char text[32] = {};
  EXPECT_EQ(0, NasGetConfig("TEST_STRING", sizeof text, text, nullptr));
  EXPECT_STREQ("valu", text) << "stored is stored";
  EXPECT_STREQ("5,6", Read("SUPPORT_DISK_NUMBER=5,6\n", "SUPPORT_DISK_NUMBER", 32).bytes.c_str());
  EXPECT_EQ(Lines{}, storedKeys(kRecords)) << "nothing may set that key";
  EXPECT_EQ(std::string(6, '\0') + "u", Read("OTHER=1\n", "TEST_INTEGER", 6).bytes.substr(0, 7));
  EXPECT_EQ(Lines{}, storedKeys(kRecords)) << "what nothing is known of is not stored";
  EXPECT_STREQ("NAME", Read("NCP_NETWORK_ID=NAME\n", "NCP_NETWORK_ID", 32).bytes.c_str());
  EXPECT_EQ(Lines{}, commands());
}

TEST_F(Defaults, IntegersAreReadAsA32BitUnsignedNumber) {
  constexpr unsigned kRefused = 0x75757575;  // the buffer is left alone
  const struct {
    const char *key, *text;
    unsigned value;
  } cases[] = {
      // clang-format off
      {"TEST_INTEGER", "010", 10}, {"TEST_INTEGER", "0x10", 0}, {"TEST_INTEGER", "12ab", 12},
      {"TEST_INTEGER", "-1", 0xFFFFFFFF}, {"TEST_INTEGER", "2147483647", kRefused},
      {"TEST_INTEGER", "2147483649", 0x80000001}, {"TEST_INTEGER", "4294967296", kRefused},
      {"EVENT_ACTION", "10", 0x10}, {"EVENT_ACTION", "7fffffff", kRefused}, {"EVENT_ACTION", "100000000", kRefused},
      // clang-format on
  };
  for (const auto& c : cases) {
    const Read read(std::string(c.key) + "=" + c.text + "\n", c.key, 8);
    EXPECT_EQ(bytesOf(c.value) + "uuuu", read.bytes.substr(0, 8)) << c.key << " " << c.text;
    EXPECT_EQ((Results{0, 4}), (Results{read.result, read.length})) << c.text;
    EXPECT_EQ(bytesOf(c.value), storedRecord(kRecords, c.key)) << "a refused one is stored as the buffer stood";
  }
}
