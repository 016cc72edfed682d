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
  EXPECT_EQ((Results{-1, -1, -2, -2}),
            (Results{NasGetConfig("", 4, &value, nullptr), NasGetConfig("UID_START", -1, &value, nullptr),
                     NasGetConfig("uid_start", 0, nullptr, nullptr),
                     NasGetConfig(std::string(100, 'K').c_str(), 4, &value, nullptr)}));
  // An unknown key before a missing value, which comes before a read-only key.
  EXPECT_EQ((Results{-2, -1, -3, -1, -1}),
            (Results{NasSetConfig("NONE", 0, nullptr), NasSetConfig("CPU_THERMAL", 4, nullptr),
                     NasSetConfig("CPU_THERMAL", 4, &value), NasSetConfig("UID_START", 0, &value),
                     Nas1SetConfig(UID_START, 3, &value)}))
      << "an integer needs its 4 bytes";
  EXPECT_EQ(Lines{}, storedKeys(kRecords));
  EXPECT_EQ((Lines{"<INFO> [SW]   system.c:510 Not Support for Type: uid_start",
                   "<INFO> [SW]   system.c:510 Not Support for Type: " + std::string(63, 'K'),
                   "<INFO> [SW]   system.c:554 Not Support for Type: NONE",
                   "<INFO> [SW]   system.c:549 NotImplement for Type: 45"}),
            applianceMessages());
}

TEST_F(Settings, ValuesAreCutToTheBuffer) {
  storeRecord(kRecords, "TEST_STRING", std::string("abcdef\0", 7));
  storeRecord(kRecords, "SNMP_CONTACT", std::string("abcdef\0", 7));
  const struct {
    const char* key;  // null: by number
    int number, size, result, length;
    const char* bytes;
  } cases[] = {
      {"TEST_STRING", 0, 3, 0, 4, "abc"},         // cut without a NUL
      {"TEST_STRING", 0, 9, 0, 7, "abcdef\0uu"},  // what was stored, not more
      {nullptr, CONTACT, 4, 0, 4, "abc\0"},       // the others cut and terminate
      {nullptr, TRAP, 4, -1, -99, "\0\0\0\0"},   {nullptr, COMMUNITY, 4, 0, 4, "ope\0"},
      {nullptr, SNMP_STATE, 2, 0, 2, "\0\0"},
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
    for (const char* record : {"CIFS_GROUP_NAME", "UID_START", "SNMP_CONTACT", "SNMP_STATE"})
      storeRecord(kRecords, record, part);
    for (const int text : {CONTACT, GROUP}) EXPECT_EQ(part, Read(nullptr, text, 32).bytes.c_str()) << text;
    for (const int word : {UID_START, SNMP_STATE})
      EXPECT_EQ(padded(part.substr(0, 4), 4), Read(nullptr, word, 4).bytes) << word;
  }
}

TEST_F(Settings, ValuesByNumberAreTrimmedAsTextsWhateverTheyAre) {
  const struct {
    int number;
    const char* key;
    std::string given, stored;
  } cases[] = {
      {GROUP, "CIFS_GROUP_NAME", std::string("  a b  \0", 8), std::string("a b\0b\0\0\0", 8)},  // moved with its NUL
      {UID_START, "UID_START", bytesOf(0x20010101), bytesOf(0x00010101)},
      {UID_START, "UID_START", bytesOf(0x20000001), bytesOf(0x20000001)},  // behind a zero byte the text is over
  };
  for (const auto& c : cases) {
    std::string value = c.given;
    EXPECT_EQ(0, Nas1SetConfig(c.number, static_cast<int>(value.size()), value.data()));
    EXPECT_EQ(c.stored, value) << "in the caller's buffer";
    EXPECT_EQ(c.stored, storedRecord(kRecords, c.key));
  }
  char text[] = {'a', 'b', 'c'};
  EXPECT_EQ(Results(2, 0), (Results{Nas1SetConfig(GROUP, 3, text), NasSetConfig("CIFS_GROUP_NAME", 2, text)}));
  EXPECT_EQ(Lines{"err protocols.c:196 Data of the Config[CIFS_GROUP_NAME] is not ASCIIZ "}, systemLog())
      << "by number alone";
}

TEST_F(Settings, ServerNamesComeFromTheHardwareAndStayDistinct) {
  const std::string address = textOf("ETHERNET_ADDRESS_1");
  ASSERT_LT(8U, address.size());
  EXPECT_EQ(address, textOf("CIFS_SERVER_NAME"));
  EXPECT_EQ("NCP" + address, textOf("NCP_SERVER_NAME"));
  EXPECT_EQ("NCP" + address.substr(0, 1) + '\0', Read("NCP_SERVER_NAME", 0, 5).bytes) << "cut";
  EXPECT_EQ(Lines{}, storedKeys(kRecords)) << "a fallback is not stored";

  EXPECT_EQ(-1, setText("CIFS_SERVER_NAME", "NCP" + address)) << "the other one's fallback";
  EXPECT_EQ(0, setText("NCP_SERVER_NAME", "SAME"));
  EXPECT_EQ(Lines{},
            commandsOf([] { EXPECT_EQ(-1, NasSetConfig("CIFS_SERVER_NAME", 4, "SAME")) << "also without its NUL"; }));
  EXPECT_EQ((Results{0, 0, -1, 0}), (Results{setText("CIFS_SERVER_NAME", "SAM"), setText("CIFS_SERVER_NAME", "Same"),
                                             setText("NCP_SERVER_NAME", "Same"), setText("AFP_SERVER_NAME", "Same")}))
      << "compared as they are";
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

TEST_F(Settings, NumbersMayHaveNoNameNoSetterOrNoHandlerAtAll) {
  for (const auto& [number, record] : {std::pair(84, "SNMP_LOCATION"), {85, "SNMP_RO_COMM"}, {120, "AFP_ZONE"}}) {
    std::string value = padded(record, 30);
    EXPECT_EQ(0, Nas1SetConfig(number, 30, value.data())) << record;
    EXPECT_EQ(value, storedRecord(kRecords, record));
    EXPECT_EQ(value, Read(nullptr, number, 30).bytes) << record;
  }
  for (const int installed : {0, 1}) {
    writeFile("/etc/service.zelmar", installed != 0 ? "lvm=yes\n" : "lvm=no\n");
    int stored = 2;
    EXPECT_EQ(0, Nas1SetConfig(79, 4, &stored));
    EXPECT_EQ(bytesOf(installed), Read(nullptr, 79, 4).bytes) << "not what was stored";
  }
  int value = 1;
  EXPECT_EQ(std::string(4, '\0'), Read(nullptr, 27, 4).bytes);
  EXPECT_EQ((Results{0, 0, -1, -1}), (Results{Nas1SetConfig(27, 4, &value), Nas1SetConfig(23, 4, &value),
                                              Nas1SetConfig(122, 4, &value), Nas1GetConfig(-1, 4, &value, nullptr)}));
  EXPECT_EQ((Lines{"err system.c:1266 NotImplement for Type: 27", "err system.c:1291 NotImplement for Type: 27",
                   "err system.c:1291 NotImplement for Type: 23"}),
            systemLog());
}
