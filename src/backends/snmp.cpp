#include "backends/snmp.h"

#include "api/nas1api.h"
#include "backends/generated_file.h"
#include "backends/init_command.h"
#include "config/numeric_config.h"
#include "core/command.h"
#include "events/event_log.h"

static constexpr char kUnit[] = "snmp.cpp";

static constexpr char kAgentFile[] = "/usr/local/share/snmp/snmpd.conf";

static constexpr const char* kInitCommands[] = {"/etc/rc.d/init.d/snmpd start", "/etc/rc.d/init.d/snmpd stop",
                                                "/etc/rc.d/init.d/snmpd restart", "/etc/rc.d/init.d/snmpd reload"};
static constexpr int kStop = 1;
static constexpr int kRestart = 2;
static constexpr int kReload = 3;

static constexpr int kServices = 76;  // layers 3, 4 and 7: a host with applications
static constexpr int kReceivers = 7;
static constexpr int kTextSize = 30;  // NUL included

static constexpr char kTrapProgram[] = "/usr/sbin/sendsnmpTrap";
static constexpr char kEnterprise[] = ".1.3.6.1.4.1.32473.11.77";

static int settingOf(int id) {
  int value = 0;
  (void)Nas1GetConfig(id, sizeof value, &value, nullptr);
  return value;
}

// A text setting; empty when it was never set and has no built-in value.
struct TextSetting {
  char text[kTextSize] = {};

  explicit TextSetting(int id) { (void)Nas1GetConfig(id, sizeof text, text, nullptr); }
  [[nodiscard]] bool isEmpty() const { return text[0] == '\0'; }
};

// Returns 0; -1 when the file could not be written.
static int writeAgentFile() {
  LockedFile agent(kAgentFile, FileUse::rewriting);
  if (!agent.startOver()) {
    // Kept: the log has no category 11 and drops the line.
    constexpr unsigned kNoCategory = 11;
    (void)nas1_log(LOG_LEVEL_ERR, kNoCategory, "failed to open %s for writing", "snmpd.conf");
    return -1;
  }
  WriteSNMPConfFromDB(agent.file);
  return agent.finish() ? 0 : -1;
}

extern "C" {
int snmpRestart(int how) {
  if (how != kRestart && how != kReload) return runInitCommand(kInitCommands, how);
  // Kept: neither of the two runs the script's own action; what the agent is to do is in its setting.
  if (settingOf(CONFIG_SNMP_STATE) == 0) {
    (void)Nas1System(kInitCommands[kStop]);
    return 0;
  }
  if (writeAgentFile() != 0) return -1;
  (void)Nas1System(kInitCommands[kRestart]);
  return 0;
}

int snmpReload() { return writeAgentFile() == 0 ? runInitCommand(kInitCommands[kReload]) : -1; }

int snmpSetConfig(int id, int /*size*/, void* /*value*/) {
  if (id == CONFIG_SNMP_STATE) (void)snmpRestart(kRestart);
  return 0;
}

void WriteSNMPConfFromDB(std::FILE* stream) {
  (void)std::fprintf(stream, "sysservices %d\n", kServices);
  (void)std::fprintf(stream, "rocommunity %s\n", TextSetting(CONFIG_SNMP_RO_COMM).text);
  (void)std::fprintf(stream, "rwcommunity %s\n", TextSetting(CONFIG_SNMP_RW_COMM).text);
  if (settingOf(CONFIG_SNMP_TRAP_STATE) != 1) return;
  for (int receiver = 0; receiver < kReceivers; ++receiver) {
    const TextSetting community(CONFIG_SNMP_TRAP_COMM1 + receiver);
    const TextSetting address(CONFIG_SNMP_TRAP_MAN1 + receiver);
    if (address.isEmpty() || community.isEmpty()) continue;
    (void)std::fprintf(stream, "trapsink %s %s\n", address.text, community.text);
  }
}

int NasSendSNMPtrap(int code) {
  if (settingOf(CONFIG_SNMP_STATE) != 1) return -1;
  if (settingOf(CONFIG_SNMP_TRAP_STATE) != 1) return 0;
  const int trap = static_cast<int>(static_cast<unsigned>(code) + 1);
  // The event's identifier stands twice: by itself, and in the binding behind it. The program runs in the background,
  // so that a receiver that cannot be reached holds up nobody.
  (void)runCommand(kUnit, __LINE__, "%s %s %d %s.%d %s.%d %c \"%s\" &", kTrapProgram, kEnterprise, trap, kEnterprise,
                   trap, kEnterprise, trap, 's', "SomeProblemHappened");
  return 0;
}
}
