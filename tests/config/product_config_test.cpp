// Snapshot and product records in system.gdbm.

#include "config/product_config.h"

#include <cstring>

#include <filesystem>

#include "api/nas1api.h"
#include "frame/appliance.h"

namespace {

class ProductConfig : public ApplianceTest {};

const std::string kPrefix = "NAS1_SNAPSHOT_CONFIG";

}  // namespace

TEST_F(ProductConfig, ASnapshotRecordIsStoredAndTheSchedulerTold) {
  const uint32_t record[kSnapshotWords] = {10, 0x04030201, 3, 0, 0xFFFFFFFF};
  EXPECT_EQ(0, Nas1SetSnapshotConfig("v1", record));
  EXPECT_EQ(bytesOf(record), storedRecord("system.gdbm", kPrefix + "v1"));
  uint32_t read[kSnapshotWords] = {};
  EXPECT_EQ(0, Nas1GetSnapshotConfig("v1", read));
  EXPECT_EQ(bytesOf(record), bytesOf(read));

  const std::string name33 = "abcdefghijklmnopqrstuvwxyz0123456";
  EXPECT_EQ(0, Nas1SetSnapshotConfig(name33.c_str(), record));
  EXPECT_EQ((Lines{kPrefix + name33.substr(0, 32), kPrefix + "v1"}), storedKeys("system.gdbm"));
  EXPECT_EQ((Lines{"/sbin/takecron snapshot v1", "/sbin/takecron snapshot " + name33}), commands());

  setExitStatus("takecron", 3);
  EXPECT_EQ(0, Nas1SetSnapshotConfig("v1", record)) << "only the store decides the result";
}

TEST_F(ProductConfig, AMissingSnapshotRecordIsTheDefaultReserve) {
  uint32_t read[kSnapshotWords + 1] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(0, Nas1GetSnapshotConfig("v1", read));
  EXPECT_EQ((std::string(20, '\0') + bytesOf(uint32_t{6})), bytesOf(read)) << "never set";
  const uint32_t reserve = 15;
  ASSERT_EQ(0, NasSetConfig("DEF_SNAPSHOT_RESERVED", sizeof reserve, &reserve));
  EXPECT_EQ(0, Nas1GetSnapshotConfig("v1", read));
  EXPECT_EQ((bytesOf(reserve) + std::string(16, '\0') + bytesOf(uint32_t{6})), bytesOf(read));
  EXPECT_EQ(Lines{"DEF_SNAPSHOT_RESERVED"}, storedKeys("system.gdbm")) << "reading stores nothing";

  storeRecord("system.gdbm", kPrefix + "v1", std::string(24, 'x'));
  EXPECT_EQ(0, Nas1GetSnapshotConfig("v1", read));
  EXPECT_EQ((std::string(20, 'x') + bytesOf(uint32_t{6})), bytesOf(read)) << "a longer record";
}

TEST_F(ProductConfig, TheSchedulerIsToldAlsoAfterAFailedStore) {
  std::filesystem::create_directory("/etc/admin/system.gdbm");
  const uint32_t record[kSnapshotWords] = {};
  EXPECT_EQ(-1, Nas1SetSnapshotConfig("v1", record));
  EXPECT_EQ(Lines{"/sbin/takecron snapshot v1"}, commands());
  char text[NAS_PRODUCT_TEXT_SIZE] = "before";
  EXPECT_EQ(-1, Nas1SetProductConfig("KEY", 2, "x"));
  EXPECT_EQ(0, Nas1GetProductConfig("KEY", text));
  EXPECT_EQ(std::string(NAS_PRODUCT_TEXT_SIZE, '\0'), bytesOf(text));
}

TEST_F(ProductConfig, NullPointersTouchNothing) {
  const uint32_t record[kSnapshotWords] = {};
  char text[NAS_PRODUCT_TEXT_SIZE] = "before";
  uint32_t read[kSnapshotWords] = {7};
  EXPECT_EQ(-1, Nas1SetSnapshotConfig(nullptr, record));
  EXPECT_EQ(-1, Nas1SetSnapshotConfig("v1", nullptr));
  EXPECT_EQ(0, Nas1GetSnapshotConfig(nullptr, read));
  EXPECT_EQ(0, Nas1GetSnapshotConfig("v1", nullptr));
  EXPECT_EQ(-1, Nas1SetProductConfig(nullptr, 2, "x"));
  EXPECT_EQ(-1, Nas1SetProductConfig("KEY", 2, nullptr));
  EXPECT_EQ(-1, Nas1SetProductConfig("KEY", 0, "x"));
  EXPECT_EQ(0, Nas1GetProductConfig(nullptr, text));
  EXPECT_EQ(0, Nas1GetProductConfig("KEY", nullptr));
  EXPECT_EQ(7u, read[0]);
  EXPECT_STREQ("before", text);
  EXPECT_EQ(Lines{}, commands());
  EXPECT_EQ(Lines{}, storedKeys("system.gdbm"));
}

TEST_F(ProductConfig, AProductTextIsStoredAsGivenAndReadWithinItsField) {
  EXPECT_EQ(0, Nas1SetProductConfig("SERIAL", 5, "A 12"));
  EXPECT_EQ(std::string("A 12\0", 5), storedRecord("system.gdbm", "SERIAL"));
  EXPECT_EQ(Lines{}, systemLog());
  EXPECT_EQ(0, Nas1SetProductConfig("MODEL", 3, "abcdef"));
  EXPECT_EQ("abc", storedRecord("system.gdbm", "MODEL"));
  EXPECT_EQ(Lines{"err protocols.c:196 Data of the Config[MODEL] is not ASCIIZ "}, systemLog());

  const struct {
    const char* name;
    std::string stored;
    std::string text;
  } cases[] = {
      {"text", std::string("A 12\0rest", 9), "A 12"},
      {"no NUL", "abc", "abc"},
      {"empty", "", ""},
      {"50 characters", std::string(50, 'f') + '\0', std::string(50, 'f')},
      {"longer", std::string(60, 'g'), std::string(50, 'g')},
  };
  for (const auto& c : cases) {
    storeRecord("system.gdbm", "KEY", c.stored);
    char text[NAS_PRODUCT_TEXT_SIZE + 1];
    std::memset(text, '#', sizeof text);
    EXPECT_EQ(0, Nas1GetProductConfig("KEY", text)) << c.name;
    EXPECT_STREQ(c.text.c_str(), text) << c.name;
    EXPECT_EQ('#', text[NAS_PRODUCT_TEXT_SIZE]) << c.name;
  }
  char text[NAS_PRODUCT_TEXT_SIZE];
  std::memset(text, '#', sizeof text);
  EXPECT_EQ(0, Nas1GetProductConfig("OTHER", text));
  EXPECT_EQ(std::string(NAS_PRODUCT_TEXT_SIZE, '\0'), bytesOf(text)) << "never set";
}
