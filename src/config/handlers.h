#pragma once
// The handlers of all numeric configuration ids, as they stand in fpConfig. Most come out of the list itself; the rest
// is written where the data lives: in this folder or, for live readings and status words, in status/.
//   getter (size, buffer, lengthOut)  0 or -1; never more than size bytes; lengthOut may be null
//   setter (size, value)              0 or -1

#pragma GCC visibility push(default)
extern "C" {
#define CONFIG_HANDLER_PAIR(id, name)                     \
  int get_##name(int size, void* buffer, int* lengthOut); \
  int set_##name(int size, void* value);
#define TEXT_ID CONFIG_HANDLER_PAIR
#define INTEGER_ID CONFIG_HANDLER_PAIR
#define ACTING_ID CONFIG_HANDLER_PAIR
#define STORED_TEXT_ID CONFIG_HANDLER_PAIR
#define STORED_INTEGER_ID CONFIG_HANDLER_PAIR
#define COMMUNITY_ID CONFIG_HANDLER_PAIR
#define OWN_ID CONFIG_HANDLER_PAIR
#define READ_ONLY_ID(id, getter) int getter(int size, void* buffer, int* lengthOut);
#define EMPTY_ID(id)
#include "config/numeric_ids.inc"
#undef CONFIG_HANDLER_PAIR

// A pair without an id. Its record is "Full_SYS_n_USER_Backup_Date", another one than the named key's.
int get_Full_SYSnUSER_Backup_Date(int size, void* buffer, int* lengthOut);
int set_Full_SYSnUSER_Backup_Date(int size, void* value);
}
#pragma GCC visibility pop
