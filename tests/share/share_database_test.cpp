// The share database: what is stored, byte by byte, what callers get to see of it, and what damaged records do.

#include "share/share_database.h"

#include "frame/appliance.h"

namespace {

constexpr char kRecords[] = "share.gdbm";
constexpr char kPath[] = "/volume/v1/shared";

// Everything that hangs on a share, in the order of deletion.
constexpr const char* entryFiles[] = {"share_nfs.gdbm", "user_local.gdbm", "user_smb.gdbm",
                                      "user_nfs.gdbm",  "user_ncp.gdbm",   "user_afp.gdbm"};

using ShareDatabase = ApplianceTest;

int add(std::string name, const char* comment = "comment", const char* path = kPath) {
  return Nas1ShareAdd(name.data(), comment, path);
}

std::string infoOf(const std::string& name, const std::string& comment, const std::string& path) {
  return bytesOf(static_cast<std::uint32_t>(104 + path.size())) + padded(name, 32) + padded(comment, 64) +
         padded(path, path.size() + 4);
}

std::string recordOf(const std::string& name, const std::string& comment, const std::string& path,
                     const std::string& readOnly = "", const std::string& readWrite = "", int home = 0) {
  return padded("", 4) + padded(readOnly, 32) + padded(readWrite, 32) + bytesOf(home) + padded("", 28) +
         infoOf(name, comment, path);
}

// The system log's lines without the source and line number.
Lines messages() {
  Lines lines = systemLog();
  for (std::string& line : lines) {
    const std::size_t start = line.find("share_database.cpp:");
    if (start != std::string::npos) line.erase(start, line.find(' ', start) - start);
  }
  return lines;
}

}  // namespace

TEST_F(ShareDatabase, AShareIsStoredWholeAndItsDirectoryMade) {
  setDefaults("DEFAULT_SHARE_RO_PASSWD=name\nDEFAULT_SHARE_RW_PASSWD=Name\n");
  char name[] = "  Name of it ";
  EXPECT_EQ(0, Nas1ShareAdd(name, "a comment", kPath));
  EXPECT_STREQ("Name of it", name) << "trimmed in the caller's buffer";
  const std::string stored = recordOf("Name of it", "a comment", kPath, "Name of it", "Name");
  EXPECT_EQ(stored, storedRecord(kRecords, "Name of it")) << "the word name stands for the share's own";
  EXPECT_TRUE(exists(kPath));
  setDefaults("");
  EXPECT_EQ(-1, add("Name of it", "another", "/volume/v1/other"));
  EXPECT_EQ(stored, storedRecord(kRecords, "Name of it"));
  EXPECT_FALSE(exists("/volume/v1/other")) << "no directory for a refused share";

  const std::string name31(31, 'n'), comment63(63, 'c');
  EXPECT_EQ(0, add(" " + name31 + " ", comment63.c_str())) << "measured after trimming; names differ by case";
  EXPECT_EQ(recordOf(name31, comment63, kPath, "Name of it", "Name").size(), storedRecord(kRecords, name31)->size());
  for (const auto& [comment, path] : {std::pair<const char*, const char*>("", ""), {"", nullptr}, {nullptr, kPath}})
    EXPECT_EQ(Results(2, -1), (Results{add(name31 + ' ', comment, path), Nas1ShareMod(name31.c_str(), comment, path)}));
}

TEST_F(ShareDatabase, AModifiedShareKeepsItsSettings) {
  storeRecord(kRecords, "it", recordOf("it", std::string(63, 'c'), "/volume/v1/of some length", "ro", "rw", 1));
  for (const std::string& path : {std::string("/x"), "/volume/v1/" + std::string(200, 'p')}) {
    EXPECT_EQ(0, Nas1ShareMod("it", "new", path.c_str()));
    EXPECT_EQ(recordOf("it", "new", path, "ro", "rw", 1), storedRecord(kRecords, "it")) << "nothing of the old shows";
    EXPECT_TRUE(exists(path));
  }
  std::filesystem::remove("/x");
  EXPECT_EQ(-1, Nas1ShareMod(" it ", "", "/volume/v1/none")) << "not trimmed";
  EXPECT_FALSE(exists("/volume/v1/none"));
  EXPECT_EQ(Lines{"err Warnning! No such Data"}, messages());
}

TEST_F(ShareDatabase, ADeletedShareTakesAllThatHangsOnItAlong) {
  for (const int reserve : {1, 2}) {
    ASSERT_EQ(0, add("gone"));
    ASSERT_EQ(0, NasSetConfig("RESERVE_SHARE_PATH", sizeof reserve, &reserve));
    for (const char* file : entryFiles) {
      storeRecord(file, "gone", "x");
      storeRecord(file, "stays", "y");
    }
    writeFile(std::string(kPath) + "/file", "content");
    EXPECT_EQ(0, Nas1ShareDel("gone"));
    for (const char* file : entryFiles) EXPECT_EQ(Lines{"stays"}, storedKeys(file)) << file;
    EXPECT_EQ(Lines{}, storedKeys(kRecords));
    EXPECT_EQ(reserve == 1, exists(kPath)) << reserve;
  }

  // Kept: the directory goes also when the record could not be deleted.
  ASSERT_EQ(0, add("it"));
  for (const char* file : {"share_nfs.gdbm", "user_smb.gdbm", "user_ncp.gdbm"}) storeRecord(file, "it", "x");
  blockFile("/etc/admin/user_nfs.gdbm");
  EXPECT_EQ(-1, Nas1ShareDel("it"));
  EXPECT_FALSE(exists(kPath));
  EXPECT_EQ(Lines{"it"}, storedKeys(kRecords));
  EXPECT_EQ(Lines{"stays"}, storedKeys("user_smb.gdbm")) << "before the file that could not be opened";
  EXPECT_EQ((Lines{"it", "stays"}), storedKeys("user_ncp.gdbm")) << "behind it";
}

TEST_F(ShareDatabase, SharesAreReadAsFarAsTheBufferGoes) {
  std::string list, blocks[4];
  for (int i = 0; i < 4; ++i)
    ASSERT_EQ(0, add("share" + std::to_string(i), "c", ("/volume/v1/" + std::string(i + 1U, 'p')).c_str()));
  for (int i = 0; i < 4; ++i) {
    char name[256];
    ASSERT_EQ(1, Nas1ShareList(i, 1, name, sizeof name));
    blocks[i] = infoOf(name + 4, "c", "/volume/v1/" + std::string(name[9] - '0' + 1U, 'p'));
    list += blocks[i];
    for (const std::size_t room : {std::size_t{1}, std::size_t{104}, blocks[i].size() + 20}) {
      std::string buffer(room, 'u');
      EXPECT_EQ(0, Nas1GetShareInfo(name + 4, buffer.data(), static_cast<int>(room)));
      EXPECT_EQ(padded(blocks[i], room), buffer);
    }
  }
  EXPECT_EQ(-1, Nas1GetShareInfoSize("Share1")) << "names differ by case";
  int count = -1;
  int bytes = -1;
  EXPECT_EQ(0, Nas1ShareCountSize(&count, &bytes));
  EXPECT_EQ((Results{4, static_cast<int>(list.size())}), (Results{count, bytes}));

  const std::string firstTwo = blocks[0] + blocks[1], sizeWord = blocks[2].substr(0, 4);
  const struct {
    int start, count;
    std::size_t room;
    int copied;
    std::string content;
  } cases[] = {
      {0, 99, list.size() + 9, 4, list},
      {-3, 2, list.size(), 2, firstTwo},
      {2, 9, list.size(), 2, blocks[2] + blocks[3]},
      {INT32_MAX, INT32_MAX, 99, 0, ""},
      {0, 5, firstTwo.size() + 4, 2, firstTwo + sizeWord},
      {0, 5, firstTwo.size() + 3, 2, firstTwo},
      {2, 5, blocks[2].size() - 1, 0, sizeWord},
  };
  for (const auto& c : cases) {
    std::string buffer(c.room, 'u');
    EXPECT_EQ(c.copied, Nas1ShareList(c.start, c.count, buffer.data(), static_cast<int>(c.room))) << c.start;
    EXPECT_EQ(padded(c.content, c.room), buffer) << c.start << ' ' << c.room;
  }
  EXPECT_EQ(Lines{"err Warnning! No such Data"} + Lines(3, "err Warnning!sysShareList output buffer too small"),
            messages());
}

TEST_F(ShareDatabase, SettingsAreReadAndStoredByTheirType) {
  ASSERT_EQ(0, add("it"));
  const int home = 1;
  EXPECT_EQ(0, NasShareSetConfig("it", "ro_passwd", 0, "read")) << "the length is not used";
  EXPECT_EQ(0, NasShareSetConfig("it", "rw_passwd", 32, std::string(40, 'w').c_str()));
  EXPECT_EQ(0, NasShareSetConfig("it", "is_home", 4, &home));
  const std::string stored = recordOf("it", "comment", kPath, "read", std::string(31, 'w'), 1);
  EXPECT_EQ(stored, storedRecord(kRecords, "it"));

  const struct {
    const char* type;
    int length, result, outLength;
    std::string out;
  } cases[] = {
      {"ro_passwd", 32, 0, 5, padded("read", 33)},
      {"ro_passwd", 2, 0, 3, padded("re", 3)},
      {"is_home", 2, 0, 2, padded("\1", 2)},
      {"is_home", 40, 0, 4, padded("\1", 32)},
      {"passwd", 4, -2, -99, ""},
      {"ro_passwd", -1, -1, -99, ""},
  };
  for (const auto& c : cases) {
    std::string out(c.out.size(), 'u');
    int length = -99;
    EXPECT_EQ(c.result, NasShareGetConfig("it", c.type, c.length, out.data(), &length)) << c.length;
    EXPECT_EQ(c.outLength, length) << c.length;
    EXPECT_EQ(c.out, out) << c.length;
  }
  char password[33];
  EXPECT_EQ(0, Nas1ShareGetPassword("it", 0, password));
  EXPECT_STREQ("read", password);
  EXPECT_EQ((Results{-2, -1, -1}),
            (Results{NasShareSetConfig("it", "passwd", 4, "x"), Nas1ShareGetPassword("none", 0, password),
                     Nas1ShareSetPassword("it", 0, std::string(32, 'x').c_str())}));
  EXPECT_EQ(stored, storedRecord(kRecords, "it"));
  EXPECT_EQ((Lines{"err Warning! No such Type:passwd", "err Warning! No such Type:passwd",
                   "err Warning! No Such Share:none"}),
            messages());
}

TEST_F(ShareDatabase, DamagedRecordsAreNeverReadPastTheirEnd) {
  const std::string whole = recordOf("it", "comment", kPath, "ro", "rw");
  Lines damaged;
  for (std::size_t bytes = 0; bytes < whole.size(); ++bytes) damaged.push_back(whole.substr(0, bytes));
  for (const std::uint32_t size : {0U, 103U, 0xFFFFFFFFU, static_cast<unsigned>(whole.size())}) {
    damaged.push_back(whole);
    std::memcpy(&damaged.back()[100], &size, sizeof size);
  }
  for (const auto& [at, bytes] : {std::pair{104U, 32U}, {136U, 64U}, {200U, static_cast<unsigned>(whole.size()) - 200}})
    damaged.push_back(std::string(whole).replace(at, bytes, bytes, 'x'));
  for (const std::string& value : damaged) {
    storeRecord(kRecords, "it", value);
    char buffer[256];
    int count = 0;
    int bytes = -1;
    const int settings = value.size() < 204 ? -1 : 0;
    EXPECT_EQ((Results{-1, 0, 0, -1, settings, settings}),
              (Results{Nas1GetShareInfo("it", buffer, sizeof buffer), Nas1ShareList(0, 9, buffer, sizeof buffer),
                       Nas1ShareCountSize(&count, &bytes), Nas1ShareDel("it"), Nas1ShareGetPassword("it", 0, buffer),
                       Nas1ShareSetPassword("it", 0, "ro")}))
        << value.size();
    EXPECT_EQ((Results{1, 0}), (Results{count, bytes})) << value.size();
  }
  EXPECT_EQ(0, Nas1ShareMod("it", "comment", kPath)) << "a modification mends what is broken behind the settings";
  EXPECT_EQ(whole, storedRecord(kRecords, "it"));

  blockFile("/etc/admin/share.gdbm");
  int count = -1;
  EXPECT_EQ(-1, add("other", "", "/volume/v1/other"));
  EXPECT_FALSE(exists("/volume/v1/other"));
  EXPECT_EQ(-1, sysShareDel("it"));
  EXPECT_EQ(0, Nas1ShareCountSize(&count, nullptr));
  EXPECT_EQ(0, count);
}
