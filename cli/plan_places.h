#pragma once
// Where things are in a throw-away copy.

inline constexpr char kShell[] = "/bin/sh";
inline constexpr char kDriver[] = "/dev/nas1";
inline constexpr char kSystemLog[] = "/dev/log";

// The environment variable that tells the copy's shell where the copy's own files are, and those files.
inline constexpr char kStageVariable[] = "NAS1_PLAN_STAGE";
inline constexpr char kRealShell[] = "/sh";
inline constexpr char kCommandsFile[] = "/commands";
inline constexpr char kDriverSocket[] = "/driver";
inline constexpr char kNoLog[] = "/log";
