#pragma once
// Local accounts: a password record in passwd.gdbm under the user's name, beside the account item.

#include <cstddef>
#include <cstdint>

#include "api/nas1api.h"

struct LocalUserRecord {
  std::uint32_t size;          // 100
  char passwd[NAS_NAME_SIZE];  // in clear, NUL-terminated
  char home[NAS_NAME_SIZE];    // name of the home share, NUL-terminated, empty for none
  std::uint8_t reserved[32];   // 0
};
static_assert(offsetof(LocalUserRecord, passwd) == 4);
static_assert(offsetof(LocalUserRecord, home) == 36);
static_assert(offsetof(LocalUserRecord, reserved) == 68);
static_assert(sizeof(LocalUserRecord) == 100, "stored in passwd.gdbm");

#pragma GCC visibility push(default)
extern "C" {
// The work behind the account entries; names come upper-cased. A null name aborts the process.

// Writes the password record, then makes the account item. Returns 0; -1 the user exists or a store failed; -2 the id
// file could not be opened. password may be null.
int sysAddUser(const char* name, const char* password);
// Deletes the password record, then the account item. Returns 0; -1.
int sysDelUser(const char* name);
int sysAddGroup(const char* name);
int sysDelGroup(const char* name);

// One field of the record, as NasGetUserConfig and NasSetUserConfig tell.
int sysGetUserConfig(const char* name, const char* type, int size, char* out, int* outLen);
int sysSetUserConfig(const char* name, const char* type, int size, const char* value);
int sysGetUserPasswd(const char* name, char* out, int size);
int sysSetUserPasswd(const char* name, const char* password);
}
#pragma GCC visibility pop
