// What the back-ends have in common: what their restarts run, which settings make them act, whom they disconnect.

#include "backends/afp.h"
#include "backends/cifs.h"
#include "backends/ftp.h"
#include "backends/ncp.h"
#include "backends/nfs.h"
#include "backends/snmp.h"
#include "frame/appliance.h"

using BackEnds = ApplianceTest;

// Null where a mode runs nothing and fails. A command that ends badly has been run, one that the shell cannot run has
// not. SNMP that was never set counts as off.
TEST_F(BackEnds, ModesRunTheInitScripts) {
  const struct {
    int (*restart)(int);
    std::string helper, script;
    const char* actions[4];
  } cases[] = {{afpRestart, "atalk", "/etc/init.d/atalk ", {"start", "stop", "restart", "reload"}},
               {ncpRestart, "mars", "/etc/rc.d/init.d/mars ", {"start", "stop", "restart", nullptr}},
               {nfsRestart, "nfs", "/etc/rc.d/init.d/nfs ", {"start", "stop", "restart", nullptr}},
               {snmpRestart, "snmpd", "/etc/rc.d/init.d/snmpd ", {"start", "stop", "stop", "stop"}}};
  for (const auto& c : cases) {
    for (const int how : {0, 1, 2, 3, -1, 4}) {
      const char* const action = how >= 0 && how < 4 ? c.actions[how] : nullptr;
      EXPECT_EQ(action == nullptr ? Lines{} : Lines{c.script + action},
                commandsOf([&] { EXPECT_EQ(action == nullptr ? -1 : 0, c.restart(how)); }))
          << c.script << how;
    }
    setExitStatus(c.helper, 1);
    EXPECT_EQ(0, c.restart(0)) << "the command ended badly";
    setExitStatus(c.helper, 127);
    EXPECT_EQ(-1, c.restart(0)) << "the shell found nothing to run";
  }
}

TEST_F(BackEnds, OnlyTheirOwnNumbersMakeThemAct) {
  for (const char* daemon : {"smbd", "nmbd"}) writeFile("/var/lock/samba/locks/" + std::string(daemon) + ".pid", "1\n");
  const Lines restartSamba = {"/etc/init.d/smb restart"};
  const struct {
    int (*setConfig)(int, int, void*);
    std::uint32_t value;
    std::vector<int> ids;
    Lines ran;
    int special = -2;  // an id that runs something else
    Lines specialRan = {};
  } cases[] = {
      {cifsSetConfig, 1, {3, 5, 6, 19, 30, 78, 101}, restartSamba, 0, Lines{"/sbin/set_hostname.sh"} + restartSamba},
      {ncpSetConfig, 1, {1, 7, 20, 32, 72, 73}, {"/etc/rc.d/init.d/mars restart"}},
      {afpSetConfig, 1, {0, 2, 9, 21}, {"/etc/init.d/atalk reload"}, 33, {"/etc/init.d/atalk restart"}},
      {ftpSetConfig, 0x80000000, {59}, {"/usr/sbin/ftprestart"}},
      {snmpSetConfig, 1, {80}, {"/etc/rc.d/init.d/snmpd stop"}},  // the stored state counts
  };
  for (const auto& c : cases) {
    for (int id = -1; id <= 128; ++id) {
      const bool acts = std::find(c.ids.begin(), c.ids.end(), id) != c.ids.end();
      std::uint32_t value = c.value;
      EXPECT_EQ(id == c.special ? c.specialRan : (acts ? c.ran : Lines{}),
                commandsOf([&] { (void)c.setConfig(id, sizeof value, &value); }))
          << "row " << &c - cases << ", id " << id;
    }
  }
}

// By name the row of the key table arrives, which is the id for some keys and for others no id of that back-end.
TEST_F(BackEnds, ANameActsWhereItsRowIsItsNumber) {
  const std::pair<const char*, Lines> cases[] = {{"AFP_SERVER_NAME", {"/etc/init.d/atalk reload"}},
                                                 {"AFP_ENABLED", {}},
                                                 {"NCP_BINDERY_SERVER_NAME", {"/etc/rc.d/init.d/mars restart"}},
                                                 {"NCP_ENABLED", {}},
                                                 {"FTP_ENABLED", {}},
                                                 {"NFS_DOMAIN_NAME", {}}};
  for (const auto& [name, ran] : cases)
    EXPECT_EQ(ran, commandsOf([&, key = name] { EXPECT_EQ(0, NasSetConfig(key, 4, "ABC")); })) << name;
}

TEST_F(BackEnds, EndingASessionSparesProcessGroups) {
  for (const int group : {0, -1})
    EXPECT_EQ((Results{-1, 0, 0}),
              (Results{afpNetDisconnect(0, group), cifsNetDisconnect(0, group), ncpNetDisconnect(0, group)}));
}
