// The catalogue walked: every named key and every number does what its row says.

#include <cstdio>
#include <map>

#include "api/nas1api.h"
#include "frame/appliance.h"

namespace {

constexpr char kRecords[] = "system.gdbm";

struct Key {
  std::string name;
  int type;
  int size;
  bool readOnly;
};

// The key table as its source has it, row by row.
std::vector<Key> keys() {
  const std::map<std::string, int> types = {
      {"CFG_INTEGER", CFG_INTEGER}, {"CFG_TEXT", CFG_TEXT}, {"CFG_HEX", CFG_HEX}, {"CFG_RECORD", CFG_RECORD}};
  constexpr char kRow[] = " /* %zu */ {\"%63[^\"]\", %15[A-Z_], %d, %*[^,], %*[^,], %31[^,],";
  std::vector<Key> found;
  for (const std::string& line : readLines(NAS1_SOURCE_DIR "/src/config/key_table.cpp")) {
    std::size_t row = 0;
    char name[64];
    char type[16];
    int size = 0;
    char setter[32];
    if (std::sscanf(line.c_str(), kRow, &row, name, type, &size, setter) != 5) continue;
    EXPECT_EQ(found.size(), row) << "the number in front of " << name;
    found.push_back({name, types.at(type), size, std::string(setter) == "nullptr"});
  }
  EXPECT_EQ(128U, found.size());
  return found;
}

enum class Kind { named, storedText, storedInteger, own, readOnly, empty };

struct Id {
  int number;
  std::string name;
  Kind kind;
};

// clang-format off
const Id ids[] = {
#define ID_ROW(kind, number, name) {number, name, Kind::kind},
#define TEXT_ID(number, name) ID_ROW(named, number, #name)
#define INTEGER_ID(number, name) ID_ROW(named, number, #name)
#define ACTING_ID(number, name) ID_ROW(named, number, #name)
#define STORED_TEXT_ID(number, name) ID_ROW(storedText, number, #name)
#define COMMUNITY_ID(number, name) ID_ROW(storedText, number, #name)
#define STORED_INTEGER_ID(number, name) ID_ROW(storedInteger, number, #name)
#define OWN_ID(number, name) ID_ROW(own, number, #name)
#define READ_ONLY_ID(number, getter) ID_ROW(readOnly, number, #getter)
#define EMPTY_ID(number) ID_ROW(empty, number, "")
#include "config/numeric_ids.inc"
};
// clang-format on

// A value that differs from key to key and fills its field; no byte of it is a blank.
std::string valueFor(const Key& key, int seed) {
  if (key.type != CFG_TEXT) return bytesOf(0x01010101U * static_cast<unsigned>(1 + seed % 15) + 0x10000000U);
  std::string text = key.name + std::to_string(seed);
  text.resize(static_cast<std::size_t>(key.size) - 1, 'x');
  return text + '\0';
}

// Reads by name or by number at the given size: the result, the length and the bytes.
struct Read {
  int result;
  int length;
  std::string bytes;
  bool operator==(const Read& other) const {
    return result == other.result && length == other.length && bytes == other.bytes;
  }
};
std::ostream& operator<<(std::ostream& out, const Read& read) {
  return out << read.result << ", " << read.length << " bytes, " << testing::PrintToString(read.bytes);
}

Read readName(const std::string& name, int size) {
  Read read = {0, -99, std::string(static_cast<std::size_t>(size), 'u')};
  read.result = NasGetConfig(name.c_str(), size, read.bytes.data(), &read.length);
  return read;
}

Read readNumber(int number, int size) {
  Read read = {0, -99, std::string(static_cast<std::size_t>(size), 'u')};
  read.result = Nas1GetConfig(number, size, read.bytes.data(), &read.length);
  return read;
}

class Catalogue : public ApplianceTest {
 protected:
  void TearDown() override {
    (void)NasLangInit(860, -1);
    ApplianceTest::TearDown();
  }
};

}  // namespace

TEST_F(Catalogue, EveryKeyTellsItsTypeAndSize) {
  for (const Key& key : keys()) {
    char buffer[4];
    int size = 0;
    EXPECT_EQ(key.type, NasGetConfig(key.name.c_str(), 0, buffer, &size)) << key.name;
    EXPECT_EQ(key.size, size) << key.name;
    EXPECT_EQ(key.type, NasGetConfig(key.name.c_str(), 4, nullptr, nullptr)) << key.name;
  }
}

TEST_F(Catalogue, EveryKeyRoundTripsAtItsNaturalSize) {
  descriptorsLeftByRule = 1;  // DIRECT_PING_ENABLED
  // Kept elsewhere than in the record file.
  const std::map<std::string, bool> elsewhere = {
      {"IP_DNS", true}, {"HW_EVENT_STATUS", true}, {"FILESYSTEM_STATUS", true}, {"SYSTEM_ID", true}};
  int seed = 0;
  int readOnly = 0;
  for (const Key& key : keys()) {
    const std::string value = valueFor(key, ++seed);
    const int result = NasSetConfig(key.name.c_str(), key.size, value.data());
    readOnly += key.readOnly;
    EXPECT_EQ(key.readOnly ? -3 : 0, result) << key.name;
    const bool stored = !key.readOnly && !elsewhere.contains(key.name);
    EXPECT_EQ(stored ? std::optional(value) : std::nullopt, storedRecord(kRecords, key.name)) << key.name;
    if (key.readOnly || key.name == "SYSTEM_ID") continue;
    EXPECT_EQ((Read{0, key.size, value}), readName(key.name, key.size)) << key.name;
  }
  EXPECT_EQ(20, readOnly);
}

TEST_F(Catalogue, NumberAndNameMeanTheSameRecord) {
  descriptorsLeftByRule = 2;  // DIRECT_PING_ENABLED, by number and by name
  std::map<std::string, Key> byName;
  for (const Key& key : keys()) byName[key.name] = key;
  int named = 0;
  for (const Id& id : ids) {
    if (id.kind != Kind::named) continue;
    ASSERT_TRUE(byName.contains(id.name)) << id.name;
    const Key& key = byName[id.name];
    ++named;
    std::string value = valueFor(key, named);
    EXPECT_EQ(0, Nas1SetConfig(id.number, key.size, value.data())) << id.name;
    EXPECT_EQ((Read{0, key.size, value}), readName(key.name, key.size)) << id.name;
    value = valueFor(key, named + 1);
    EXPECT_EQ(0, NasSetConfig(key.name.c_str(), key.size, value.data())) << id.name;
    EXPECT_EQ((Read{0, key.size, value}), readNumber(id.number, key.size)) << id.name;
  }
  EXPECT_EQ(62, named);
}

TEST_F(Catalogue, KeysWithoutANameAreReachedByNumberAlone) {
  int seed = 0;
  for (const Id& id : ids) {
    if (id.kind != Kind::storedText && id.kind != Kind::storedInteger) continue;
    const bool text = id.kind == Kind::storedText;
    std::string value = valueFor({id.name, text ? CFG_TEXT : CFG_INTEGER, text ? 30 : 4, false}, ++seed);
    const int size = static_cast<int>(value.size());
    EXPECT_EQ(0, Nas1SetConfig(id.number, size, value.data())) << id.name;
    EXPECT_EQ((Read{0, size, value}), readNumber(id.number, size)) << id.name;
    EXPECT_EQ(value, storedRecord(kRecords, id.name)) << id.name;
    EXPECT_EQ(-2, NasGetConfig(id.name.c_str(), size, value.data(), nullptr)) << id.name;
  }
}

TEST_F(Catalogue, SomeNumbersStandForARecordOfAnotherName) {
  const struct {
    int number;
    const char* record;
  } cases[] = {{77, "FILESYSTEM_WRITEBACK_ENABLE"}, {79, "LVM_ENABLED"}, {114, "NIC_DISABLED"}};
  for (const auto& c : cases) {
    int value = 0x01020304;
    EXPECT_EQ(0, Nas1SetConfig(c.number, sizeof value, &value)) << c.record;
    EXPECT_EQ(bytesOf(value), storedRecord(kRecords, c.record)) << c.record;
  }
  EXPECT_EQ((Read{0, 4, bytesOf(0x01020304)}), readNumber(77, 4));
  EXPECT_EQ((Read{0, 4, bytesOf(0x01020304)}), readNumber(114, 4));
  for (const int installed : {0, 1}) {
    writeFile("/etc/service.zelmar", installed != 0 ? "lvm=yes\n" : "lvm=no\n");
    EXPECT_EQ((Read{0, 4, bytesOf(installed)}), readNumber(79, 4)) << "not what was stored";
    EXPECT_EQ((Read{0, 4, bytesOf(installed)}), readName("LVM_ENABLED", 4));
  }
  EXPECT_EQ((Read{0, 2, std::string("\x04\x03")}), readNumber(114, 2));

  char zone[] = "zone";
  EXPECT_EQ(0, Nas1SetConfig(120, sizeof zone, zone));
  EXPECT_EQ(std::nullopt, storedRecord(kRecords, "AFP_ZONE_NAME"));
  EXPECT_EQ("zone", storedRecord(kRecords, "AFP_ZONE").value_or("").substr(0, 4));
  EXPECT_EQ(0, Nas1GetConfig(120, sizeof zone, zone, nullptr));
}

TEST_F(Catalogue, NumbersWithoutAHandlerAreLoggedAndSucceed) {
  Lines expected;
  for (const Id& id : ids) {
    if (id.kind != Kind::empty && id.kind != Kind::readOnly) continue;
    EXPECT_EQ(id.kind == Kind::empty, fpConfig[id.number].get == nullptr) << id.number;
    EXPECT_EQ(nullptr, fpConfig[id.number].set) << id.number;
    const std::string number = std::to_string(id.number);
    if (id.kind == Kind::empty) {
      EXPECT_EQ((Read{0, -99, std::string(4, '\0')}), readNumber(id.number, 4)) << number;
      expected.push_back("err system.c:1266 NotImplement for Type: " + number);
    }
    int value = 1;
    EXPECT_EQ(0, Nas1SetConfig(id.number, sizeof value, &value)) << number;
    expected.push_back("err system.c:1291 NotImplement for Type: " + number);
  }
  EXPECT_EQ(9 + 9 + 22, static_cast<int>(expected.size()));
  EXPECT_EQ(expected, systemLog());
  EXPECT_EQ(Lines{}, storedKeys(kRecords));
}

TEST_F(Catalogue, NumbersOutsideTheTableAreRefused) {
  for (const int number : {122, 123, 1 << 30, -1, -122}) {
    int value = 1;
    EXPECT_EQ(-1, Nas1SetConfig(number, sizeof value, &value)) << number;
    EXPECT_EQ(-1, Nas1GetConfig(number, sizeof value, &value, nullptr)) << number;
  }
  EXPECT_EQ(Lines{}, storedKeys(kRecords));
  EXPECT_EQ(Lines{}, systemLog());
}
