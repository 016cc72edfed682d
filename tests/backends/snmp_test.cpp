#include "backends/snmp.h"

#include "frame/appliance.h"

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
  for (const auto& [receiver, address, community] :
       {std::tuple(0, "192.0.2.20", "public"), {1, "192.0.2.21", ""}, {2, "", "private"}, {6, "last", "hidden"}}) {
    setText(TRAP_MAN1 + receiver, address);
    setText(TRAP_COMM1 + receiver, community);
  }
  const std::string communities = "sysservices 76\nrocommunity " + std::string(29, 'r') + "\nrwcommunity two words\n";
  for (const int state : {0, 2, 1}) {
    setInteger(TRAP_STATE, state);
    EXPECT_EQ(0, snmpReload());
    EXPECT_EQ(communities + (state == 1 ? "trapsink 192.0.2.20 public\ntrapsink last hidden\n" : ""),
              readFile(kAgentFile))
        << state;
  }
}

TEST_F(Snmp, RestartingFollowsTheSetting) {
  const std::string script = "/etc/rc.d/init.d/snmpd ";
  setInteger(STATE, 1);
  EXPECT_EQ(Lines{script + "restart"}, commandsOf([&] { EXPECT_EQ(0, snmpRestart(3)); }));
  EXPECT_TRUE(exists(kAgentFile));
  EXPECT_EQ(Lines{script + "reload"}, commandsOf([] { EXPECT_EQ(0, snmpReload()); }));
  blockFile(kAgentFile);
  EXPECT_EQ(Lines{}, commandsOf([] { EXPECT_EQ((Results{-1, -1}), (Results{snmpRestart(2), snmpReload()})); }));
  EXPECT_EQ(Lines{}, applianceLog()) << "the log has no such category";
}

TEST_F(Snmp, TrapsAreSentWhenAgentAndTrapsAreOn) {
  EXPECT_EQ(-1, NasSendSNMPtrap(0)) << "never set";
  setInteger(STATE, 1);
  setInteger(TRAP_STATE, 2);
  EXPECT_EQ(0, NasSendSNMPtrap(0));
  setInteger(TRAP_STATE, 1);
  EXPECT_EQ(0, NasSendSNMPtrap(28));
  EXPECT_NE(std::string::npos, awaitCommands(1).at(0).find(" 29 ")) << "the trap of event 28";
}
