// The catalogue walked: every named key and every number does what its row says.

#include <set>

#include "config/handlers.h"
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

// What a read gives: the result, the length, the bytes.
using Read = std::tuple<int, int, std::string>;

Read readWith(int size, const std::function<int(char* bytes, int* length)>& get) {
  std::string bytes(static_cast<std::size_t>(size), 'u');
  int length = -99;
  const int result = get(bytes.data(), &length);
  return {result, length, bytes};
}

Read readName(const std::string& name, int size) {
  return readWith(size, [&](char* bytes, int* length) { return NasGetConfig(name.c_str(), size, bytes, length); });
}

Read readNumber(int number, int size) {
  return readWith(size, [&](char* bytes, int* length) { return Nas1GetConfig(number, size, bytes, length); });
}

class Catalogue : public ApplianceTest {
 protected:
  void TearDown() override {
    (void)NasLangInit(860, -1);
    ApplianceTest::TearDown();
  }
};

}  // namespace

TEST_F(Catalogue, EveryKeyTellsWhatItIsAndRoundTrips) {
  descriptorsLeftByRule = 1;  // DIRECT_PING_ENABLED
  const std::set<std::string> elsewhere = {"IP_DNS", "HW_EVENT_STATUS", "FILESYSTEM_STATUS", "SYSTEM_ID"};
  int seed = 0;
  int readOnly = 0;
  for (const Key& key : keys()) {
    int size = 0;
    EXPECT_EQ(key.type, NasGetConfig(key.name.c_str(), 0, &size, &size)) << key.name;
    EXPECT_EQ(key.size, size) << key.name;
    EXPECT_EQ(key.type, NasGetConfig(key.name.c_str(), 4, nullptr, nullptr)) << key.name;

    const std::string value = valueFor(key, ++seed);
    EXPECT_EQ(key.readOnly ? -3 : 0, NasSetConfig(key.name.c_str(), key.size, value.data())) << key.name;
    const bool stored = !key.readOnly && !elsewhere.contains(key.name);
    EXPECT_EQ(stored ? std::optional(value) : std::nullopt, storedRecord(kRecords, key.name)) << key.name;
    readOnly += key.readOnly ? 1 : 0;
    if (key.readOnly || key.name == "SYSTEM_ID") continue;
    EXPECT_EQ((Read{0, key.size, value}), readName(key.name, key.size)) << key.name;
  }
  EXPECT_EQ(20, readOnly);
}

TEST_F(Catalogue, NumberAndNameMeanTheSameRecord) {
  descriptorsLeftByRule = 2;  // DIRECT_PING_ENABLED, by number and by name
  const std::vector<Key> table = keys();
  int named = 0;
  for (const Id& id : ids) {
    if (id.kind != Kind::named) continue;
    const auto key = std::find_if(table.begin(), table.end(), [&](const Key& row) { return row.name == id.name; });
    ASSERT_NE(table.end(), key) << id.name;
    std::string value = valueFor(*key, ++named);
    EXPECT_EQ(0, Nas1SetConfig(id.number, key->size, value.data())) << id.name;
    EXPECT_EQ((Read{0, key->size, value}), readName(id.name, key->size)) << id.name;
    value = valueFor(*key, named + 1);
    EXPECT_EQ(0, NasSetConfig(id.name.c_str(), key->size, value.data())) << id.name;
    EXPECT_EQ((Read{0, key->size, value}), readNumber(id.number, key->size)) << id.name;
  }
  EXPECT_EQ(62, named);
}

TEST_F(Catalogue, NumbersWithoutANamedKeyHaveRecordsOfTheirOwn) {
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

  const std::string word = bytesOf(0x01020304);
  for (const auto& [number, record] :
       std::map<int, const char*>{{77, "FILESYSTEM_WRITEBACK_ENABLE"}, {79, "LVM_ENABLED"}, {114, "NIC_DISABLED"}}) {
    std::string value = word;
    EXPECT_EQ(0, Nas1SetConfig(number, 4, value.data())) << record;
    EXPECT_EQ(word, storedRecord(kRecords, record)) << record;
  }
  EXPECT_EQ((Read{0, 4, word}), readNumber(77, 4));
  EXPECT_EQ((Read{0, 2, word.substr(0, 2)}), readNumber(114, 2));
  for (const int installed : {0, 1}) {
    writeFile("/etc/service.zelmar", installed != 0 ? "lvm=yes\n" : "lvm=no\n");
    EXPECT_EQ((Read{0, 4, bytesOf(installed)}), readNumber(79, 4)) << "not what was stored";
    EXPECT_EQ((Read{0, 4, bytesOf(installed)}), readName("LVM_ENABLED", 4));
  }
  std::string date = std::string("today") + '\0';
  EXPECT_EQ(0, set_Full_SYSnUSER_Backup_Date(6, date.data()));
  EXPECT_EQ(date, storedRecord(kRecords, "Full_SYS_n_USER_Backup_Date"));
}

TEST_F(Catalogue, NumbersWithoutAHandlerAreLoggedAndOthersRefused) {
  Lines expected;
  int value = 1;
  for (const Id& id : ids) {
    if (id.kind != Kind::empty && id.kind != Kind::readOnly) continue;
    const std::string number = std::to_string(id.number);
    if (id.kind == Kind::empty) {
      EXPECT_EQ((Read{0, -99, std::string(4, '\0')}), readNumber(id.number, 4)) << number;
      expected.push_back("err system.c:1266 NotImplement for Type: " + number);
    }
    EXPECT_EQ(0, Nas1SetConfig(id.number, sizeof value, &value)) << number;
    expected.push_back("err system.c:1291 NotImplement for Type: " + number);
  }
  EXPECT_EQ(9 + 9 + 22, static_cast<int>(expected.size()));
  for (const int number : {122, 1 << 30, -1}) {
    EXPECT_EQ(-1, Nas1SetConfig(number, sizeof value, &value)) << number;
    EXPECT_EQ(-1, Nas1GetConfig(number, sizeof value, &value, nullptr)) << number;
  }
  EXPECT_EQ(expected, systemLog());
  EXPECT_EQ(Lines{}, storedKeys(kRecords));
}
