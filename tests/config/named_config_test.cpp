// Reading and writing settings: results, cut values, conditions, and records as other processes may have left them.

#include "frame/appliance.h"

namespace {

using Settings = ApplianceTest;

constexpr char kRecords[] = "system.gdbm";

// Numbers of keys: text, integer; and of records that have a number alone.
enum { GROUP = 3, UID_START = 116, SNMP_STATE = 80, CONTACT = 83, COMMUNITY = 85, TRAP = 87 };

int setText(const char* key, const std::string& text) {
  return NasSetConfig(key, static_cast<int>(text.size()) + 1, text.c_str());
}

std::string textOf(const char* key) {
  char buffer[65] = {};
  EXPECT_LE(0, NasGetConfig(key, 64, buffer, nullptr)) << key;
  return buffer;
}

// A read into a buffer of `size` bytes whose end is watched.
struct Read {
  int result;
  int length = -99;
  std::string bytes = std::string(40, 'u');

  Read(const char* key, int number, int size) {
    result = key != nullptr ? NasGetConfig(key, size, bytes.data(), &length)
                            : Nas1GetConfig(number, size, bytes.data(), &length);
    EXPECT_EQ(std::string(40 - static_cast<std::size_t>(size), 'u'), bytes.substr(static_cast<std::size_t>(size)));
    bytes.resize(static_cast<std::size_t>(size));
  }
};

}  // namespace

TEST_F(Settings, BadArgumentsAreRefusedInTheirOrder) {
  int value = 1;
  EXPECT_EQ((Results{-1, -1, -1, -2, -2}),
            (Results{NasGetConfig(nullptr, 4, &value, nullptr), NasGetConfig("", 4, &value, nullptr),
                     NasGetConfig("UID_START", -1, &value, nullptr), NasGetConfig("uid_start", 0, nullptr, nullptr),
                     NasGetConfig(std::string(100, 'K').c_str(), 4, &value, nullptr)}));
  // An unknown key before a missing value, which comes before a read-only key.
  EXPECT_EQ((Results{-1, -1, -2, -1, -3}),
            (Results{NasSetConfig(nullptr, 4, &value), NasSetConfig("", 4, &value), NasSetConfig("NONE", 0, nullptr),
                     NasSetConfig("CPU_THERMAL", 4, nullptr), NasSetConfig("CPU_THERMAL", 4, &value)}));
  for (const int size : {0, -1})
    EXPECT_EQ(Results(3, -1), (Results{NasSetConfig("UID_START", size, &value), Nas1SetConfig(UID_START, size, &value),
                                       Nas1GetConfig(UID_START, size, &value, nullptr)}));
  EXPECT_EQ(Results(3, -1), (Results{Nas1GetConfig(UID_START, 4, nullptr, nullptr),
                                     Nas1SetConfig(UID_START, 4, nullptr), Nas1SetConfig(UID_START, 3, &value)}))
      << "an integer needs its 4 bytes";
  EXPECT_EQ(1, value);
  EXPECT_EQ(Lines{}, storedKeys(kRecords));
  EXPECT_EQ((Lines{"<INFO> [SW]   system.c:510 Not Support for Type: uid_start",
                   "<INFO> [SW]   system.c:510 Not Support for Type: " + std::string(63, 'K'),
                   "<INFO> [SW]   system.c:554 Not Support for Type: NONE",
                   "<INFO> [SW]   system.c:549 NotImplement for Type: 45"}),
            applianceMessages());
}

TEST_F(Settings, ValuesAreCutToTheBuffer) {
  storeRecord(kRecords, "TEST_STRING", std::string("abcdef\0", 7));
  storeRecord(kRecords, "TEST_INTEGER", "\1\2\3\4");
  storeRecord(kRecords, "SNMP_CONTACT", std::string("abcdef\0", 7));
  const struct {
    const char* key;  // null: by number
    int number, size, result, length;
    const char* bytes;
  } cases[] = {
      {"TEST_STRING", 0, 3, 0, 4, "abc"},                                                  // cut without a NUL
      {"TEST_STRING", 0, 7, 0, 7, "abcdef\0"}, {"TEST_STRING", 0, 9, 0, 7, "abcdef\0uu"},  // what was stored, not more
      {"TEST_INTEGER", 0, 1, 0, 1, "\1"},      {"TEST_INTEGER", 0, 6, 0, 4, "\1\2\3\4uu"},
      {nullptr, CONTACT, 4, 0, 4, "abc\0"},  // the others cut and terminate
      {nullptr, CONTACT, 1, 0, 1, "\0"},       {nullptr, CONTACT, 9, 0, 7, "abcdef\0\0\0"},
      {nullptr, TRAP, 4, -1, -99, "\0\0\0\0"}, {nullptr, COMMUNITY, 10, 0, 7, "opensv\0\0\0\0"},
      {nullptr, COMMUNITY, 4, 0, 4, "ope\0"},  {nullptr, SNMP_STATE, 2, 0, 2, "\0\0"},
  };
  for (const auto& c : cases) {
    const Read read(c.key, c.number, c.size);
    EXPECT_EQ((Results{c.result, c.length}), (Results{read.result, read.length})) << c.number << ", " << c.size;
    EXPECT_EQ(std::string(c.bytes, static_cast<std::size_t>(c.size)), read.bytes) << c.number << ", " << c.size;
  }
}

TEST_F(Settings, RecordsCutAnywhereAreReadWithinTheirBytes) {
  const std::string whole = "0123456789";
  for (std::size_t bytes = 0; bytes <= whole.size(); ++bytes) {
    const std::string part = whole.substr(0, bytes);
    for (const char* record : {"TEST_STRING", "CIFS_GROUP_NAME", "UID_START", "SNMP_CONTACT", "SNMP_STATE"})
      storeRecord(kRecords, record, part);
    EXPECT_EQ(static_cast<int>(bytes) + 1, Read(nullptr, CONTACT, 32).length);
    EXPECT_EQ(part, Read(nullptr, CONTACT, 32).bytes.c_str());
    EXPECT_EQ(part, Read(nullptr, GROUP, 32).bytes.c_str());
    EXPECT_EQ(part, textOf("TEST_STRING"));
    const std::string word = padded(part.substr(0, 4), 4);
    EXPECT_EQ(word, Read(nullptr, UID_START, 4).bytes);
    EXPECT_EQ(word, Read(nullptr, SNMP_STATE, 4).bytes);
  }
}

TEST_F(Settings, ValuesByNumberAreTrimmedAsTextsWhateverTheyAre) {
  const struct {
    int number;
    const char* key;
    std::string given, stored;
  } cases[] = {
      {GROUP, "CIFS_GROUP_NAME", std::string("  a b  \0", 8), std::string("a b\0b\0\0\0", 8)},  // moved with its NUL
      {GROUP, "CIFS_GROUP_NAME", std::string("   \0", 4), std::string("\0\0\0\0", 4)},
      {GROUP, "CIFS_GROUP_NAME", std::string("a\0 b\0", 5), std::string("a\0 b\0", 5)},
      {UID_START, "UID_START", bytesOf(0x20010101), bytesOf(0x00010101)},
      {UID_START, "UID_START", bytesOf(0x20202020), bytesOf(0)},
      {UID_START, "UID_START", bytesOf(0x20000001), bytesOf(0x20000001)},  // behind a zero byte the text is over
      {UID_START, "UID_START", bytesOf(0x00010120), bytesOf(0x00000101)},
  };
  for (const auto& c : cases) {
    std::string value = c.given;
    EXPECT_EQ(0, Nas1SetConfig(c.number, static_cast<int>(value.size()), value.data()));
    EXPECT_EQ(c.stored, value) << "in the caller's buffer";
    EXPECT_EQ(c.stored, storedRecord(kRecords, c.key));
  }
  char text[] = {'a', 'b', 'c'};
  EXPECT_EQ(0, Nas1SetConfig(GROUP, sizeof text, text));
  EXPECT_EQ("abc", storedRecord(kRecords, "CIFS_GROUP_NAME"));
  EXPECT_EQ(0, NasSetConfig("CIFS_GROUP_NAME", 2, text));
  EXPECT_EQ(Lines{"err protocols.c:196 Data of the Config[CIFS_GROUP_NAME] is not ASCIIZ "}, systemLog())
      << "by number alone";
}

TEST_F(Settings, ServerNamesComeFromTheHardwareAndStayDistinct) {
  const std::string address = textOf("ETHERNET_ADDRESS_1");
  ASSERT_LT(8U, address.size());
  EXPECT_EQ(address, textOf("CIFS_SERVER_NAME"));
  EXPECT_EQ(address, textOf("AFP_SERVER_NAME"));
  EXPECT_EQ("NCP" + address, textOf("NCP_SERVER_NAME"));
  const Read cut("NCP_SERVER_NAME", 0, 5);
  EXPECT_EQ("NCP" + address.substr(0, 1) + '\0', cut.bytes);
  EXPECT_EQ(5, cut.length);
  EXPECT_EQ(Lines{}, storedKeys(kRecords)) << "a fallback is not stored";

  EXPECT_EQ(-1, setText("CIFS_SERVER_NAME", "NCP" + address)) << "the other one's fallback";
  EXPECT_EQ(0, setText("NCP_SERVER_NAME", "SAME"));
  const Lines told = commands();
  EXPECT_EQ(Results(2, -1), (Results{setText("CIFS_SERVER_NAME", "SAME"), NasSetConfig("CIFS_SERVER_NAME", 4, "SAME")}))
      << "also without its NUL";
  EXPECT_EQ(Lines{"NCP_SERVER_NAME"}, storedKeys(kRecords));
  EXPECT_EQ(told, commands()) << "nobody is told of a refused name";
  EXPECT_EQ((Results{0, 0, -1, 0}), (Results{setText("CIFS_SERVER_NAME", "SAM"), setText("CIFS_SERVER_NAME", "Same"),
                                             setText("NCP_SERVER_NAME", "Same"), setText("AFP_SERVER_NAME", "Same")}))
      << "compared as they are";

  EXPECT_EQ("", textOf("NCP_BINDERY_ADMIN_PASSWORD"));
  storeText("ADMIN_PASSWORD", "secret");
  EXPECT_EQ("secret", textOf("NCP_BINDERY_ADMIN_PASSWORD")) << "another key is its fallback";
}

TEST_F(Settings, TheSystemIdComesFromTheHardwareWhateverIsSet) {
  const std::string file = "/mnt/param/system.id";
  std::string id = textOf("ETHERNET_ADDRESS_1");
  std::erase_if(id, [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) == 0; });
  for (char& c : id) c = static_cast<char>(std::tolower(c));
  EXPECT_EQ("", textOf("SYSTEM_ID"));
  EXPECT_EQ(0, setText("SYSTEM_ID", "anything"));
  EXPECT_EQ(id + std::string(4, '\0'), readFile(file));
  EXPECT_EQ(id, textOf("SYSTEM_ID"));
  writeFile(file, "0123456789abcdef");
  EXPECT_EQ("0123456789abcdefuuuu", Read("SYSTEM_ID", 0, 20).bytes);
  EXPECT_EQ(0, setText("SYSTEM_ID", ""));
  EXPECT_EQ("0123456789abcdef", readFile(file + "~")) << "the one before is kept";
  writeFile(file, "0123456789abcde");
  EXPECT_EQ("", textOf("SYSTEM_ID")) << "a short file is none";
}

TEST_F(Settings, WithoutTheRecordFileDefaultsAreReadAndNothingIsSet) {
  setDefaults("TEST_STRING=default\nUID_START=7\n");
  blockFile("/etc/admin/system.gdbm");
  int value = 1;
  EXPECT_EQ(Results(2, -1), (Results{setText("TEST_STRING", "x"), Nas1SetConfig(UID_START, sizeof value, &value)}));
  const Read text("TEST_STRING", 0, 8);
  EXPECT_EQ(-1, text.result) << "it cannot be written back";
  EXPECT_EQ(std::string("default\0", 8), text.bytes);
  EXPECT_EQ(bytesOf(7), Read(nullptr, UID_START, 4).bytes);
  EXPECT_EQ((Results{0, -1}), (Results{Read("TEST_INTEGER", 0, 4).result, Read(nullptr, CONTACT, 4).result}));
}
