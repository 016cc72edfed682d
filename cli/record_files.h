#pragma once
// Why a record file could not be read or changed. The library answers -1 for all of it; a user needs to know whether
// to wait, to become root or to repair.

#include "errors.h"

inline constexpr char kShareFile[] = "/etc/admin/share.gdbm";
inline constexpr char kShareNfsFile[] = "/etc/admin/share_nfs.gdbm";
inline constexpr char kSystemFile[] = "/etc/admin/system.gdbm";

enum class Use { read, change };

// Returns DONE when nothing is wrong with the file (a missing one is no fault), else complains with the reason. For
// reading, every record is looked at: the library's lists end without a word at one that cannot be read.
ExitCode checkRecordFile(const char* file, Use use);

// After a failed call: complains with the file's fault or, when it has none, with `what` as the library's own failure.
[[nodiscard]] ExitCode explainFailure(const char* file, Use use, const char* what);
