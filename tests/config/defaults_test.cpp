// The defaults file: how its lines are read, and what of them becomes the stored value.

#include <cstring>

#include "api/nas1api.h"
#include "frame/appliance.h"

namespace {

class Defaults : public ApplianceTest {};

constexpr char kRecords[] = "system.gdbm";
constexpr int kLeft = 0x75757575;  // what a buffer holds that was left alone

std::string textWith(const std::string& defaults, const char* key, int size, int* length) {
  setDefaults(defaults);
  (void)unlink("/etc/admin/system.gdbm");
  std::string buffer(64, 'u');
  EXPECT_EQ(0, NasGetConfig(key, size, buffer.data(), length)) << defaults;
  return buffer;
}

}  // namespace

TEST_F(Defaults, TextsEndAtTheirFirstWhiteSpace) {
  const std::string x63(63, 'x');
  const struct {
    const char* name;
    std::string file;
    std::string value;
  } cases[] = {
      {"plain", "TEST_STRING=value\n", "value"},
      {"any separator", "TEST_STRINGxvalue\n", "value"},
      {"two words", "TEST_STRING=two words\n", "two"},
      {"tab and carriage return", "TEST_STRING\tvalue\tx\r\n", "value"},
      {"blank behind the separator", "TEST_STRING= value\n", ""},
      {"no newline at the end", "TEST_STRING=value", "valu"},
      {"one character without a newline", "TEST_STRING=v", ""},
      {"only the separator", "TEST_STRING=\n", ""},
      {"only the key", "TEST_STRING\n", ""},
      {"only the key at the end", "TEST_STRING", ""},
      {"the separator at the end", "TEST_STRING=", ""},
      {"not the first line", "# comment\n\nTEST_STRIN=no\nTEST_STRING=yes\nTEST_STRING=late\n", "yes"},
      {"a longer key on an earlier line", "TEST_STRING_2=other\nTEST_STRING=own\n", "2=other"},
      {"an indented line", " TEST_STRING=no\n", ""},
      {"another case", "test_string=no\n", ""},
      {"a line of 63 characters", "TEST_STRING=" + std::string(50, 'v') + "\n", std::string(50, 'v')},
      {"a longer one loses its last character", "TEST_STRING=" + std::string(51, 'v') + "\n", std::string(50, 'v')},
      {"a continuation is a line", x63 + "TEST_STRING=continued\n", "continued"},
      {"a key behind a long line", "TEST=" + std::string(300, 'x') + "\nTEST_STRING=found\n", "found"},
      {"a NUL in the line", std::string("TEST_STRING=a\0b\n", 16), ""},
  };
  for (const auto& c : cases) {
    int length = -99;
    const std::string buffer = textWith(c.file, "TEST_STRING", 60, &length);
    EXPECT_EQ(c.value, buffer.c_str()) << c.name;
    EXPECT_EQ(static_cast<int>(c.value.size()) + 1, length) << c.name;
  }
}

TEST_F(Defaults, ADefaultIsStoredWithTheLengthItHas) {
  int length = -99;
  EXPECT_EQ("valuu", textWith("TEST_STRING=value\n", "TEST_STRING", 4, &length).substr(0, 5));
  EXPECT_EQ(4, length) << "cut, without a NUL";
  EXPECT_EQ("valu", storedRecord(kRecords, "TEST_STRING"));
  (void)textWith("TEST_STRING=value\n", "TEST_STRING", 32, &length);
  EXPECT_EQ(std::string("value\0", 6), storedRecord(kRecords, "TEST_STRING"));
  setDefaults("TEST_STRING=other\n");
  char text[32] = {};
  EXPECT_EQ(0, NasGetConfig("TEST_STRING", sizeof text, text, nullptr));
  EXPECT_STREQ("value", text) << "stored is stored";

  // A key that nothing may set is read and not stored.
  EXPECT_EQ("5,6", std::string(textWith("SUPPORT_DISK_NUMBER=5,6\n", "SUPPORT_DISK_NUMBER", 32, &length).c_str()));
  EXPECT_EQ(Lines{}, storedKeys(kRecords));
  // A default does not tell the back-ends.
  (void)textWith("CIFS_GROUP_NAME=GROUP\n", "CIFS_GROUP_NAME", 32, &length);
  EXPECT_EQ(Lines{}, commands());
}

TEST_F(Defaults, IntegersAreReadAsA32BitUnsignedNumber) {
  const struct {
    const char* key;
    const char* text;
    unsigned value;
    bool refused = false;
  } cases[] = {
      {"TEST_INTEGER", "0", 0},
      {"TEST_INTEGER", "42", 42},
      {"TEST_INTEGER", "+42", 42},
      {"TEST_INTEGER", "010", 10},
      {"TEST_INTEGER", "0x10", 0},
      {"TEST_INTEGER", "12ab", 12},
      {"TEST_INTEGER", "none", 0},
      {"TEST_INTEGER", "", 0},
      {"TEST_INTEGER", "-", 0},
      {"TEST_INTEGER", "-1", 0xFFFFFFFF},
      {"TEST_INTEGER", "--1", 0},
      {"TEST_INTEGER", "-+1", 0},
      {"TEST_INTEGER", "2147483646", 0x7FFFFFFE},
      {"TEST_INTEGER", "2147483647", 0, true},
      {"TEST_INTEGER", "2147483648", 0, true},
      {"TEST_INTEGER", "-2147483648", 0, true},
      {"TEST_INTEGER", "-2147483649", 0, true},
      {"TEST_INTEGER", "2147483649", 0x80000001},
      {"TEST_INTEGER", "4294967295", 0xFFFFFFFF},
      {"TEST_INTEGER", "4294967296", 0, true},
      {"TEST_INTEGER", "-4294967295", 1},
      {"TEST_INTEGER", "-4294967296", 0, true},
      {"TEST_INTEGER", "99999999999999999999999999", 0, true},
      {"EVENT_ACTION", "ff", 0xFF},
      {"EVENT_ACTION", "0x1F", 0x1F},
      {"EVENT_ACTION", "-0x1", 0xFFFFFFFF},
      {"EVENT_ACTION", "10", 0x10},
      {"EVENT_ACTION", "7fffffff", 0, true},
      {"EVENT_ACTION", "80000000", 0, true},
      {"EVENT_ACTION", "100000000", 0, true},
      {"EVENT_ACTION", "FFFFFFFF", 0xFFFFFFFF},
  };
  for (const auto& c : cases) {
    setDefaults(std::string(c.key) + "=" + c.text + "\n");
    (void)unlink("/etc/admin/system.gdbm");
    unsigned value[2] = {kLeft, kLeft};
    int length = -99;
    const int result = NasGetConfig(c.key, sizeof value, value, &length);
    EXPECT_EQ(c.refused ? kLeft : c.value, value[0]) << c.key << " " << c.text;
    EXPECT_EQ(kLeft, static_cast<int>(value[1])) << c.text;
    EXPECT_EQ(4, length) << c.text;
    EXPECT_EQ(0, result) << c.text;
    EXPECT_EQ(bytesOf(value[0]), storedRecord(kRecords, c.key)) << "a refused one is stored as the buffer stood";
  }
}

TEST_F(Defaults, AShortBufferTakesTheLowBytes) {
  setDefaults("TEST_INTEGER=258\n");
  unsigned value = kLeft;
  int length = 0;
  EXPECT_EQ(0, NasGetConfig("TEST_INTEGER", 1, &value, &length));
  EXPECT_EQ(0x75757502U, value);
  EXPECT_EQ(1, length);
  EXPECT_EQ("\2", storedRecord(kRecords, "TEST_INTEGER"));
}

TEST_F(Defaults, WhatNothingIsKnownOfReadsAsZerosAndIsNotStored) {
  char buffer[8];
  int length = -99;
  const auto read = [&](const char* key) {
    std::memset(buffer, 'u', sizeof buffer);
    const int result = NasGetConfig(key, 6, buffer, &length);
    EXPECT_EQ(std::string(result == 0 ? 6 : 0, '\0') + std::string(result == 0 ? 2 : 8, 'u'),
              std::string(buffer, sizeof buffer));
    return result;
  };
  setDefaults("OTHER=1\n");
  EXPECT_EQ(0, read("TEST_STRING"));
  EXPECT_EQ(1, length);
  EXPECT_EQ(0, read("TEST_INTEGER"));
  EXPECT_EQ(6, length);
  EXPECT_EQ(0, read("ETHERNET_ADDRESS_3")) << "no such interface";
  EXPECT_EQ(1, length);
  EXPECT_EQ(Lines{}, storedKeys(kRecords));
  (void)unlink("/etc/default.zelmar");
  EXPECT_EQ(-1, read("TEST_STRING"));
  EXPECT_EQ(-1, read("TEST_INTEGER"));
  EXPECT_EQ(-1, read("ETHERNET_ADDRESS_3"));
  unsigned value = kLeft;
  EXPECT_EQ(-1, Nas1GetConfig(116, sizeof value, &value, nullptr));
  EXPECT_EQ(0U, value) << "cleared first";
}

TEST_F(Defaults, ARecordHasNoTextForm) {
  setDefaults("NAS_VERSION=1\n");
  writeFile("/run/nas1-driver/refuse", "0x4804\n");
  (void)unlink("/etc/zelmar-release");
  char version[18];
  EXPECT_EQ(-3, NasGetConfig("NAS_VERSION", sizeof version, version, nullptr));
  EXPECT_EQ(Lines{"<INFO> [SW]   system.c:469 NotImplement for data Type: 3"}, applianceMessages());
}
