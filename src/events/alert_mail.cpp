// Alert mail: headers and body of an event's mail in a spool file, handed to the sender program in the background.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "api/nas1api.h"
#include "core/command.h"
#include "events/event_argument.h"
#include "events/guarded_format.h"
#include "events/mail_templates.h"

static constexpr char kSender[] = "/etc/nas1mail";
static constexpr char kSpoolPattern[] = "/var/spool/NAS1XXXXXX";
static constexpr std::size_t kServerNameSize = 21;  // 20 characters and a NUL
static constexpr std::size_t kAddressSize = 129;    // 128 bytes and a NUL
static constexpr std::size_t kSubjectSize = 256;
static constexpr int kJapanese = 2;
static constexpr char kUseAdminMail[] = "USE_ADMINMAIL_ADDR";
static constexpr std::size_t kUseAdminMailCompared = 17;

// The language of the mail that is being sent.
static int mailLanguage = 0;

extern "C" int CharMap(int n) {
  static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  return static_cast<unsigned>(n) < 64 ? kAlphabet[n] : -1;
}

static std::size_t encodedLength(const char* text) { return (std::strlen(text) + 3) / 3 * 4; }

// Kept: the NUL is part of what is encoded, and there is no padding.
extern "C" void EncodeHeader(char* text) {
  if (text == nullptr) return;
  const std::size_t size = std::strlen(text) + 1;
  const std::size_t length = encodedLength(text);
  const TrackedBuffer encoded(kMailUnit, __LINE__, length);
  if (encoded.data == nullptr) return;
  char* out = encoded.text();
  for (std::size_t i = 0; i < size; i += 3) {
    unsigned group = 0;
    for (std::size_t k = i; k < i + 3; ++k) group = group << 8 | (k < size ? static_cast<unsigned char>(text[k]) : 0U);
    for (int shift = 18; shift >= 0; shift -= 6)
      *out++ = static_cast<char>(CharMap(static_cast<int>(group >> shift & 63)));
  }
  std::memcpy(text, encoded.data, length);
  text[length] = '\0';
}

namespace {

enum class TextArgument { none, disk, word, text, record, backupJob, raid };

// What the texts of an event are formatted with; the body gets the server name before it.
struct MailRule {
  TextArgument subject, body;
  bool hasBody;
};

MailRule mailRule(unsigned code) {
  using enum TextArgument;
  // clang-format off
  static constexpr MailRule rules[EVENT_COUNT] = {
      /*  0 */ {disk, disk, true},            /*  1 */ {disk, disk, true},
      /*  2 */ {disk, disk, true},            /*  3 */ {disk, disk, true},
      /*  4 */ {word, record, true},          /*  5 */ {disk, disk, true},
      /*  6 */ {text, text, true},            /*  7 */ {text, text, true},
      /*  8 */ {none, none, true},            /*  9 */ {none, none, true},
      /* 10 */ {none, none, true},            /* 11 */ {none, none, true},
      /* 12 */ {none, none, true},            /* 13 */ {none, none, true},
      /* 14 */ {none, none, true},            /* 15 */ {backupJob, backupJob, true},
      /* 16 */ {backupJob, backupJob, true},  /* 17 */ {backupJob, backupJob, true},
      /* 18 */ {backupJob, backupJob, true},  /* 19 */ {none, none, true},
      /* 20 */ {none, none, true},            /* 21 */ {raid, raid, true},
      /* 22 */ {none, disk, true},            /* 23 */ {none, none, true},
      /* 24 */ {none, none, true},            /* 25 */ {none, none, true},
      /* 26 */ {none, none, false},           /* 27 */ {none, none, false},
      /* 28 */ {none, none, true},
  };
  // clang-format on
  return code < EVENT_COUNT ? rules[code] : MailRule{none, none, false};
}

char* copyText(int line, const char* text) { return formatGuarded(kMailUnit, line, "s", "%s", text); }

// A text about a RAID is formatted twice: with a text that holds the conversion for its number, then with the number.
// `server` goes before the name, where it is not null. A text that does not fit is not looked at a second time.
char* raidText(const char* text, const char* server, const char* name, std::int32_t number) {
  const char* const kinds = server == nullptr ? "s" : "ss";
  const char* const first = server == nullptr ? name : server;
  TrackedText once(kMailUnit, __LINE__, formatGuarded(kMailUnit, __LINE__, kinds, text, first, name));
  if (number == -1 || !conversionsFit(text, kinds)) return once.release();
  return formatGuarded(kMailUnit, __LINE__, "d", once.text(), number);
}

// The subject text of an event, before any encoding.
char* subjectOf(unsigned code, const void* arg) {
  const char* const text = subjectText(mailLanguage, code);
  switch (mailRule(code).subject) {
    case TextArgument::disk:
      return formatGuarded(kMailUnit, __LINE__, "d", text, argumentDisk(arg));
    case TextArgument::word:
      return formatGuarded(kMailUnit, __LINE__, "d", text, argumentWord(arg));
    case TextArgument::text:
      return formatGuarded(kMailUnit, __LINE__, "s", text, argumentText(arg));
    case TextArgument::backupJob:
      return formatGuarded(kMailUnit, __LINE__, "s", text, argumentBackup(mailLanguage, arg));
    case TextArgument::raid:
      return raidText(text, nullptr, argumentWord(arg) == -1 ? "None-Raid" : "Raid %d", argumentWord(arg));
    case TextArgument::none:
    case TextArgument::record:
      break;
  }
  return copyText(__LINE__, text);
}

// Doubles the percent signs of a text that becomes part of a format.
char* withDoubledPercents(const char* text) {
  auto* const doubled = static_cast<char*>(sysMalloc(kMailUnit, __LINE__, 2 * std::strlen(text) + 1));
  if (doubled == nullptr) return nullptr;
  char* out = doubled;
  for (; *text != '\0'; ++text) {
    if (*text == '%') *out++ = '%';
    *out++ = *text;
  }
  *out = '\0';
  return doubled;
}

char* raidBody(const char* text, const char* server, const void* arg) {
  if (argumentWord(arg) == -1) return raidText(text, server, "None Raid", -1);
  const TrackedText doubled(kMailUnit, __LINE__, withDoubledPercents(server));
  return raidText(text, doubled.text(), "RAID %d", argumentWord(arg));
}

// Code 4: a file system's words: number, blocks, used blocks, block size.
char* recordBody(const char* text, const char* server, const void* arg) {
  const std::int32_t number = argumentWord(arg, 0);
  const auto blocks = static_cast<std::uint32_t>(argumentWord(arg, 1));
  const auto used = static_cast<std::uint32_t>(argumentWord(arg, 2));
  const auto blockSize = static_cast<std::uint32_t>(argumentWord(arg, 3));
  const std::uint32_t blockKib = blockSize / 1024;
  const double total = static_cast<double>(blocks) * blockKib / 1024 / 1024;
  const double part = static_cast<double>(used * blockSize) / 1024;
  return formatGuarded(kMailUnit, __LINE__, "sdddff", text, server, number, number, number, total, part);
}

// The body text of an event.
char* bodyOf(unsigned code, const void* arg, const char* server) {
  const char* const text = bodyText(mailLanguage, code);
  const MailRule rule = mailRule(code);
  if (!rule.hasBody) return copyText(__LINE__, "");
  switch (rule.body) {
    case TextArgument::disk:
      return formatGuarded(kMailUnit, __LINE__, "sd", text, server, argumentDisk(arg));
    case TextArgument::text:
      return formatGuarded(kMailUnit, __LINE__, "ss", text, server, argumentText(arg));
    case TextArgument::backupJob:
      return formatGuarded(kMailUnit, __LINE__, "ss", text, server, argumentBackup(mailLanguage, arg));
    case TextArgument::record:
      return recordBody(text, server, arg);
    case TextArgument::raid:
      return raidBody(text, server, arg);
    case TextArgument::none:
    case TextArgument::word:
      break;
  }
  return formatGuarded(kMailUnit, __LINE__, "s", text, server);
}

// Encodes a subject text for the header; the text is replaced by a block with room for its longer form.
void encodeSubject(TrackedText* subject) {
  const std::size_t size = encodedLength(subject->text()) + 1;
  auto* const encoded = static_cast<char*>(sysMalloc(kMailUnit, __LINE__, size));
  if (encoded == nullptr) return;
  std::memcpy(encoded, subject->text(), std::strlen(subject->text()) + 1);
  EncodeHeader(encoded);
  subject->replace(encoded);
}

void writeAll(int fd, const char* text, std::size_t length) {
  while (length > 0) {
    const ssize_t written = write(fd, text, length);
    if (written <= 0) return;
    text += written;
    length -= static_cast<std::size_t>(written);
  }
}

void writeText(int fd, const char* text) { writeAll(fd, text, std::strlen(text)); }

// Writes the subject line; it is cut to its buffer, its end is not.
bool writeSubject(int fd, unsigned code, const void* arg) {
  const bool encoded = mailLanguage == kJapanese;
  const char* const before = encoded ? "Subject: =?iso-2022-jp?B?" : "Subject: ";
  const char* const after = encoded ? "=?=\n" : "\n";
  TrackedText subject(kMailUnit, __LINE__, subjectOf(code, arg));
  if (encoded) encodeSubject(&subject);
  const TrackedBuffer line(kMailUnit, __LINE__, kSubjectSize);
  if (line.data == nullptr || subject.data == nullptr) return false;
  const int room = static_cast<int>(kSubjectSize - 1 - std::strlen(before) - std::strlen(after));
  const int length = std::snprintf(line.text(), kSubjectSize, "%s%.*s%s", before, room, subject.text(), after);
  writeAll(fd, line.text(), static_cast<std::size_t>(length));
  return true;
}

struct Address {
  char text[kAddressSize] = {};

  Address() = default;
  explicit Address(const char* key) { read(key); }
  void read(const char* key) {
    text[0] = '\0';
    (void)NasGetConfig(key, kAddressSize - 1, text, nullptr);
    text[kAddressSize - 1] = '\0';
  }
};

void writeSender(int fd, const char* server) {
  Address sender("SENDER_ADDRESS");
  // Room for the server's name twice and an address. (dprintf would leak its buffer when the spool is full.)
  char line[2 * kServerNameSize + kAddressSize + 16];
  if (NasGetServiceInstall("sender_address") == 0) {
    (void)std::snprintf(line, sizeof line, "From: %s\n", server);
    writeText(fd, line);
    return;
  }
  if (std::strncmp(sender.text, kUseAdminMail, kUseAdminMailCompared) == 0) {
    sender.read("ADMIN_EMAIL");
    if (sender.text[0] == '\0') sender.read("ADMIN_EMAIL_2");
  }
  if (sender.text[0] == '\0') (void)std::snprintf(sender.text, sizeof sender.text, "%s@%s", server, server);
  (void)std::snprintf(line, sizeof line, "From: \"%s\"<%s>\n", server, sender.text);
  writeText(fd, line);
}

constexpr std::size_t kListSize = 201;  // 200 bytes and a NUL

// The addresses of ADMIN_EMAIL joined by commas; "(null)" when there is none.
void joinAdminAddresses(char (&list)[kListSize]) {
  char addresses[kListSize] = {};
  (void)NasGetConfig("ADMIN_EMAIL", kListSize - 1, addresses, nullptr);
  list[0] = '\0';
  std::size_t length = 0;
  char* rest = nullptr;
  for (const char* piece = strtok_r(addresses, ";", &rest); piece != nullptr; piece = strtok_r(nullptr, ";", &rest)) {
    length += static_cast<std::size_t>(
        std::snprintf(list + length, sizeof list - length, "%s%s", length > 0 ? "," : "", piece));
  }
  if (length == 0) (void)std::snprintf(list, sizeof list, "(null)");
}

}  // namespace

extern "C" int SetupMailBody(int fd, unsigned code, const void* arg, const char* recipients) {
  char server[kServerNameSize] = {};
  (void)Nas1GetConfig(0, kServerNameSize - 1, server, nullptr);
  if (!writeSubject(fd, code, arg)) return -1;
  writeSender(fd, server);
  writeText(fd, "To: ");
  writeText(fd, recipients == nullptr ? "" : recipients);
  writeText(fd, "\n\n");
  const TrackedText text(kMailUnit, __LINE__, bodyOf(code, arg, server));
  writeText(fd, text.text());
  writeText(fd, ".\n");
  return 0;
}

extern "C" int Nas1SendMailDelFile(unsigned code, const void* arg, const char* path) {
  mailLanguage = GetLang();
  const int loaded = NasMailMsgInit(mailLanguage);

  char first[kListSize];
  joinAdminAddresses(first);
  const Address second("ADMIN_EMAIL_2");
  char spool[sizeof kSpoolPattern];
  std::memcpy(spool, kSpoolPattern, sizeof spool);
  const int fd = mkostemp(spool, O_CLOEXEC);
  char recipients[sizeof first + sizeof second.text];
  const bool none = std::strcmp(first, "(null)") == 0;
  (void)std::snprintf(recipients, sizeof recipients, none ? "%s%s," : "%s,%s", none ? "" : first, second.text);

  (void)SetupMailBody(fd, code, arg, recipients);
  if (fd >= 0) (void)close(fd);
  if (loaded != 0) (void)NasMailMsgFree(mailLanguage);
  return runCommand(kMailUnit, __LINE__, "%s %s \"%s\" \"%s\" &", kSender, spool, recipients,
                    path == nullptr ? "" : path);
}

extern "C" int Nas1SendMail(unsigned code, const void* arg) { return Nas1SendMailDelFile(code, arg, nullptr); }
