#include "backends/snmp.h"

#include "backends/back_end.h"

using Snmp = ApplianceTest;

static constexpr char kAgentFile[] = "/usr/local/share/snmp/snmpd.conf";
enum { STATE = 80, TRAP_STATE = 81, RO_COMM = 85, RW_COMM = 86, TRAP_COMM1 = 87, TRAP_MAN1 = 94 };

static void setInteger(int id, int value) { ASSERT_EQ(0, fpConfig[id].set(sizeof value, &value)); }

static void setText(int id, std::string text) {
  ASSERT_EQ(0, fpConfig[id].set(static_cast<int>(text.size()) + 1, text.data()));
}

TEST_F(Snmp, TheAgentsFileComesFromTheSettings) {
  setInteger(STATE, 1);
  EXPECT_EQ(0, snmpRestart(2));
  EXPECT_EQ("sysservices 76\nrocommunity opensv\nrwcommunity opensv\n", readFile(kAgentFile));

  // Read with 30 bytes; receivers without address or community have no line, also behind one that has both.
  setText(RO_COMM, std::string(40, 'r'));
  setText(RW_COMM, "two words");
  const struct {
    int receiver;
    std::string address, community;
  } receivers[] = {{0, "192.0.2.20", "public"},
                   {1, "192.0.2.21", ""},
                   {2, "", "private"},
                   {3, "192.0.2.23", ""},
                   {6, std::string(29, 'a'), std::string(30, 'c')}};
  for (const auto& r : receivers) {
    if (r.receiver != 2) setText(TRAP_MAN1 + r.receiver, r.address);  // never set
    if (r.receiver != 1) setText(TRAP_COMM1 + r.receiver, r.community);
  }
  const std::string communities = "sysservices 76\nrocommunity " + std::string(29, 'r') + "\nrwcommunity two words\n";
  const std::string sinks =
      "trapsink 192.0.2.20 public\ntrapsink " + std::string(29, 'a') + " " + std::string(29, 'c') + "\n";
  for (const int state : {0, 2, 1}) {
    setInteger(TRAP_STATE, state);
    EXPECT_EQ(0, snmpReload());
    EXPECT_EQ(communities + (state == 1 ? sinks : ""), readFile(kAgentFile)) << state;
  }
}

TEST_F(Snmp, RestartingFollowsTheSetting) {
  const std::string script = "/etc/rc.d/init.d/snmpd ";
  // Never set counts as off.
  expectRestarts(snmpRestart, "snmpd",
                 {"/etc/rc.d/init.d/snmpd start", "/etc/rc.d/init.d/snmpd stop", "/etc/rc.d/init.d/snmpd stop",
                  "/etc/rc.d/init.d/snmpd stop"});
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
  EXPECT_EQ((Results{-1, 0}), (Results{snmpReload(), snmpRestart(2)}));
  blockFile(kAgentFile);
  EXPECT_EQ(Lines{}, commandsOf([] {
              EXPECT_EQ((Results{-1, -1, -1, 0}),
                        (Results{snmpRestart(2), snmpRestart(3), snmpReload(), snmpSetConfig(80, 0, nullptr)}));
            }));
  EXPECT_EQ(Lines{}, applianceLog()) << "the log has no such category";
}

TEST_F(Snmp, OnlyItsStateActs) {
  expectReactions(snmpSetConfig, 1, {STATE}, "/etc/rc.d/init.d/snmpd stop");  // the stored state counts
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
  Lines expected;
  for (const int code : {0, 28}) {
    const std::string oid = ".1.3.6.1.4.1.32473.11.77", trap = std::to_string(code + 1), own = oid + "." + trap;
    EXPECT_EQ(0, NasSendSNMPtrap(code));
    expected.push_back("/usr/sbin/sendsnmpTrap " + oid + " " + trap + " " + own + " " + own + " s SomeProblemHappened");
    EXPECT_EQ(expected, awaitCommands(expected.size()));
  }
}

// The real agent, with the settings made through the API.
TEST_F(Snmp, TheRealAgentAnswersToTheConfiguredCommunity) {
  if (!exists("/usr/sbin/snmpd") || !exists("/usr/bin/snmpget")) GTEST_SKIP() << "snmpd or snmp is not installed";
  letHelpersAct();
  const auto expectAnswer = [](const std::string& answer, const std::string& community) {
    (void)!std::system(
        ("MIBS= snmpget -r 0 -v 2c -O qv -c " + community + " localhost .1.3.6.1.2.1.1.7.0 >/tmp/answer 2>/dev/null")
            .c_str());
    EXPECT_EQ(answer, readFile("/tmp/answer")) << community;
  };
  setText(RO_COMM, "readers");
  setText(RW_COMM, "writers");
  int on = 1;
  ASSERT_EQ(0, Nas1SetConfig(STATE, sizeof on, &on));
  expectAnswer("76\n", "readers");
  expectAnswer("76\n", "writers");
  setText(RO_COMM, "others");
  EXPECT_EQ(0, snmpRestart(3));
  expectAnswer("76\n", "others");
  expectAnswer("", "readers");
  int off = 0;
  ASSERT_EQ(0, Nas1SetConfig(STATE, sizeof off, &off));
  expectAnswer("", "others");
}
