#include "init/init.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

int exitCode(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status); }

// Tells the inside whether the terminal sent the signal: a command in the terminal's own group has had it already.
void relay(pid_t child, const siginfo_t& signal) {
  const sigval fromTerminal = {.sival_int = signal.si_code == SI_KERNEL};
  (void)sigqueue(child, signal.si_signo, fromTerminal);
}

}  // namespace

int runOutside(char** command) {
  if (unshare(CLONE_NEWNS | CLONE_NEWIPC | CLONE_NEWPID | CLONE_NEWUTS | CLONE_NEWNET) != 0)
    return notPossible("making new namespaces");

  sigset_t relayed;
  (void)sigemptyset(&relayed);
  for (const int signal : relayedSignals) (void)sigaddset(&relayed, signal);
  sigset_t awaited = relayed;
  (void)sigaddset(&awaited, SIGCHLD);
  (void)sigprocmask(SIG_BLOCK, &awaited, nullptr);

  const pid_t child = fork();
  if (child < 0) return notPossible("starting a process");
  if (child == 0) {
    // Whatever ends the outer half ends the appliance with it.
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
    // Signals stay blocked while the appliance boots: process 1 would lose them, pending they wait for its reader.
    (void)sigprocmask(SIG_SETMASK, &relayed, nullptr);
    become(command);
  }
  for (;;) {
    siginfo_t signal;
    if (sigwaitinfo(&awaited, &signal) < 0) continue;
    if (signal.si_signo != SIGCHLD) {
      relay(child, signal);
      continue;
    }
    int status = 0;
    if (waitpid(child, &status, WNOHANG) == child) return exitCode(status);
  }
}
