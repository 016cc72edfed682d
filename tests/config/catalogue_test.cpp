// The numbers that no named key has.

#include "config/handlers.h"
#include "frame/appliance.h"

namespace {

constexpr char kRecords[] = "system.gdbm";

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

std::string byNumber(int number, std::size_t size) {
  std::string bytes(size, 'u');
  EXPECT_EQ(0, Nas1GetConfig(number, static_cast<int>(size), bytes.data(), nullptr)) << number;
  return bytes;
}

using Catalogue = ApplianceTest;

}  // namespace

TEST_F(Catalogue, NumbersWithoutANamedKeyHaveRecordsOfTheirOwn) {
  int seed = 0;
  for (const Id& id : ids) {
    if (id.kind != Kind::storedText && id.kind != Kind::storedInteger) continue;
    std::string value = id.kind == Kind::storedText ? padded(id.name, 30) : bytesOf(0x01020300 + ++seed);
    EXPECT_EQ(0, Nas1SetConfig(id.number, static_cast<int>(value.size()), value.data())) << id.name;
    EXPECT_EQ(value, byNumber(id.number, value.size())) << id.name;
    EXPECT_EQ(value, storedRecord(kRecords, id.name)) << id.name;
  }
  for (const int installed : {0, 1}) {
    writeFile("/etc/service.zelmar", installed != 0 ? "lvm=yes\n" : "lvm=no\n");
    int stored = 2;
    EXPECT_EQ(0, Nas1SetConfig(79, 4, &stored));
    EXPECT_EQ(bytesOf(installed), byNumber(79, 4)) << "not what was stored";
  }
}

TEST_F(Catalogue, NumbersWithoutAHandlerAreLoggedAndOthersRefused) {
  Lines expected;
  int value = 1;
  for (const Id& id : ids) {
    if (id.kind != Kind::empty && id.kind != Kind::readOnly) continue;
    const std::string number = std::to_string(id.number);
    if (id.kind == Kind::empty) {
      EXPECT_EQ(std::string(4, '\0'), byNumber(id.number, 4)) << number;
      expected.push_back("err system.c:1266 NotImplement for Type: " + number);
    }
    EXPECT_EQ(0, Nas1SetConfig(id.number, sizeof value, &value)) << number;
    expected.push_back("err system.c:1291 NotImplement for Type: " + number);
  }
  EXPECT_EQ(9 + 9 + 22, static_cast<int>(expected.size()));
  for (const int number : {122, -1})
    EXPECT_EQ(Results(2, -1), (Results{Nas1SetConfig(number, sizeof value, &value),
                                       Nas1GetConfig(number, sizeof value, &value, nullptr)}));
  EXPECT_EQ(expected, systemLog());
  EXPECT_EQ(Lines{}, storedKeys(kRecords));
}
