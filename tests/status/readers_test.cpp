// Live readings: network, version, sensors, through the configuration keys and numbers that give them out.

#include <sched.h>
#include <sys/mount.h>

#include "config/handlers.h"
#include "frame/appliance.h"
#include "status/network.h"

namespace {

// A text key's value; "-" when it cannot be read.
std::string named(const std::string& key) {
  char text[64] = {};
  int length = 0;
  if (NasGetConfig(key.c_str(), sizeof text, text, &length) < 0) return "-";
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
    int id;  // of the first card
    int others[2];
    std::string value;  // of the first card; there are no others
  } cases[] = {
      {"ETHERNET_ADDRESS_", 23, {24, 110}, eth0Digits()},
      {"CURRENT_IP_ADDRESS_", 60, {62, 107}, "192.0.2.10"},
      {"CURRENT_IP_MASK_", 61, {63, 108}, "255.255.255.0"},
      {"CURRENT_IP_GATEWAY_", 64, {65, 109}, "192.0.2.1"},
  };
  for (const auto& c : cases) {
    const std::string key = c.key;
    EXPECT_EQ((Lines{c.value, "-", "-"}), (Lines{named(key + '1'), named(key + '2'), named(key + '3')})) << key;
    EXPECT_EQ((Lines{c.value, "-", "-"}), (Lines{numbered(c.id), numbered(c.others[0]), numbered(c.others[1])})) << key;
  }
  EXPECT_EQ("192.0.2.1", named("CURRENT_DEFAULT_GATEWAY"));
  setDefaults("");
  EXPECT_EQ("NCP" + eth0Digits(), named("NCP_SERVER_NAME")) << "a server without a name is called by its address";

  char text[256] = "xxxxxxxx";
  int length = -7;
  EXPECT_EQ((Results{-1, 0}), (Results{getIpAddr1(0, text, &length), getIpAddr1(5, text, &length)}));
  EXPECT_EQ(std::string("192.\0xxx", 8), std::string(text, 8)) << "cut and terminated";
  EXPECT_EQ(5, length);
  EXPECT_EQ(0, getInetConfig(sizeof text, text, &length));
  EXPECT_STREQ("eth0 192.0.2.10 255.255.255.0 192.0.2.1\n", text);
  EXPECT_EQ(0, getHostname(sizeof text, text, &length));
  EXPECT_EQ(readLines("/proc/sys/kernel/hostname")[0], text);
}

TEST_F(ReadersTest, TheVersionComesFromTheReleaseFileOrTheDriver) {
  const struct {
    const char* release;
    int major, minor;
    const char* build;
  } cases[] = {{"1.04.0117\n", 1, 4, "0117"},
               {"12.3.beta-of-a-very-long-name", 12, 3, "beta-of-a-very-"},
               {"Release 1.04.0117\n", 9, 8, "driver"},
               {"256.1.x\n", 9, 8, "driver"}};
  writeFile("/run/nas1-driver/version", "\11\10driver" + std::string(50, '\0'));
  for (const auto& c : cases) {
    writeFile("/etc/zelmar-release", c.release);
    NasVersion version = {};
    int length = 0;
    EXPECT_EQ(0, NasGetConfig("NAS_VERSION", sizeof version, &version, &length)) << c.release;
    EXPECT_EQ(18, length);
    EXPECT_EQ((Results{c.major, c.minor}), (Results{version.majorNumber, version.minorNumber})) << c.release;
    EXPECT_STREQ(c.build, version.build) << c.release;
  }
  refuseDriverRequest(0x4804);
  std::string record(18, 'x');
  EXPECT_EQ(-1, GetNasVersion(18, record.data(), nullptr));
  writeFile("/etc/zelmar-release", "1.04.0117\n");
  EXPECT_EQ(0, GetNasVersion(4, record.data(), nullptr));
  EXPECT_EQ("\1\00401xxxxxxxxxxxxxx", record);
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
              "CPU_Temp: 47.5\nSYS_VOLTAGE_33 3.31\nSYS_VOLTAGE_M12V:-11.9\n"
              "SYS_VOLTAGE_5\n");
    std::int32_t value = 0;
    EXPECT_EQ(0, NasGetConfig("CPU_THERMAL", 4, &value, nullptr));
    EXPECT_EQ(47, value);
    EXPECT_EQ("3.31", numbered(49));
    EXPECT_EQ("-11.9", numbered(111));
    EXPECT_EQ("-", numbered(51)) << "a name without a value";
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
