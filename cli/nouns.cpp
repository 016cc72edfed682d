#include "nouns.h"

#include <algorithm>

// clang-format off
constexpr Noun table[] = {
    {"share",    "Shares: add, change, delete, show; their passwords",     registerShare},
    {"perm",     "Who may do what on a share",                             registerPerm},
    {"nfs",      "The hosts that may mount a share",                       registerNfs},
    {"user",     "Users: add, delete, show; passwords, quotas, groups",    registerUser},
    {"group",    "Groups: add, delete, show; who is in them",              registerGroup},
    {"account",  "Accounts of domain controllers and bindery servers",     registerAccount},
    {"volume",   "Volumes that shares are made on",                        registerVolume},
    {"snapshot", "What the snapshot scheduler does with a volume",         registerSnapshot},
    {"service",  "Start and stop what serves a protocol",                  registerService},
    {"product",  "Texts that a product keeps with the settings",           registerProduct},
    {"config",   "Settings of the appliance",                              registerConfig},
    {"conn",     "Connected clients",                                      registerConn},
    {"log",      "The appliance's event log",                              registerLog},
    {"event",    "Events: raise one, list them, send waiting mails",       registerEvent},
    {"mail",     "Alert mail",                                             registerMail},
    {"disk",     "Disks",                                                  registerDisk},
    {"raid",     "State of the RAID",                                      registerRaid},
    {"module",   "Add-on modules",                                         registerModule},
    {"status",   "The appliance on one page",                              registerStatus},
    {"shutdown", "Shut the appliance down",                                registerShutdown},
    {"db",       "Record files: check, repair, compact, back up, restore", registerDb},
    {"batch",    "Carry out many commands, one a line",                    registerBatch},
    {"state",    "The whole state as a document: export, import",          registerState},
    {"plan",     "Show what a command would change, and change nothing",   registerPlan},
    {"verify",   "Compare files and daemons with the records; repair them", registerVerify},
    {"completion", "Print the completion of a shell: bash, zsh or fish",   registerCompletion},
};
// clang-format on

std::span<const Noun> nouns() { return table; }

const Noun* findNoun(const std::string& name) {
  const auto* const found =
      std::find_if(std::begin(table), std::end(table), [&](const Noun& n) { return name == n.name; });
  return found == std::end(table) ? nullptr : found;
}
