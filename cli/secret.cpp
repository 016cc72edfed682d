#include "secret.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

volatile std::sig_atomic_t ending = 0;

void noteSignal(int signal) { ending = signal; }

// Standard input without echo. A signal that ends the command does so when the echo is back; to be stopped waits.
class QuietTerminal {
 public:
  QuietTerminal() {
    sigset_t waiting;
    (void)sigemptyset(&waiting);
    (void)sigaddset(&waiting, SIGTSTP);
    for (std::size_t i = 0; i < std::size(signals); ++i) {
      (void)sigaddset(&waiting, signals[i]);
      (void)sigaction(signals[i], nullptr, &actionsBefore[i]);
      struct sigaction noting = {};
      noting.sa_handler = actionsBefore[i].sa_handler == SIG_IGN ? SIG_IGN : noteSignal;
      (void)sigaction(signals[i], &noting, nullptr);
    }
    (void)sigprocmask(SIG_BLOCK, &waiting, &maskBefore);
    (void)tcgetattr(STDIN_FILENO, &before);
    termios quiet = before;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    (void)tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
  }
  ~QuietTerminal() {
    (void)tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
    for (std::size_t i = 0; i < std::size(signals); ++i) (void)sigaction(signals[i], &actionsBefore[i], nullptr);
    (void)sigprocmask(SIG_SETMASK, &maskBefore, nullptr);
    if (ending != 0) (void)raise(ending);
  }
  QuietTerminal(const QuietTerminal&) = delete;
  QuietTerminal& operator=(const QuietTerminal&) = delete;

  // Returns whether a line was typed; false after a signal that ends the command.
  [[nodiscard]] bool waitForLine() const {
    sigset_t open = maskBefore;
    (void)sigaddset(&open, SIGTSTP);
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    while (ending == 0 && ppoll(&input, 1, nullptr, &open) < 0 && errno == EINTR) {
    }
    return ending == 0;
  }

 private:
  static constexpr int signals[] = {SIGINT, SIGQUIT, SIGTERM, SIGHUP};

  termios before = {};
  sigset_t maskBefore = {};
  struct sigaction actionsBefore[std::size(signals)] = {};
};

// One line without its newline; false at the end of the stream.
bool readLine(std::FILE* stream, std::string& line) {
  char* text = nullptr;
  std::size_t room = 0;
  const ssize_t length = getline(&text, &room, stream);
  if (length > 0) line.assign(text, static_cast<std::size_t>(length));
  std::free(text);
  if (length <= 0) return false;
  if (line.back() == '\n') line.pop_back();
  return true;
}

bool ask(const std::string& prompt, std::string& answer) {
  (void)std::fputs(prompt.c_str(), stderr);
  const QuietTerminal quiet;
  const bool answered = quiet.waitForLine() && readLine(stdin, answer);
  (void)std::fputc('\n', stderr);
  return answered;
}

ExitCode readTyped(const char* what, std::string& secret) {
  std::string again;
  const bool typed = ask(std::string("New ") + what + ": ", secret) && ask("The same again: ", again);
  if (!typed) return complain(USAGE, "no %s was typed", what);
  if (again != secret) return complain(USAGE, "the two are not the same; nothing was changed");
  return DONE;
}

ExitCode readFirstLine(const char* what, const std::string& file, std::string& secret) {
  if (file.empty()) {
    return readLine(stdin, secret) ? DONE : complain(USAGE, "standard input holds no %s; give it as one line", what);
  }
  std::FILE* const stream = std::fopen(file.c_str(), "re");
  if (stream == nullptr)
    return complain(USAGE, "the %s cannot be read from %s: %s", what, file.c_str(), std::strerror(errno));
  const bool found = readLine(stream, secret);
  (void)std::fclose(stream);
  return found ? DONE : complain(USAGE, "%s holds no %s; give it as one line", file.c_str(), what);
}

}  // namespace

ExitCode readSecret(const char* what, const std::string& file, std::size_t most, std::string& secret) {
  const bool typed = file.empty() && isatty(STDIN_FILENO) == 1;
  const ExitCode result = typed ? readTyped(what, secret) : readFirstLine(what, file, secret);
  if (result != DONE) return result;
  if (secret.size() > most)
    return complain(USAGE, "the %s has %zu characters; it may have %zu", what, secret.size(), most);
  if (secret.find('\0') != std::string::npos) return complain(UNSAFE_VALUE, "the %s holds a NUL character", what);
  return DONE;
}
