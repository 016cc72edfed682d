#pragma once
// The appliance's event log, for every room of the library: this header includes nothing, so that even the ground floor
// can write a line. The numbers of levels and categories, LogRecord and nas_time stand in nas1api.h.

struct LogRecord;

#pragma GCC visibility push(default)
extern "C" {

// Writes one line; contracts as in nas1api.h. No format and no argument may need a call that logs in its turn.
[[gnu::format(printf, 3, 4)]] int nas1_log(unsigned level, unsigned category, const char* format, ...);
[[gnu::format(printf, 3, 0)]] int vNas1Log(unsigned level, unsigned category, const char* format,
                                           __builtin_va_list arguments);
int LogFile(const LogRecord* record);
int GetDaemonPid(void);

// Drops the oldest lines of a log of `size` bytes: less than 1,038,336 bytes remain and the first line is whole.
// Only for the holder of the log's lock. Returns 0, also when nothing had to go; -1 when the log stays untrimmed.
int AdjustFile(int size);
}
#pragma GCC visibility pop
