#include "backends/snmp.h"

#include <cstdio>

#include <sys/stat.h>

#include "api/nas1api.h"
#include "backends/back_end.h"

using Snmp = ApplianceTest;

static constexpr char kAgentFile[] = "/usr/local/share/snmp/snmpd.conf";
enum { STATE = 80, TRAP_STATE = 81, RO_COMM = 85, RW_COMM = 86, TRAP_COMM1 = 87, TRAP_MAN1 = 94 };

static void setInteger(int id, int value) { ASSERT_EQ(0, fpConfig[id].set(sizeof value, &value)); }

static void setText(int id, std::string text) {
  ASSERT_EQ(0, fpConfig[id].set(static_cast<int>(text.size()) + 1, text.data()));
}

// What a command prints.
static std::string answerOf(const char* command) {
  std::FILE* const pipe = popen(command, "re");
  std::string answer;
  for (int c = std::getc(pipe); c != EOF; c = std::getc(pipe)) answer += static_cast<char>(c);
  (void)pclose(pipe);
  return answer;
}

TEST_F(Snmp, TheAgentsFileComesFromTheSettings) {
  setInteger(STATE, 1);
  EXPECT_EQ(0, snmpRestart(2));
  EXPECT_EQ("sysservices 76\nrocommunity opensv\nrwcommunity opensv\n", readFile(kAgentFile));

  // Read with 30 bytes; receivers without address or community have no line, also behind one that has both.
  setText(RO_COMM, std::string(40, 'r'));
  setText(RW_COMM, "two words");
  setText(TRAP_MAN1 + 0, "192.0.2.20");
  setText(TRAP_COMM1 + 0, "public");
  setText(TRAP_MAN1 + 1, "192.0.2.21");
  setText(TRAP_COMM1 + 2, "private");
  setText(TRAP_MAN1 + 3, "192.0.2.23");
  setText(TRAP_COMM1 + 3, "");
  setText(TRAP_MAN1 + 6, std::string(29, 'a'));
  setText(TRAP_COMM1 + 6, std::string(30, 'c'));
  const std::string communities = "sysservices 76\nrocommunity " + std::string(29, 'r') + "\nrwcommunity two words\n";
  for (const int off : {0, 2}) {
    setInteger(TRAP_STATE, off);
    EXPECT_EQ(0, snmpReload());
    EXPECT_EQ(communities, readFile(kAgentFile)) << off;
  }
  setInteger(TRAP_STATE, 1);
  EXPECT_EQ(0, snmpReload());
  EXPECT_EQ(
      communities + "trapsink 192.0.2.20 public\ntrapsink " + std::string(29, 'a') + " " + std::string(29, 'c') + "\n",
      readFile(kAgentFile));
}

TEST_F(Snmp, RestartingFollowsTheSetting) {
  const std::string script = "/etc/rc.d/init.d/snmpd ";
  // Never set counts as off.
  expectRestarts(snmpRestart, "snmpd",
                 {{0, 0, script + "start"}, {1, 0, script + "stop"}, {2, 0, script + "stop"}, {3, 0, script + "stop"}});
  EXPECT_EQ(-1, snmpRestart(1)) << "the shell found nothing to run";
  EXPECT_EQ(0, snmpRestart(2)) << "which does not count here";
  EXPECT_FALSE(exists(kAgentFile));

  setExitStatus("snmpd", 0);
  setInteger(STATE, 1);
  for (const int how : {2, 3}) {
    (void)unlink(kAgentFile);
    EXPECT_EQ(Lines{script + "restart"}, commandsOf([&] { EXPECT_EQ(0, snmpRestart(how)); }));
    EXPECT_TRUE(exists(kAgentFile)) << how;
  }
  EXPECT_EQ(Lines{script + "reload"}, commandsOf([] { EXPECT_EQ(0, snmpReload()); }));
  setExitStatus("snmpd", 127);
  EXPECT_EQ(-1, snmpReload());
  EXPECT_EQ(0, snmpRestart(2));

  (void)unlink(kAgentFile);
  ASSERT_EQ(0, mkdir(kAgentFile, 0755));
  EXPECT_EQ(Lines{}, commandsOf([] {
              EXPECT_EQ(-1, snmpRestart(2));
              EXPECT_EQ(-1, snmpRestart(3));
              EXPECT_EQ(-1, snmpReload());
              EXPECT_EQ(0, snmpSetConfig(80, 0, nullptr));
            }));
  EXPECT_EQ(Lines{}, applianceLog()) << "the log has no such category";
}

TEST_F(Snmp, OnlyItsStateActs) {
  EXPECT_EQ(Lines{"80: /etc/rc.d/init.d/snmpd stop"}, reactionsOf(snmpSetConfig, 1)) << "the stored state counts";
  int on = 1;
  EXPECT_EQ(Lines{"/etc/rc.d/init.d/snmpd restart"},
            commandsOf([&] { EXPECT_EQ(0, Nas1SetConfig(STATE, sizeof on, &on)); }));
}

TEST_F(Snmp, TrapsAreSentWhenAgentAndTrapsAreOn) {
  EXPECT_EQ(-1, NasSendSNMPtrap(0)) << "never set";
  setInteger(STATE, 2);
  EXPECT_EQ(-1, NasSendSNMPtrap(0));
  setInteger(STATE, 1);
  setInteger(TRAP_STATE, 2);
  EXPECT_EQ(0, NasSendSNMPtrap(0));
  setInteger(TRAP_STATE, 1);
  Lines expected = {
      "/usr/sbin/sendsnmpTrap .1.3.6.1.4.1.32473.11.77 1 .1.3.6.1.4.1.32473.11.77.1 .1.3.6.1.4.1.32473.11.77.1 s "
      "SomeProblemHappened"};
  EXPECT_EQ(0, NasSendSNMPtrap(0));
  EXPECT_EQ(expected, awaitCommands(1));
  expected.push_back(
      "/usr/sbin/sendsnmpTrap .1.3.6.1.4.1.32473.11.77 29 .1.3.6.1.4.1.32473.11.77.29 .1.3.6.1.4.1.32473.11.77.29 s "
      "SomeProblemHappened");
  EXPECT_EQ(0, NasSendSNMPtrap(28));
  EXPECT_EQ(expected, awaitCommands(2));
}

// The real agent, with the settings made through the API.
TEST_F(Snmp, TheRealAgentAnswersToTheConfiguredCommunity) {
  if (!exists("/usr/sbin/snmpd") || !exists("/usr/bin/snmpget")) GTEST_SKIP() << "snmpd or snmp is not installed";
  letHelpersAct();
  setText(RO_COMM, "readers");
  setText(RW_COMM, "writers");
  int on = 1;
  ASSERT_EQ(0, Nas1SetConfig(STATE, sizeof on, &on));
  const std::string ask = "MIBS= snmpget -r 0 -v 2c -O qv -c ";
  const std::string services = " localhost .1.3.6.1.2.1.1.7.0 2>/dev/null";
  EXPECT_EQ("76\n", answerOf((ask + "readers" + services).c_str()));
  EXPECT_EQ("76\n", answerOf((ask + "writers" + services).c_str()));
  setText(RO_COMM, "others");
  EXPECT_EQ(0, snmpRestart(3));
  EXPECT_EQ("76\n", answerOf((ask + "others" + services).c_str()));
  EXPECT_EQ("", answerOf((ask + "readers" + services).c_str()));
  int off = 0;
  ASSERT_EQ(0, Nas1SetConfig(STATE, sizeof off, &off));
  EXPECT_EQ("", answerOf((ask + "others" + services).c_str()));
}
