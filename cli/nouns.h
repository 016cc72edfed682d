#pragma once
// The nouns of the command. Each registers its verbs, and only when it is the one that was asked for: start-up stays
// short however many there are.

#include <span>
#include <string>

#include "errors.h"

namespace CLI {
class App;
}

struct Noun {
  const char* name;
  const char* about;
  void (*registerVerbs)(CLI::App& noun, ExitCode& result);
};

std::span<const Noun> nouns();
const Noun* findNoun(const std::string& name);  // null when there is none

// A verb leaves its exit code in `result`. Registering forgets what an earlier command of the same noun was given.
void registerShare(CLI::App& noun, ExitCode& result);
void registerPerm(CLI::App& noun, ExitCode& result);
void registerNfs(CLI::App& noun, ExitCode& result);
void registerUser(CLI::App& noun, ExitCode& result);
void registerGroup(CLI::App& noun, ExitCode& result);
void registerAccount(CLI::App& noun, ExitCode& result);
void registerVolume(CLI::App& noun, ExitCode& result);
void registerSnapshot(CLI::App& noun, ExitCode& result);
void registerService(CLI::App& noun, ExitCode& result);
void registerProduct(CLI::App& noun, ExitCode& result);
void registerConfig(CLI::App& noun, ExitCode& result);
void registerLog(CLI::App& noun, ExitCode& result);
void registerConn(CLI::App& noun, ExitCode& result);
void registerEvent(CLI::App& noun, ExitCode& result);
void registerMail(CLI::App& noun, ExitCode& result);
void registerDisk(CLI::App& noun, ExitCode& result);
void registerRaid(CLI::App& noun, ExitCode& result);
void registerModule(CLI::App& noun, ExitCode& result);
void registerStatus(CLI::App& noun, ExitCode& result);
void registerShutdown(CLI::App& noun, ExitCode& result);
void registerDb(CLI::App& noun, ExitCode& result);
void registerCompletion(CLI::App& noun, ExitCode& result);
void registerPlan(CLI::App& noun, ExitCode& result);
void registerVerify(CLI::App& noun, ExitCode& result);
void registerBatch(CLI::App& noun, ExitCode& result);
void registerState(CLI::App& noun, ExitCode& result);
