#pragma once
// The key table: every configuration key that has a name, with its type, size and handlers.

inline constexpr int kKeyCount = 128;
inline constexpr int kKeyNameSize = 64;  // NUL included

struct ConfigKeyEntry {
  const char* name;
  int type;  // CFG_...
  int size;  // natural size in bytes
  int (*get)(const char* key, int size, void* buffer, int* lengthOut);
  int (*fallback)(const char* key, int size, void* buffer, int* lengthOut);               // when get fails; may be null
  int (*set)(const char* key, int size, const void* value, const ConfigKeyEntry* table);  // null: read-only
  int (*notify)(int row, int size, void* value);  // after a named set; null when nobody cares
};

extern const ConfigKeyEntry keyTable[kKeyCount];

// Whether setting a key does nothing but store it.
bool isPlainlyStored(const ConfigKeyEntry& entry);

// The row number of a key; -1 for an unknown one.
int findKey(const char* key);
