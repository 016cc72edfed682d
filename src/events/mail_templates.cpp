#include "events/mail_templates.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/memory.h"
#include "events/event_log.h"

static constexpr int kLineSize = 1024;

struct MailLanguage {
  std::uint32_t codePage;
  const char* templateFile;
};

// The first row also stands for every other code page.
static constexpr MailLanguage mailLanguages[MAIL_LANGUAGE_COUNT] = {
    {0, "/etc/mail/alert.en"},   {950, "/etc/mail/alert.big5"}, {932, "/etc/mail/alert.jp"},
    {949, "/etc/mail/alert.ko"}, {936, "/etc/mail/alert.cn"},
};

extern "C" {
char** body[MAIL_LANGUAGE_COUNT];
char** Subject[MAIL_LANGUAGE_COUNT];
char** backup[MAIL_LANGUAGE_COUNT];
}

static bool loaded[MAIL_LANGUAGE_COUNT];

// The three tables of every language and the key words of their lines.
struct TemplateTable {
  const char* keyWord;
  char*** tables;  // by language
  unsigned entries;
};
static constexpr TemplateTable templateTables[] = {
    {"body", body, EVENT_COUNT},
    {"subject", Subject, EVENT_COUNT},
    {"backup", backup, BACKUP_JOB_COUNT},
};

static bool unknownLanguage(int lang) { return static_cast<unsigned>(lang) >= MAIL_LANGUAGE_COUNT; }

// Copies a value with its escapes replaced; it ends at a raw line feed. Null without memory.
static char* unescaped(const char* value) {
  const std::size_t length = std::strcspn(value, "\n");
  auto* const text = static_cast<char*>(sysMalloc(kMailUnit, __LINE__, length + 1));
  if (text == nullptr) return nullptr;
  static constexpr char kEscapes[] = "\\nrt";
  static constexpr char kMeanings[] = "\\\n\r\t";
  char* out = text;
  for (std::size_t i = 0; i < length; ++i) {
    if (value[i] != '\\') {
      *out++ = value[i];
      continue;
    }
    if (++i == length) break;
    if (const char* const escape = std::strchr(kEscapes, value[i]); escape != nullptr) {
      *out++ = kMeanings[escape - kEscapes];
    } else {
      (void)nas1_log(0, 2, "%s:%d warning! unknown format: \\%c in src[%d]=%.*s", kMailUnit, 100, value[i],
                     static_cast<int>(i - 1), static_cast<int>(length), value);
    }
  }
  *out = '\0';
  return text;
}

// Sets the entry that a line of the form KEYnn=value names, if it names one.
static void takeLine(int lang, const char* line) {
  for (const TemplateTable& table : templateTables) {
    const std::size_t wordLength = std::strlen(table.keyWord);
    if (std::strncmp(line, table.keyWord, wordLength) != 0) continue;
    const char* const digits = line + wordLength;
    const std::size_t digitCount = std::strspn(digits, "0123456789");
    if (digitCount == 0 || digits[digitCount] != '=') return;
    const unsigned long index = std::strtoul(digits, nullptr, 10);
    char** const entries = table.tables[lang];
    if (index >= table.entries || entries == nullptr) return;
    if (entries[index] != nullptr) sysFree(kMailUnit, __LINE__, entries[index]);
    entries[index] = unescaped(digits + digitCount + 1);
    return;
  }
}

static void makeTables(int lang) {
  for (const TemplateTable& table : templateTables) {
    auto* const entries = static_cast<char**>(sysMalloc(kMailUnit, __LINE__, table.entries * sizeof(char*)));
    if (entries != nullptr) std::memset(entries, 0, table.entries * sizeof(char*));
    table.tables[lang] = entries;
  }
}

extern "C" int GetLang(void) {
  std::uint32_t codePage = 0;
  (void)NasGetConfig("EMAIL_LANGUAGE", sizeof codePage, &codePage, nullptr);
  for (int lang = 1; lang < MAIL_LANGUAGE_COUNT; ++lang) {
    if (mailLanguages[lang].codePage == codePage) return lang;
  }
  return 0;
}

extern "C" int NasMailMsgInit(int lang) {
  if (unknownLanguage(lang) || loaded[lang]) return 0;
  // Kept: a language without a file counts as loaded, with no texts, until it is freed.
  loaded[lang] = true;
  std::FILE* const file = std::fopen(mailLanguages[lang].templateFile, "re");
  if (file == nullptr) return 0;
  makeTables(lang);
  char line[kLineSize];
  while (std::fgets(line, sizeof line, file) != nullptr) takeLine(lang, line);
  (void)std::fclose(file);
  return 1;
}

extern "C" int NasMailMsgFree(int lang) {
  if (unknownLanguage(lang)) return 0;
  for (const TemplateTable& table : templateTables) {
    char** const entries = table.tables[lang];
    if (entries == nullptr) continue;
    for (unsigned i = 0; i < table.entries; ++i) {
      if (entries[i] != nullptr) sysFree(kMailUnit, __LINE__, entries[i]);
    }
    sysFree(kMailUnit, __LINE__, static_cast<void*>(entries));
    table.tables[lang] = nullptr;
  }
  loaded[lang] = false;
  return 0;
}

static const char* entryText(char** const entries, unsigned long index, unsigned long count) {
  if (entries == nullptr || index >= count || entries[index] == nullptr) return "";
  return entries[index];
}

const char* subjectText(int lang, unsigned code) { return entryText(Subject[lang], code, EVENT_COUNT); }

const char* bodyText(int lang, unsigned code) { return entryText(body[lang], code, EVENT_COUNT); }

const char* backupName(int lang, std::int32_t number) {
  if (number < 1) return "";
  return entryText(backup[lang], static_cast<unsigned>(number) - 1, BACKUP_JOB_COUNT);
}
