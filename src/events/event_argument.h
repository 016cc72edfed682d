#pragma once
// What an event is about: a word, a text or a record, as its code has it; any of them may be absent.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "api/nas1api.h"
#include "events/mail_templates.h"

// Tells whether the first word is -1. Byte by byte: a text may be shorter than a word.
inline bool isReplay(const void* arg) {
  const auto* const bytes = static_cast<const unsigned char*>(arg);
  for (int i = 0; i < 4; ++i) {
    if (bytes == nullptr || bytes[i] != 0xFF) return false;
  }
  return true;
}

// Word `index` of the argument; 0 without one. Behind the mark of a replay there are no further words.
inline std::int32_t argumentWord(const void* arg, std::size_t index = 0) {
  std::int32_t word = 0;
  if (arg == nullptr || (index > 0 && isReplay(arg))) return word;
  std::memcpy(&word, static_cast<const char*>(arg) + index * sizeof word, sizeof word);
  return word;
}

// The argument as a text; empty without one, and on a replay, whose mark is no text and has no NUL.
inline const char* argumentText(const void* arg) {
  return arg == nullptr || isReplay(arg) ? "" : static_cast<const char*>(arg);
}

// The number of the disk that the word names as the administrator sees it; 0 for none.
inline int argumentDisk(const void* arg) {
  const std::int32_t index = argumentWord(arg);
  if (arg == nullptr || index < 0 || index >= DISK_COUNT) return 0;
  return DiskNumMap[index];
}

// The name of the backup job that the word numbers.
inline const char* argumentBackup(int lang, const void* arg) { return backupName(lang, argumentWord(arg)); }
