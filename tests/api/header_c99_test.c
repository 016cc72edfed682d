/* A C program's view of the public header: it compiles alone, as C99, and what it declares can be called. */

#pragma GCC diagnostic error "-Wpedantic"
#pragma GCC diagnostic error "-Wstrict-prototypes"

#include "api/nas1api.h"

#include <stddef.h>
#include <string.h>

/* Layouts that callers rely on, by an array of negative size where one is wrong. */
typedef char shareInfoIs104[sizeof(ShareInfo) == 104 && offsetof(ShareInfo, path) == 100 ? 1 : -1];
typedef char userItemIs112[sizeof(UserItem) == 112 && offsetof(UserItem, name) == 80 ? 1 : -1];
typedef char groupItemIs48[sizeof(GroupItem) == 48 && offsetof(GroupItem, source) == 44 ? 1 : -1];
typedef char connectionIs104[sizeof(ConnectionRecord) == 104 ? 1 : -1];

int useHeaderFromC(void);

/* Returns the number of the step that went wrong, 0 for none. */
int useHeaderFromC(void) {
  char text[] = "  a b  ";
  int major = 9;
  int minor = 9;
  int length = 0;
  if (Nas1ApiVersion(&major, &minor) != 0 || major != 0 || minor != 1) return 1;
  Nas1Remove_ht_space(text);
  if (strcmp(text, "a b") != 0) return 2;
  if (NasGetConfig("UID_START", 0, NULL, &length) != CFG_INTEGER || length != 4) return 3;
  if (fpConfig[0].get == NULL || fpConfig[CONFIG_COUNT - 1].set == NULL || fpConfig[27].get != NULL) return 4;
  if (Nas1Restart(PROTO_COUNT, 0) != -1) return 5;
  return 0;
}
