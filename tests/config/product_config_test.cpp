// Snapshot and product records in system.gdbm.

#include "config/product_config.h"

#include "frame/appliance.h"

namespace {

using ProductConfig = ApplianceTest;

const std::string kPrefix = "NAS1_SNAPSHOT_CONFIG";

}  // namespace

TEST_F(ProductConfig, ASnapshotRecordIsStoredAndTheSchedulerToldWhateverBecameOfIt) {
  const std::uint32_t record[kSnapshotWords] = {10, 0x04030201, 3, 0, 0xFFFFFFFF};
  const std::string name33 = "abcdefghijklmnopqrstuvwxyz0123456";
  setExitStatus("takecron", 3);
  EXPECT_EQ(0, Nas1SetSnapshotConfig(name33.c_str(), record)) << "only the store decides the result";
  EXPECT_EQ(bytesOf(record), storedRecord("system.gdbm", kPrefix + name33.substr(0, 32)));
  std::uint32_t read[kSnapshotWords] = {};
  EXPECT_EQ(0, Nas1GetSnapshotConfig(name33.c_str(), read));
  EXPECT_EQ(bytesOf(record), bytesOf(read));
  blockFile("/etc/admin/system.gdbm");
  EXPECT_EQ(-1, Nas1SetSnapshotConfig("v2", record));
  EXPECT_EQ((Lines{"/sbin/takecron snapshot " + name33, "/sbin/takecron snapshot v2"}), commands());
}

TEST_F(ProductConfig, AMissingSnapshotRecordIsTheDefaultReserve) {
  const std::string behind = bytesOf(std::uint32_t{6});
  std::uint32_t read[kSnapshotWords + 1] = {1, 2, 3, 4, 5, 6};
  const std::uint32_t reserve = 15;
  ASSERT_EQ(0, NasSetConfig("DEF_SNAPSHOT_RESERVED", sizeof reserve, &reserve));
  EXPECT_EQ(0, Nas1GetSnapshotConfig("v1", read));
  EXPECT_EQ(bytesOf(reserve) + std::string(16, '\0') + behind, bytesOf(read));
  storeRecord("system.gdbm", kPrefix + "v1", std::string(24, 'x'));
  EXPECT_EQ(0, Nas1GetSnapshotConfig("v1", read));
  EXPECT_EQ(std::string(20, 'x') + behind, bytesOf(read)) << "a longer record";
}

TEST_F(ProductConfig, AProductTextIsStoredAsGivenAndReadWithinItsField) {
  EXPECT_EQ(0, Nas1SetProductConfig("MODEL", 3, "abcdef"));
  EXPECT_EQ("abc", storedRecord("system.gdbm", "MODEL"));
  EXPECT_EQ(Lines{"err protocols.c:196 Data of the Config[MODEL] is not ASCIIZ "}, systemLog());
  storeRecord("system.gdbm", "LONG", std::string(60, 'g'));
  std::string text(NAS_PRODUCT_TEXT_SIZE + 1, '#');
  EXPECT_EQ(0, Nas1GetProductConfig("LONG", text.data()));
  EXPECT_EQ(padded(std::string(50, 'g'), NAS_PRODUCT_TEXT_SIZE) + '#', text);
  EXPECT_EQ(0, Nas1GetProductConfig("MODEL", text.data()));
  EXPECT_STREQ("abc", text.c_str());
}
