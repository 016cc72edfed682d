// Reading and writing settings: results, cut values, conditions, and records as other processes may have left them.

#include <cstring>
#include <filesystem>

#include "api/nas1api.h"
#include "config/handlers.h"
#include "frame/appliance.h"

namespace {

class Settings : public ApplianceTest {};

constexpr char kRecords[] = "system.gdbm";

int setText(const char* key, const std::string& text) {
  return NasSetConfig(key, static_cast<int>(text.size()) + 1, text.c_str());
}

std::string textOf(const char* key) {
  char buffer[65] = {};
  EXPECT_LE(0, NasGetConfig(key, 64, buffer, nullptr)) << key;
  return buffer;
}

// Reads with room for `size` bytes between two guards that must survive.
struct Buffer {
  std::string bytes = std::string(80, 'u');
  int length = -99;
  char* data() { return bytes.data() + 8; }
  std::string content(int size) {
    EXPECT_EQ(std::string(8, 'u'), bytes.substr(0, 8));
    EXPECT_EQ(std::string(72 - static_cast<std::size_t>(size), 'u'), bytes.substr(8 + static_cast<std::size_t>(size)));
    return bytes.substr(8, static_cast<std::size_t>(size));
  }
};

}  // namespace

TEST_F(Settings, BadArgumentsAreRefusedInTheirOrder) {
  int value = 1;
  EXPECT_EQ(-1, NasGetConfig(nullptr, 4, &value, nullptr));
  EXPECT_EQ(-1, NasGetConfig("", 4, &value, nullptr));
  EXPECT_EQ(-1, NasGetConfig("UID_START", -1, &value, nullptr));
  EXPECT_EQ(-2, NasGetConfig("uid_start", 4, &value, nullptr));
  EXPECT_EQ(-2, NasGetConfig("UID_START ", 0, nullptr, nullptr));
  EXPECT_EQ(-1, NasSetConfig(nullptr, 4, &value));
  EXPECT_EQ(-1, NasSetConfig("", 4, &value));
  EXPECT_EQ(-2, NasSetConfig("NONE", 0, nullptr)) << "an unknown key before a missing value";
  EXPECT_EQ(-1, NasSetConfig("CPU_THERMAL", 4, nullptr)) << "a missing value before a read-only key";
  EXPECT_EQ(-1, NasSetConfig("UID_START", 0, &value));
  EXPECT_EQ(-1, NasSetConfig("UID_START", -4, &value));
  EXPECT_EQ(-3, NasSetConfig("CPU_THERMAL", 4, &value));
  EXPECT_EQ(-2, NasGetConfig(std::string(100, 'K').c_str(), 4, &value, nullptr));
  EXPECT_EQ((Lines{"<INFO> [SW]   system.c:510 Not Support for Type: uid_start",
                   "<INFO> [SW]   system.c:510 Not Support for Type: UID_START ",
                   "<INFO> [SW]   system.c:554 Not Support for Type: NONE",
                   "<INFO> [SW]   system.c:549 NotImplement for Type: 45",
                   "<INFO> [SW]   system.c:510 Not Support for Type: " + std::string(63, 'K')}),
            applianceMessages());

  EXPECT_EQ(-1, Nas1GetConfig(116, 4, nullptr, nullptr));
  EXPECT_EQ(-1, Nas1GetConfig(116, 0, &value, nullptr));
  EXPECT_EQ(-1, Nas1GetConfig(116, -1, &value, nullptr));
  EXPECT_EQ(-1, Nas1SetConfig(116, 4, nullptr));
  EXPECT_EQ(-1, Nas1SetConfig(116, 0, &value));
  EXPECT_EQ(-1, Nas1SetConfig(116, -1, &value));
  EXPECT_EQ(-1, Nas1SetConfig(116, 3, &value)) << "an integer needs its 4 bytes";
  EXPECT_EQ(1, value);
  EXPECT_EQ(Lines{}, storedKeys(kRecords));
}

TEST_F(Settings, ValuesAreCutToTheBuffer) {
  ASSERT_EQ(0, setText("TEST_STRING", "abcdef"));
  const int number = 0x04030201;
  ASSERT_EQ(0, NasSetConfig("TEST_INTEGER", sizeof number, &number));
  const struct {
    const char* key;
    int size;
    int length;
    const char* bytes;
  } cases[] = {
      {"TEST_STRING", 3, 4, "abc"},         // cut without a NUL
      {"TEST_STRING", 6, 7, "abcdef"},      //
      {"TEST_STRING", 7, 7, "abcdef\0"},    //
      {"TEST_STRING", 9, 7, "abcdef\0uu"},  // what was stored, not more
      {"TEST_INTEGER", 1, 1, "\1"},         //
      {"TEST_INTEGER", 4, 4, "\1\2\3\4"},   //
      {"TEST_INTEGER", 6, 4, "\1\2\3\4uu"},
  };
  for (const auto& c : cases) {
    Buffer buffer;
    EXPECT_EQ(0, NasGetConfig(c.key, c.size, buffer.data(), &buffer.length)) << c.key << c.size;
    EXPECT_EQ(c.length, buffer.length) << c.key << c.size;
    EXPECT_EQ(std::string(c.bytes, static_cast<std::size_t>(c.size)), buffer.content(c.size)) << c.key << c.size;
  }
}

// The numbers whose key has no name read the record file by themselves, and terminate what they read.
TEST_F(Settings, DirectReadersCutAndTerminate) {
  enum { CONTACT = 83, COMMUNITY = 85, STATE = 80, TRAP = 87 };
  char contact[] = "abcdef";
  ASSERT_EQ(0, Nas1SetConfig(CONTACT, sizeof contact, contact));
  int state = 0x04030201;
  const struct {
    int number;
    int size;
    int result;
    int length;
    const char* bytes;
  } cases[] = {
      {CONTACT, 4, 0, 4, "abc\0"},
      {CONTACT, 1, 0, 1, "\0"},
      {CONTACT, 9, 0, 7, "abcdef\0\0\0"},
      {TRAP, 4, -1, -99, "\0\0\0\0"},
      {COMMUNITY, 10, 0, 7, "opensv\0\0\0\0"},
      {COMMUNITY, 7, 0, 7, "opensv\0"},
      {COMMUNITY, 4, 0, 4, "ope\0"},
      {COMMUNITY, 1, 0, 1, "\0"},
      {STATE, 4, 0, 4, "\0\0\0\0"},
      {STATE, 2, 0, 2, "\0\0"},
  };
  for (const auto& c : cases) {
    Buffer buffer;
    EXPECT_EQ(c.result, Nas1GetConfig(c.number, c.size, buffer.data(), &buffer.length)) << c.number << " " << c.size;
    EXPECT_EQ(c.length, buffer.length) << c.number << " " << c.size;
    EXPECT_EQ(std::string(c.bytes, static_cast<std::size_t>(c.size)), buffer.content(c.size)) << c.number;
  }
  ASSERT_EQ(0, Nas1SetConfig(STATE, sizeof state, &state));
  Buffer cut;
  EXPECT_EQ(0, Nas1GetConfig(STATE, 2, cut.data(), &cut.length));
  EXPECT_EQ("\1\2", cut.content(2));
  EXPECT_EQ(2, cut.length);
}

TEST_F(Settings, ATextWithoutItsNulIsStoredWithAWarning) {
  char text[] = {'a', 'b', 'c'};
  EXPECT_EQ(0, Nas1SetConfig(3, sizeof text, text));
  EXPECT_EQ("abc", storedRecord(kRecords, "CIFS_GROUP_NAME"));
  EXPECT_EQ(Lines{"err protocols.c:196 Data of the Config[CIFS_GROUP_NAME] is not ASCIIZ "}, systemLog());
  EXPECT_EQ("abc", textOf("CIFS_GROUP_NAME"));
  EXPECT_EQ(0, NasSetConfig("CIFS_GROUP_NAME", 2, "xy"));
  EXPECT_EQ("xy", storedRecord(kRecords, "CIFS_GROUP_NAME"));
  EXPECT_EQ(1U, systemLog().size()) << "nobody warns on the way by name";
}

TEST_F(Settings, ValuesByNumberAreTrimmedAsTextsWhateverTheyAre) {
  const struct {
    int number;
    const char* key;
    std::string given;
    std::string stored;
  } cases[] = {
      {3, "CIFS_GROUP_NAME", std::string("  a b  \0", 8), std::string("a b\0 \0\0\0", 8)},
      {3, "CIFS_GROUP_NAME", std::string("   \0", 4), std::string("\0\0\0\0", 4)},
      {3, "CIFS_GROUP_NAME", std::string("a\0 b\0", 5), std::string("a\0 b\0", 5)},
      {116, "UID_START", bytesOf(0x20010101), bytesOf(0x00010101)},
      {116, "UID_START", bytesOf(0x20202020), bytesOf(0)},
      {116, "UID_START", bytesOf(0x00000020), bytesOf(0)},
      {116, "UID_START", bytesOf(0x20000001), bytesOf(0x20000001)},  // behind a zero byte the text is over
      {116, "UID_START", bytesOf(0x01010120), bytesOf(0x00010101)},
  };
  for (const auto& c : cases) {
    std::string value = c.given;
    EXPECT_EQ(0, Nas1SetConfig(c.number, static_cast<int>(value.size()), value.data()));
    const std::string stored = storedRecord(kRecords, c.key).value_or("none");
    EXPECT_EQ(value, stored) << "the caller's buffer is what was stored";
    const std::size_t meant = c.stored.find('\0');
    EXPECT_EQ(c.number == 3 ? c.stored.substr(0, meant + 1) : c.stored, stored.substr(0, c.number == 3 ? meant + 1 : 4))
        << testing::PrintToString(c.given);
  }
}

TEST_F(Settings, ServerNamesComeFromTheHardwareAndStayDistinct) {
  const std::string address = textOf("ETHERNET_ADDRESS_1");
  ASSERT_LT(8U, address.size());
  EXPECT_EQ(address, textOf("CIFS_SERVER_NAME"));
  EXPECT_EQ(address, textOf("AFP_SERVER_NAME"));
  EXPECT_EQ("NCP" + address, textOf("NCP_SERVER_NAME"));
  Buffer cut;
  EXPECT_EQ(0, NasGetConfig("NCP_SERVER_NAME", 5, cut.data(), &cut.length));
  EXPECT_EQ("NCP" + address.substr(0, 1) + '\0', cut.content(5));
  EXPECT_EQ(5, cut.length);
  EXPECT_EQ(Lines{}, storedKeys(kRecords)) << "a fallback is not stored";

  EXPECT_EQ(-1, setText("CIFS_SERVER_NAME", "NCP" + address)) << "the other one's fallback";
  EXPECT_EQ(0, setText("NCP_SERVER_NAME", "SAME"));
  const Lines told = commands();
  EXPECT_EQ(-1, setText("CIFS_SERVER_NAME", "SAME"));
  EXPECT_EQ(-1, NasSetConfig("CIFS_SERVER_NAME", 4, "SAME")) << "also without its NUL";
  EXPECT_EQ(Lines{"NCP_SERVER_NAME"}, storedKeys(kRecords));
  EXPECT_EQ(told, commands()) << "nobody is told of a refused name";
  EXPECT_EQ(0, setText("CIFS_SERVER_NAME", "Same")) << "compared as it is";
  EXPECT_EQ(0, setText("CIFS_SERVER_NAME", "SAMES"));
  EXPECT_EQ(-1, setText("NCP_SERVER_NAME", "SAMES"));
  EXPECT_EQ(0, setText("AFP_SERVER_NAME", "SAMES"));
}

TEST_F(Settings, TheBinderyPasswordDefaultsToTheAdministrators) {
  EXPECT_EQ("", textOf("NCP_BINDERY_ADMIN_PASSWORD"));
  storeRecord(kRecords, "ADMIN_PASSWORD", std::string("secret\0", 7));
  EXPECT_EQ("secret", textOf("NCP_BINDERY_ADMIN_PASSWORD"));
  storeRecord(kRecords, "NCP_BINDERY_ADMIN_PASSWORD", std::string("own\0", 4));
  EXPECT_EQ("own", textOf("NCP_BINDERY_ADMIN_PASSWORD"));
}

TEST_F(Settings, TheSystemIdComesFromTheHardwareWhateverIsSet) {
  constexpr char kFile[] = "/mnt/param/system.id";
  EXPECT_EQ("", textOf("SYSTEM_ID"));
  std::string id = textOf("ETHERNET_ADDRESS_1");
  std::erase_if(id, [](char c) { return c == ':' || c == '-' || c == ' '; });
  for (char& c : id) c = static_cast<char>(std::tolower(c));
  ASSERT_EQ(12U, id.size());
  EXPECT_EQ(0, setText("SYSTEM_ID", "anything"));
  EXPECT_EQ(id + std::string(4, '\0'), readFile(kFile));
  EXPECT_EQ(id, textOf("SYSTEM_ID"));

  writeFile(kFile, "0123456789abcdef");
  Buffer whole;
  EXPECT_EQ(0, NasGetConfig("SYSTEM_ID", 20, whole.data(), &whole.length));
  EXPECT_EQ("0123456789abcdefuuuu", whole.content(20));
  EXPECT_EQ(0, NasSetConfig("SYSTEM_ID", 1, ""));
  EXPECT_EQ("0123456789abcdef", readFile(std::string(kFile) + "~")) << "the one before is kept";
  writeFile(kFile, "0123456789abcde");
  EXPECT_EQ("", textOf("SYSTEM_ID")) << "a short file is none";
}

TEST_F(Settings, TheBackupDateOfTheHandlersIsARecordOfItsOwn) {
  char date[] = "today";
  EXPECT_EQ(0, set_Full_SYSnUSER_Backup_Date(sizeof date, date));
  EXPECT_EQ(Lines{"Full_SYS_n_USER_Backup_Date"}, storedKeys(kRecords));
  char read[8] = {};
  EXPECT_EQ(0, get_Full_SYSnUSER_Backup_Date(sizeof read, read, nullptr));
  EXPECT_STREQ("today", read);
}

TEST_F(Settings, RecordsCutAnywhereAreReadWithinTheirBytes) {
  setDefaults("");
  const std::string whole = "0123456789";
  for (std::size_t bytes = 0; bytes <= whole.size(); ++bytes) {
    for (const char* record : {"TEST_STRING", "CIFS_GROUP_NAME", "UID_START", "SNMP_CONTACT", "SNMP_STATE"}) {
      storeRecord(kRecords, record, whole.substr(0, bytes));
    }
    char text[33] = {};
    int length = -99;
    EXPECT_EQ(0, NasGetConfig("TEST_STRING", 32, text, &length));
    EXPECT_EQ(whole.substr(0, bytes), text);
    EXPECT_EQ(static_cast<int>(bytes) + 1, length);
    EXPECT_EQ(0, Nas1GetConfig(3, 32, text, &length));
    EXPECT_EQ(whole.substr(0, bytes), text);
    EXPECT_EQ(0, Nas1GetConfig(83, 32, text, &length));
    EXPECT_EQ(whole.substr(0, bytes), text);
    EXPECT_EQ(static_cast<int>(bytes) + 1, length);
    std::string word = whole.substr(0, std::min<std::size_t>(bytes, 4));
    word.resize(4, '\0');
    std::string number(4, '\0');
    EXPECT_EQ(0, Nas1GetConfig(116, 4, number.data(), nullptr));
    EXPECT_EQ(word, number);
    EXPECT_EQ(0, Nas1GetConfig(80, 4, number.data(), nullptr));
    EXPECT_EQ(word, number);
  }
}

TEST_F(Settings, WithoutTheRecordFileDefaultsAreReadAndNothingIsSet) {
  setDefaults("TEST_STRING=default\nUID_START=7\n");
  std::filesystem::create_directory("/etc/admin/system.gdbm");
  char text[32] = {};
  int value = 1;
  EXPECT_EQ(-1, setText("TEST_STRING", "x"));
  EXPECT_EQ(-1, Nas1SetConfig(116, sizeof value, &value));
  EXPECT_EQ(-1, NasGetConfig("TEST_STRING", sizeof text, text, nullptr)) << "it cannot be written back";
  EXPECT_STREQ("default", text);
  EXPECT_EQ(-1, Nas1GetConfig(116, sizeof value, &value, nullptr));
  EXPECT_EQ(7, value);
  EXPECT_EQ(0, NasGetConfig("TEST_INTEGER", sizeof value, &value, nullptr));
  EXPECT_EQ(0, value);
  EXPECT_EQ(-1, Nas1GetConfig(83, sizeof text, text, nullptr));
}
