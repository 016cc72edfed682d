#pragma once
// How much of its quota an account uses or may use, from the system's own quota report.

#pragma GCC visibility push(default)
extern "C" {
// Returns megabytes, rounded towards zero; which is 0 for the soft limit, 1 for the space in use, 2 for the hard limit,
// anything else gives 0. filesystem picks the report's line and goes to a shell unquoted.
int sysGetQuota(int unused, int id, const char* filesystem, int which);
}
#pragma GCC visibility pop
