#include "events/dispatcher.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "config/handlers.h"
#include "config/numeric_config.h"
#include "core/command.h"
#include "events/event_argument.h"
#include "events/event_log.h"
#include "events/guarded_format.h"
#include "status/disks.h"

static constexpr char kUnit[] = "dispatcher.cpp";
static constexpr char kPendingFile[] = "/var/log/MailEvent";
static constexpr char kDeferredArgumentFile[] = "/var/log/RestoreEvent";
static constexpr char kUpsFaultFile[] = "/var/log/ups_fault";
static constexpr int kRestoreFinished = 2;

static constexpr unsigned kNoBit = 0;
static constexpr unsigned bit(unsigned n) { return 1U << (n % 32); }

// Bits of EVENT_ACTION that have a critical event shut the appliance down.
static constexpr unsigned kShutDownOn8 = bit(29);
static constexpr unsigned kShutDownOn11 = bit(30);

namespace {

enum class LogArgument { none, disk, word, text, backupJob, raid };

// When an event's mail goes out, if the administrator is to be notified.
enum class Mail {
  now,
  deferOnShutdown,  // deferred when the event shuts the appliance down, else now
  deleteUpsFault,   // now; the sender deletes the marker file that the event makes
  deferred,         // by the replay after the next start
  deferUnfinished,  // deferred with its argument unless the word says that the restore has finished
};

enum Always { WHEN_WANTED, ALWAYS };
enum Trap { TRAP, NO_TRAP };
enum Logged { LOGGED, LOGGED_ONCE, NOT_LOGGED };  // once: not on a replay

struct EventRule {
  Logged logged;
  unsigned level;
  unsigned category;
  LogArgument argument;
  Mail mail;
  Always mailed;
  Trap trap;
  unsigned clears;    // bits of HW_EVENT_STATUS; kNoBit: the event sets its own bit
  unsigned shutdown;  // bit of EVENT_ACTION that makes the event shut the appliance down
};

using enum LogArgument;

// clang-format off
constexpr EventRule eventRules[EVENT_COUNT] = {
    //        logged       level cat argument   mail                   mailed       trap     clears                        shutdown
    /*  0 */ {LOGGED,      3, 3, disk,      Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /*  1 */ {LOGGED,      0, 3, disk,      Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /*  2 */ {LOGGED,      1, 3, disk,      Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /*  3 */ {LOGGED,      0, 3, disk,      Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /*  4 */ {LOGGED,      2, 3, word,      Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /*  5 */ {LOGGED,      2, 3, disk,      Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /*  6 */ {LOGGED,      2, 4, text,      Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /*  7 */ {LOGGED,      0, 4, text,      Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /*  8 */ {LOGGED_ONCE, 3, 1, none,      Mail::deferOnShutdown, WHEN_WANTED, TRAP,    kNoBit,                       kShutDownOn8},
    /*  9 */ {LOGGED_ONCE, 3, 5, none,      Mail::deleteUpsFault,  WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /* 10 */ {LOGGED_ONCE, 1, 5, none,      Mail::deferred,        WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /* 11 */ {LOGGED_ONCE, 3, 1, none,      Mail::deferOnShutdown, WHEN_WANTED, TRAP,    kNoBit,                       kShutDownOn11},
    /* 12 */ {LOGGED,      2, 1, none,      Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /* 13 */ {LOGGED,      2, 2, none,      Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /* 14 */ {LOGGED_ONCE, 0, 2, none,      Mail::deferred,        WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /* 15 */ {LOGGED,      0, 2, backupJob, Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /* 16 */ {LOGGED,      2, 2, backupJob, Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /* 17 */ {LOGGED_ONCE, 0, 2, backupJob, Mail::deferUnfinished, WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /* 18 */ {LOGGED_ONCE, 2, 2, backupJob, Mail::deferUnfinished, WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /* 19 */ {LOGGED,      2, 0, none,      Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /* 20 */ {LOGGED,      3, 3, none,      Mail::now,             ALWAYS,      TRAP,    kNoBit,                       kNoBit},
    /* 21 */ {LOGGED,      3, 3, raid,      Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /* 22 */ {LOGGED,      3, 3, disk,      Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /* 23 */ {NOT_LOGGED,  0, 0, none,      Mail::now,             ALWAYS,      NO_TRAP, kNoBit,                       kNoBit},
    /* 24 */ {LOGGED,      2, 5, none,      Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
    /* 25 */ {LOGGED,      0, 5, none,      Mail::now,             WHEN_WANTED, TRAP,    bit(9) | bit(10) | bit(24),   kNoBit},
    /* 26 */ {NOT_LOGGED,  0, 0, none,      Mail::now,             WHEN_WANTED, TRAP,    bit(8),                       kNoBit},
    /* 27 */ {NOT_LOGGED,  0, 0, none,      Mail::now,             WHEN_WANTED, TRAP,    bit(11),                      kNoBit},
    /* 28 */ {LOGGED,      3, 3, text,      Mail::now,             WHEN_WANTED, TRAP,    kNoBit,                       kNoBit},
};
// clang-format on

// What holds for a code that the table does not have.
constexpr EventRule unknownEvent = {NOT_LOGGED, 0, 0, none, Mail::now, WHEN_WANTED, TRAP, kNoBit, kNoBit};

constexpr unsigned kDiskFailed = 0;  // lights the disk's LED
constexpr unsigned kOverheated = 11;

// One event on its way through the steps.
struct Event {
  unsigned code;
  void* arg;
  const EventRule& rule;
  bool replay;
  unsigned action;  // EVENT_ACTION

  [[nodiscard]] bool wanted() const { return (action & bit(code)) != 0; }
  [[nodiscard]] bool shutsDown() const { return (action & rule.shutdown) != 0; }
};

void keepStatus(const Event& event) {
  unsigned status = 0;
  if (Nas1GetConfig(CONFIG_HW_EVENT_STATUS, sizeof status, &status, nullptr) < 0) return;
  if ((status & bit(event.code)) != 0) return;
  status = event.rule.clears != kNoBit ? status & ~event.rule.clears : status | bit(event.code);
  // The replay after a shutdown is about the condition that led to it, not about now.
  if (event.replay && event.rule.mail == Mail::deferOnShutdown) return;
  (void)Nas1SetConfig(CONFIG_HW_EVENT_STATUS, sizeof status, &status);
}

void sendTrap(const Event& event) {
  if (event.wanted() && !event.replay && event.rule.trap == TRAP) {
    (void)NasSendSNMPtrap(static_cast<int>(event.code));
  }
}

// Reads one number from a file; false when it cannot be read.
bool readNumber(const char* path, const char* format, void* number) {
  std::FILE* const file = std::fopen(path, "re");
  if (file == nullptr) return false;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const bool read = std::fscanf(file, format, number) == 1;
#pragma GCC diagnostic pop
  (void)std::fclose(file);
  return read;
}

// Notes that the replay has to send the event's mail.
void defer(const Event& event) {
  unsigned long pending = 0;
  if (!readNumber(kPendingFile, "%lX", &pending)) pending = 0;
  std::FILE* const file = std::fopen(kPendingFile, "we");
  if (file == nullptr) return;
  (void)std::fprintf(file, "%lX", pending | bit(event.code));
  (void)std::fflush(file);
  (void)std::fclose(file);
}

void deferWithArgument(const Event& event) {
  defer(event);
  std::FILE* const file = std::fopen(kDeferredArgumentFile, "we");
  if (file == nullptr) return;
  (void)std::fprintf(file, "%d", argumentWord(event.arg));
  (void)std::fclose(file);
}

void sendNow(const Event& event) { (void)Nas1SendMail(event.code, event.arg); }

// A replay mails what was deferred, with the argument that was kept for it.
void mailReplay(const Event& event) {
  std::int32_t word = 0;
  if (event.rule.mail == Mail::deferUnfinished && access(kDeferredArgumentFile, R_OK) == 0) {
    if (readNumber(kDeferredArgumentFile, "%d", &word)) std::memcpy(event.arg, &word, sizeof word);
    (void)unlink(kDeferredArgumentFile);
  }
  sendNow(event);
}

void mail(const Event& event) {
  if ((!event.wanted() || event.replay) && event.rule.mailed == WHEN_WANTED) {
    if (event.replay) mailReplay(event);
    return;
  }
  switch (event.rule.mail) {
    case Mail::now:
      sendNow(event);
      break;
    case Mail::deferOnShutdown:
      if (event.shutsDown()) {
        defer(event);
        break;
      }
      if (event.code == kOverheated) (void)nas1_log(1, 6, "before sendmail of overheat");
      sendNow(event);
      break;
    case Mail::deleteUpsFault:
      (void)!std::system("touch /var/log/ups_fault");
      (void)Nas1SendMailDelFile(event.code, event.arg, kUpsFaultFile);
      break;
    case Mail::deferred:
      defer(event);
      break;
    case Mail::deferUnfinished:
      if (argumentWord(event.arg) == kRestoreFinished) {
        sendNow(event);
      } else {
        deferWithArgument(event);
      }
      break;
  }
}

// The log line's text: the English subject, formatted with what the event is about.
char* logText(const Event& event) {
  const char* const text = subjectText(0, event.code);
  switch (event.rule.argument) {
    case disk:
      return formatGuarded(kUnit, __LINE__, "d", text, argumentDisk(event.arg));
    case word:
      return formatGuarded(kUnit, __LINE__, "d", text, argumentWord(event.arg));
    case LogArgument::text:
      return formatGuarded(kUnit, __LINE__, "s", text, argumentText(event.arg));
    case backupJob:
      return formatGuarded(kUnit, __LINE__, "s", text, argumentBackup(0, event.arg));
    case raid: {
      char name[32] = "None Raid";
      const std::int32_t number = argumentWord(event.arg);
      if (number != -1) (void)std::snprintf(name, sizeof name, "Raid %d", number);
      return formatGuarded(kUnit, __LINE__, "s", text, name);
    }
    case none:
      break;
  }
  return formatGuarded(kUnit, __LINE__, "", text);
}

void log(const Event& event) {
  const TrackedText text(kUnit, __LINE__, logText(event));
  (void)nas1_log(event.rule.level, event.rule.category, "%s", text.text());
}

void logAndAct(const Event& event) {
  const bool skipped = event.rule.logged == LOGGED_ONCE && event.replay;
  if (event.rule.logged == NOT_LOGGED || skipped) return;
  log(event);
  if (event.code == kDiskFailed) (void)runCommand(kUnit, __LINE__, "/sbin/setled 2 %d 2", argumentWord(event.arg));
  if (event.shutsDown()) {
    (void)Nas1System("rm -f /var/log/shutdown.nas");
    (void)Nas1Shutdown();
  }
}

void buildDiskMapOnce() {
  static bool built = false;
  if (built) return;
  initDiskNumMap();
  built = true;
}

}  // namespace

int dispatchEvent(unsigned code, void* arg, TellProtocols tell) {
  buildDiskMapOnce();
  const int loaded = NasMailMsgInit(0);
  const int result = tell(static_cast<int>(code), arg);
  unsigned action = 0;
  (void)get_EVENT_ACTION(sizeof action, &action, nullptr);
  const Event event = {.code = code,
                       .arg = arg,
                       .rule = code < EVENT_COUNT ? eventRules[code] : unknownEvent,
                       .replay = isReplay(arg),
                       .action = action};
  keepStatus(event);
  sendTrap(event);
  mail(event);
  logAndAct(event);
  if (loaded != 0) (void)NasMailMsgFree(0);
  return result;
}
