// The volume table as it is counted and listed.

#include "share/volumes.h"

#include "frame/appliance.h"

namespace {

constexpr char kTable[] = "/etc/fstab.zelmar";

using Volumes = ApplianceTest;

std::string entry(const std::string& device, const std::string& mount, const std::string& name,
                  const std::string& snapshot = "") {
  return bytesOf(std::uint32_t{248}) + padded(device, 32) + padded(mount, 32) + padded(name, 32) +
         padded(snapshot, 148);
}

// What a call with that size leaves in a buffer of four entries, with its result in front.
std::string listed(int size) {
  std::string buffer(4 * sizeof(VolumeInfo), 'b');
  const int count = Nas1ListVolume(reinterpret_cast<VolumeInfo*>(buffer.data()), size);
  return std::to_string(count) + buffer;
}

std::string expected(int size, const Lines& entries) {
  std::string buffer = std::to_string(entries.size());
  for (const std::string& bytes : entries) buffer += bytes;
  buffer.resize(1 + static_cast<std::size_t>(size), '\0');
  buffer.resize(1 + 4 * sizeof(VolumeInfo), 'b');
  return buffer;
}

}  // namespace

TEST_F(Volumes, EachLineOfTwoWordsIsAVolumeUpToTheFirstThatIsNot) {
  const std::string first = entry("/dev/md0", "/volume/v1", "v1");
  const std::string device31 = "/dev/" + std::string(26, 'd');
  const std::string name23(23, 'm');
  int count = -1;
  const struct {
    const char* name;
    std::string table;
    int count;  // of lines
    Lines entries;
  } cases[] = {
      {"blanks, no newline", "/dev/md0 /volume/v1 ext3\n\t/dev/md1 \tm", 2, {first, entry("/dev/md1", "m", "")}},
      {"blank lines", "/dev/md0 /volume/v1\n\n \n/dev/md1 /volume/v2\n", 4, {first}},
      {"one word", "/dev/md0 /volume/v1\nproc\n/dev/md1 /volume/v2\n", 3, {first}},
      {"no name", "a /volume\nb /volume/\n", 2, {entry("a", "/volume", ""), entry("b", "/volume/", "")}},
      {"words over 31 characters are cut",
       device31 + "ddd /volume/" + name23 + "mmmmmmmmmmmmmmmmm\n",
       1,
       {entry(device31, "/volume/" + name23, name23)}},
      {"empty", "", 0, {}},
  };
  for (const auto& c : cases) {
    writeFile(kTable, c.table);
    int bytes = -1;
    EXPECT_EQ(0, Nas1GetVolumeCount(&count, &bytes));
    EXPECT_EQ((Results{c.count, c.count * 248}), (Results{count, bytes})) << c.name;
    EXPECT_EQ(expected(3 * 248, c.entries), listed(3 * 248)) << c.name;
  }
  (void)unlink(kTable);
  EXPECT_EQ(expected(248, {}), listed(248)) << "no table";
}

TEST_F(Volumes, OnlyWholeEntriesAreWrittenEachWithItsSnapshotRecord) {
  setDefaults("DEF_SNAPSHOT_RESERVED 20\n");
  writeFile(kTable, "/dev/md0 /volume/v1\n/dev/md1 /volume/v2\n/dev/md2 /volume/v3\n");
  storeRecord("system.gdbm", "NAS1_SNAPSHOT_CONFIGv1", std::string(20, '1'));
  storeRecord("system.gdbm", "NAS1_SNAPSHOT_CONFIGv3", "short");
  const Lines entries = {entry("/dev/md0", "/volume/v1", "v1", std::string(20, '1')),
                         entry("/dev/md1", "/volume/v2", "v2", bytesOf(std::uint32_t{20})),
                         entry("/dev/md2", "/volume/v3", "v3", "short")};
  for (const int size : {247, 248, 495, 992})
    EXPECT_EQ(expected(size, Lines(entries.begin(), entries.begin() + std::min(size / 248, 3))), listed(size)) << size;
}
