#include <cerrno>
#include <vector>

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include "collector/collector.h"
#include "driver/driver.h"
#include "init/init.h"

namespace {

struct Command {
  pid_t pid;
  bool ownSession;  // cut off from the caller's terminal and process group
  bool ended;
  int exitCode;
};

Command start(char** arguments) {
  // Without a terminal the command gets a session of its own, so that a signal to "my group" stays in here.
  // With one it stays in the caller's group: job control and ^C then work as for any command.
  const bool ownSession = isatty(STDIN_FILENO) == 0;
  const pid_t pid = fork();
  if (pid == 0) {
    if (ownSession) (void)setsid();
    sigset_t none;
    (void)sigemptyset(&none);
    (void)sigprocmask(SIG_SETMASK, &none, nullptr);
    become(arguments);
  }
  return {.pid = pid, .ownSession = ownSession, .ended = false, .exitCode = kNotPossible};
}

// Orphans come to process 1; one left unreaped would still count as a living process.
void reap(Command& command) {
  int status = 0;
  for (pid_t pid; (pid = waitpid(-1, &status, WNOHANG)) > 0;) {
    if (pid != command.pid) continue;
    command.ended = true;
    command.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
}

void takeSignal(int signals, Command& command) {
  signalfd_siginfo signal;
  while (read(signals, &signal, sizeof signal) == sizeof signal) {
    if (signal.ssi_signo == SIGCHLD) {
      reap(command);
      continue;
    }
    // Signals that processes in here send to process 1 mean nothing. A command in the caller's group has had what was
    // sent to the group or typed at the terminal; what the outer half passes on as sent to it alone, it has not.
    const bool fromInside = signal.ssi_pid > 0;
    const bool passedOn = signal.ssi_code == SI_QUEUE && signal.ssi_int == 0;
    if (fromInside || (!command.ownSession && !passedOn)) continue;
    const int number = static_cast<int>(signal.ssi_signo);
    // Its whole group, as a terminal would; the command alone while it has not got its own session yet.
    if (!command.ownSession || kill(-command.pid, number) != 0) (void)kill(command.pid, number);
  }
}

int openSignals() {
  sigset_t awaited;
  (void)sigemptyset(&awaited);
  for (const int signal : relayedSignals) (void)sigaddset(&awaited, signal);
  (void)sigaddset(&awaited, SIGCHLD);
  (void)sigprocmask(SIG_BLOCK, &awaited, nullptr);
  return signalfd(-1, &awaited, SFD_CLOEXEC | SFD_NONBLOCK);
}

void serve(std::vector<pollfd>& sockets, Command& command) {
  enum { SIGNALS, LOG, DRIVER, FIRST_CONNECTION };
  while (!command.ended) {
    if (poll(sockets.data(), sockets.size(), -1) < 0) continue;
    // Newest first: what is appended or erased below never moves a socket that is still to be looked at.
    for (std::size_t i = sockets.size(); i-- > FIRST_CONNECTION;) {
      if (sockets[i].revents == 0 || driverAnswer(sockets[i].fd)) continue;
      (void)close(sockets[i].fd);
      sockets.erase(sockets.begin() + static_cast<std::ptrdiff_t>(i));
    }
    if (sockets[LOG].revents != 0) (void)collectorTake(sockets[LOG].fd);
    if (sockets[DRIVER].revents != 0) {
      const int connection = driverAccept(sockets[DRIVER].fd);
      if (connection >= 0) sockets.push_back({.fd = connection, .events = POLLIN, .revents = 0});
    }
    if (sockets[SIGNALS].revents != 0) takeSignal(sockets[SIGNALS].fd, command);
  }
  // The command's last words are still in the queue.
  while (collectorTake(sockets[LOG].fd)) {
  }
}

}  // namespace

int runInside(char** arguments) {
  const int signals = openSignals();
  if (signals < 0) return notPossible("waiting for signals");
  const int log = collectorListen("/dev/log");
  if (log < 0) return notPossible("answering /dev/log");
  const int driver = driverListen("/dev/nas1");
  if (driver < 0) return notPossible("answering /dev/nas1");
  Command command = start(arguments);
  if (command.pid < 0) return notPossible("starting a process");
  std::vector<pollfd> sockets;
  for (const int fd : {signals, log, driver}) sockets.push_back({.fd = fd, .events = POLLIN, .revents = 0});
  serve(sockets, command);
  return command.exitCode;
}
