// Live readings: network, version, sensors, through the configuration keys and numbers that give them out.

#include <sched.h>
#include <sys/mount.h>

#include "config/handlers.h"
#include "frame/appliance.h"
#include "status/network.h"

namespace {

// A text key's value; "-" when it cannot be read.
std::string named(const char* key) {
  char text[64] = {};
  int length = 0;
  if (NasGetConfig(key, sizeof text, text, &length) < 0) return "-";
  EXPECT_EQ(static_cast<int>(std::string(text).size()) + 1, length) << key;
  return text;
}

std::string numbered(int id) {
  char text[64] = {};
  return Nas1GetConfig(id, sizeof text, text, nullptr) < 0 ? "-" : text;
}

std::string eth0Digits() {
  std::string digits = readLines("/sys/class/net/eth0/address").at(0);
  std::erase(digits, ':');
  std::transform(digits.begin(), digits.end(), digits.begin(), [](unsigned char c) { return std::toupper(c); });
  return digits;
}

}  // namespace

using ReadersTest = ApplianceTest;

TEST_F(ReadersTest, TheNetworkReadsAsItIs) {
  (void)unlink("/etc/default.zelmar");  // failed readings stay failed
  const struct {
    const char* key;
    int id;
    std::string value;
  } cases[] = {
      {"ETHERNET_ADDRESS_1", 23, eth0Digits()},   {"ETHERNET_ADDRESS_2", 24, "-"},   {"ETHERNET_ADDRESS_3", 110, "-"},
      {"CURRENT_IP_ADDRESS_1", 60, "192.0.2.10"}, {"CURRENT_IP_ADDRESS_2", 62, "-"}, {"CURRENT_IP_ADDRESS_3", 107, "-"},
      {"CURRENT_IP_MASK_1", 61, "255.255.255.0"}, {"CURRENT_IP_MASK_2", 63, "-"},    {"CURRENT_IP_MASK_3", 108, "-"},
      {"CURRENT_IP_GATEWAY_1", 64, "192.0.2.1"},  {"CURRENT_IP_GATEWAY_2", 65, "-"}, {"CURRENT_IP_GATEWAY_3", 109, "-"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.value, named(c.key)) << c.key;
    EXPECT_EQ(c.value, numbered(c.id)) << c.key;
  }
  EXPECT_EQ("192.0.2.1", named("CURRENT_DEFAULT_GATEWAY"));
  setDefaults("");
  EXPECT_EQ("NCP" + eth0Digits(), named("NCP_SERVER_NAME")) << "a server without a name is called by its address";

  char text[256];
  int length = 0;
  EXPECT_EQ(0, getInetConfig(sizeof text, text, &length));
  EXPECT_STREQ("eth0 192.0.2.10 255.255.255.0 192.0.2.1\n", text);
  EXPECT_EQ(0, getHostname(sizeof text, text, &length));
  char name[256] = {};
  ASSERT_EQ(0, gethostname(name, sizeof name - 1));
  EXPECT_STREQ(name, text);
}

TEST_F(ReadersTest, TextsAreCutToTheBufferAndTerminated) {
  const struct {
    int size, result, length;
    const char* out;
  } cases[] = {{11, 0, 11, "192.0.2.10"},
               {5, 0, 5, "192."},
               {1, 0, 1, ""},
               {0, -1, -7, "xxxxxxxxxxxxxxx"},
               {-1, -1, -7, "xxxxxxxxxxxxxxx"}};
  for (const auto& c : cases) {
    char out[16] = "xxxxxxxxxxxxxxx";
    int length = -7;
    EXPECT_EQ(c.result, getIpAddr1(c.size, out, &length)) << c.size;
    EXPECT_STREQ(c.out, out) << c.size;
    EXPECT_EQ(c.length, length) << c.size;
    if (c.size > 0) {
      EXPECT_STREQ(&"xxxxxxxxxxxxxxx"[c.length], out + c.length) << "untouched behind the NUL";
    }
    EXPECT_EQ(c.result, getIpAddr1(c.size, out, nullptr)) << "the length may be left out";
  }
  EXPECT_EQ(-1, getIpAddr1(16, nullptr, nullptr));
}

TEST_F(ReadersTest, TheVersionComesFromTheReleaseFileOrTheDriver) {
  const struct {
    const char* release;
    int major, minor;
    const char* build;
  } cases[] = {{"1.04.0117\n", 1, 4, "0117"},
               {"12.3.beta-of-a-very-long-name", 12, 3, "beta-of-a-very-"},
               {"Release 1.04.0117\n", 9, 8, "driver"},
               {"256.1.x\n", 9, 8, "driver"},
               {"-1.1.x\n", 9, 8, "driver"},
               {"1.2\n", 9, 8, "driver"},
               {"", 9, 8, "driver"}};
  const std::string firmware =
      "\x09\x08"
      "driver";
  writeFile("/run/nas1-driver/version", firmware + std::string(50, '\0'));
  for (const auto& c : cases) {
    writeFile("/etc/zelmar-release", c.release);
    NasVersion version = {};
    int length = 0;
    EXPECT_EQ(0, NasGetConfig("NAS_VERSION", sizeof version, &version, &length)) << c.release;
    EXPECT_EQ(18, length);
    EXPECT_EQ(c.major, version.majorNumber) << c.release;
    EXPECT_EQ(c.minor, version.minorNumber) << c.release;
    EXPECT_STREQ(c.build, version.build) << c.release;
  }
  refuseDriverRequest(0x4804);
  std::string record(18, 'x');
  EXPECT_EQ(-1, GetNasVersion(18, record.data(), nullptr));
  writeFile("/etc/zelmar-release", "1.04.0117\n");
  int length = 0;
  EXPECT_EQ(0, GetNasVersion(4, record.data(), &length));
  EXPECT_EQ(
      "\x01\x04"
      "01xxxxxxxxxxxxxx",
      record);
  EXPECT_EQ(4, length);
}

TEST_F(ReadersTest, SensorsGiveTheirReadingOrSayThatThereIsNone) {
  std::int32_t degrees = 99;
  EXPECT_EQ(-1, get_CPU_Temp(4, &degrees, nullptr)) << "no sensor file here";
  EXPECT_EQ(Lines{"err Error: Hardware monitoring read proc file error"}, systemLog());
  EXPECT_EQ(99, degrees);

  // /proc takes no files, so the readings stand in another one that only this child sees there.
  const ChildResult child = inChild([] {
    ASSERT_EQ(0, unshare(CLONE_NEWNS));
    ASSERT_EQ(0, mount("none", "/proc", "tmpfs", 0, nullptr));
    writeFile("/proc/zelmar-sensor",
              "CPU_Temp: 47.5\nSYS_VOLTAGE_33 3.31\nSYS_VOLTAGE_33VSB: 3.29\nSYS_VOLTAGE_M12V:-11.9\n"
              "SYS_VOLTAGE_5\n");
    std::int32_t value = 0;
    int length = 0;
    EXPECT_EQ(0, NasGetConfig("CPU_THERMAL", 4, &value, &length));
    EXPECT_EQ(47, value);
    EXPECT_EQ(4, length);
    EXPECT_EQ("3.31", numbered(49));
    EXPECT_EQ("3.29", numbered(113));
    EXPECT_EQ("-11.9", numbered(111));
    EXPECT_EQ("-", numbered(51)) << "a name without a value";
    EXPECT_EQ("-", numbered(52)) << "not there";
    writeFile("/proc/zelmar-sensor", "CPU_Temp: hot\n");
    EXPECT_EQ(-1, get_CPU_Temp(4, &value, nullptr));
    EXPECT_EQ(47, value);
  });
  EXPECT_EQ(0, child.exitCode) << child.output;
}

TEST_F(ReadersTest, TheProcessorReadsFromTheFirmwareTables) {
  setOutput("dmidecode",
            "Processor Information\n\tCPU speed: 2400 MHz\n\tCPU speed: 9999 MHz\n\tProcessor Voltage: 1.5 V\n");
  EXPECT_EQ("2400", named("CPU_SPEED"));
  EXPECT_EQ("1.5", numbered(75));
  EXPECT_EQ("1.5", named("CPU_VOLTAGE"));
  EXPECT_EQ(Lines(3, "/sbin/dmidecode"), commands());
  setOutput("dmidecode", "");
  EXPECT_EQ("-", numbered(46));
}
