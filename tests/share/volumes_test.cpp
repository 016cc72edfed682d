// The volume table as it is counted and listed.

#include "share/volumes.h"

#include <csignal>
#include <cstring>

#include <unistd.h>

#include "frame/appliance.h"

namespace {

constexpr char kTable[] = "/etc/fstab.zelmar";

VolumeInfo volume(const char* device, const char* mount, const char* name) {
  VolumeInfo info = {};
  info.size = 248;
  std::strcpy(info.device, device);
  std::strcpy(info.mount, mount);
  std::strcpy(info.name, name);
  return info;
}

// What Nas1ListVolume leaves in a buffer of some entries, with its result in front.
std::string listed(std::size_t entries) {
  std::string buffer(entries * sizeof(VolumeInfo), 'b');
  const int count = Nas1ListVolume(reinterpret_cast<VolumeInfo*>(buffer.data()), static_cast<int>(buffer.size()));
  return std::to_string(count) + buffer;
}

std::string expected(const std::vector<VolumeInfo>& volumes, std::size_t entries) {
  std::string buffer = std::to_string(volumes.size());
  const std::size_t front = buffer.size();
  for (const VolumeInfo& info : volumes) buffer += bytesOf(info);
  buffer.resize(front + entries * sizeof(VolumeInfo), '\0');
  return buffer;
}

class Volumes : public ApplianceTest {};

}  // namespace

TEST_F(Volumes, TheCountIsTheNumberOfTheLastLine) {
  const struct {
    const char* table;
    int count;
  } cases[] = {
      {"", 0},
      {"/dev/md0 /volume/v1\n", 1},
      {"/dev/md0 /volume/v1\n\n \n/dev/md1 /volume/v2\n", 4},
      {"a\nb", 2},
  };
  for (const auto& c : cases) {
    writeFile(kTable, c.table);
    int count = -1;
    int bytes = -1;
    EXPECT_EQ(0, Nas1GetVolumeCount(&count, &bytes)) << c.table;
    EXPECT_EQ(c.count, count) << c.table;
    EXPECT_EQ(c.count * 248, bytes) << c.table;
  }
  int count = -1;
  int bytes = -1;
  EXPECT_EQ(0, Nas1GetVolumeCount(nullptr, &bytes));
  EXPECT_EQ(0, bytes) << "nothing is counted without a count";
  EXPECT_EQ(0, Nas1GetVolumeCount(&count, nullptr));
  EXPECT_EQ(2, count);
  (void)unlink(kTable);
  EXPECT_EQ(0, Nas1GetVolumeCount(&count, &bytes));
  EXPECT_EQ(0, count);
  EXPECT_EQ(0, bytes);
}

TEST_F(Volumes, EachLineOfTwoWordsIsAVolumeUpToTheFirstThatIsNot) {
  const VolumeInfo first = volume("/dev/md0", "/volume/v1", "v1");
  const std::string line31 = "/dev/" + std::string(26, 'd') + " /volume/" + std::string(23, 'm');
  const VolumeInfo cut = volume(line31.substr(0, 31).c_str(), line31.substr(32).c_str(), std::string(23, 'm').c_str());
  const struct {
    const char* name;
    std::string table;
    std::vector<VolumeInfo> volumes;
  } cases[] = {
      {"two",
       "/dev/md0 /volume/v1 ext3 defaults 0 0\n\t/dev/md1\t /volume/v2",
       {first, volume("/dev/md1", "/volume/v2", "v2")}},
      {"blank line ends the list", "/dev/md0 /volume/v1\n\n/dev/md1 /volume/v2\n", {first}},
      {"one word ends the list", "/dev/md0 /volume/v1\nproc\n/dev/md1 /volume/v2\n", {first}},
      {"short mount points",
       "a /volume\nb /volume/\nc /volume/d\n",
       {volume("a", "/volume", ""), volume("b", "/volume/", ""), volume("c", "/volume/d", "d")}},
      {"31 characters", line31 + "\n", {cut}},
      {"longer words are cut", "/dev/" + std::string(100, 'd') + " /volume/" + std::string(100, 'm') + "\n", {cut}},
      {"empty", "", {}},
  };
  for (const auto& c : cases) {
    writeFile(kTable, c.table);
    EXPECT_EQ(expected(c.volumes, 4), listed(4)) << c.name;
  }
  (void)unlink(kTable);
  EXPECT_EQ(expected({}, 2), listed(2)) << "no table";
}

TEST_F(Volumes, OnlyWholeEntriesAreWritten) {
  writeFile(kTable, "/dev/md0 /volume/v1\n/dev/md1 /volume/v2\n");
  const std::string entry = bytesOf(volume("/dev/md0", "/volume/v1", "v1"));
  for (const int size : {1, 247, 248, 495}) {
    std::string buffer(600, 'b');
    EXPECT_EQ(size / 248, Nas1ListVolume(reinterpret_cast<VolumeInfo*>(buffer.data()), size)) << size;
    std::string wanted = size < 248 ? "" : entry;
    wanted.resize(static_cast<std::size_t>(size), '\0');
    wanted.resize(buffer.size(), 'b');
    EXPECT_EQ(wanted, buffer) << size;
  }
  VolumeInfo untouched = volume("x", "y", "z");
  EXPECT_EQ(0, Nas1ListVolume(&untouched, 0));
  EXPECT_EQ(0, Nas1ListVolume(&untouched, -248));
  EXPECT_EQ(0, Nas1ListVolume(nullptr, 248));
  EXPECT_EQ(248u, untouched.size);
  EXPECT_EQ(SIGABRT, inChild([] { (void)sysListVolume(nullptr, 248); }).signal);
}

TEST_F(Volumes, TheSnapshotBlockIsTheVolumesOwnRecord) {
  setDefaults("DEF_SNAPSHOT_RESERVED 20\n");
  writeFile(kTable, "/dev/md0 /volume/v1\n/dev/md1 /volume/v2\n/dev/md2 /volume/v3\n");
  const uint32_t record[] = {1, 2, 3, 4, 0xFFFFFFFF};
  storeRecord("system.gdbm", "NAS1_SNAPSHOT_CONFIGv1", bytesOf(record));
  storeRecord("system.gdbm", "NAS1_SNAPSHOT_CONFIGv3", bytesOf(record).substr(0, 6));
  VolumeInfo volumes[] = {volume("/dev/md0", "/volume/v1", "v1"), volume("/dev/md1", "/volume/v2", "v2"),
                          volume("/dev/md2", "/volume/v3", "v3")};
  std::memcpy(volumes[0].snapshot, record, sizeof record);
  const uint32_t reserved = 20;
  std::memcpy(volumes[1].snapshot, &reserved, sizeof reserved);
  std::memcpy(volumes[2].snapshot, record, 6);
  EXPECT_EQ(expected({volumes[0], volumes[1], volumes[2]}, 3), listed(3));
}
