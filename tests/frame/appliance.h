#pragma once
// What every test stands on. Tests run inside the throw-away appliance on its real paths; the fixture brings it to a
// known empty state before each of them and looks afterwards whether anything was left behind. The headers are those
// that most tests need.

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "api/nas1api.h"

using Lines = std::vector<std::string>;
using Results = std::vector<int>;  // of several calls, to be looked at together

Lines operator+(Lines left, const Lines& right);

// Before each test: no records, no System V objects, no logs, no generated files, no shares; the driver answers every
// request and knows no monitor daemon; no defaults; the helper programs record and do nothing else.
// After it: the tracked allocator, the open descriptors, the children and the attached segments are what they were.
// What the library keeps in the process (batch flags, code page, servicesf) a test that changes it puts back itself.
class ApplianceTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  // What TearDown looks at, at any time.
  void expectNothingLeft();

  // Descriptors that the calls of a test leave open by rule; set it before the test ends.
  int descriptorsLeftByRule = 0;

 private:
  struct Holdings {
    long allocated;                     // bytes in the tracked allocator
    std::map<int, std::string> opened;  // descriptor and what it refers to
    std::vector<pid_t> children;
    Lines segments;  // attached System V segments, as /proc/self/maps names them
  };
  static Holdings holdings();
  Holdings heldAtSetUp;
};

// Files. Writing makes missing folders and replaces the content in place, so a file keeps its inode.
void writeFile(const std::string& path, std::string_view content);
std::optional<std::string> readFile(const std::string& path);  // nothing when it cannot be read
Lines readLines(const std::string& path);                      // none when it cannot be read
bool exists(const std::string& path);
void setDefaults(std::string_view text);  // /etc/default.zelmar
void blockFile(const std::string& path);  // a folder takes its place: it can be neither read nor written

// A file out of the way while this lives.
struct MovedAway {
  const std::string path;
  explicit MovedAway(std::string movedPath);
  ~MovedAway();
  MovedAway(const MovedAway&) = delete;
  MovedAway& operator=(const MovedAway&) = delete;
};

// The text in a field of so many bytes.
std::string padded(std::string text, std::size_t size);

// Records of the files under /etc/admin, read and written past the library. The key's NUL is added here; values are
// raw.
std::optional<std::string> storedRecord(const std::string& file, std::string_view key);
void storeRecord(const std::string& file, std::string_view key, std::string_view value);
Lines storedKeys(const std::string& file);  // sorted, each without its NUL; an empty list when there is no file
void storeText(std::string_view key, const std::string& text);  // settings of system.gdbm: a text with its NUL,
void storeWord(std::string_view key, std::uint32_t word);       // a number

// The bytes of a plain value, such as an integer or a packed record.
template <typename T>
std::string bytesOf(const T& value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

// Whether the condition comes true within 10 s.
bool comes(const std::function<bool()>& condition);

// What the stand-ins recorded since the test began.
Lines commands();  // "/sbin/setled 1 2": path as called, arguments
Lines awaitCommands(
    std::size_t count);  // the same once there are that many (those run in the background), or after 5 s
Lines commandsOf(const std::function<void()>& call);  // those that a call runs, unless in the background
Lines driverRequests();                               // "0x480D 1"; a query without its argument, "0x4809"
Lines systemLog();                                    // "err text": all that was sent so far
Lines applianceLog();                                 // whole lines of /var/log/nas1log
Lines applianceMessages();                            // the same without the time stamp: "<ERR>  [SW]   text"

// How the stand-ins answer.
void refuseDriverRequest(int request);                      // the driver refuses that request from now on
void setMonitorDaemon(pid_t pid);                           // what the driver gives as the monitor daemon
void setExitStatus(const std::string& helper, int status);  // "setled": what that helper program ends with
void setOutput(const std::string& helper, std::string_view text);
void letHelpersAct();  // helpers do their work again (start daemons, write list files)

// A child process and how it ended.
struct ChildResult {
  int exitCode;        // -1 when a signal ended it
  int signal;          // 0 when it ended by itself
  std::string output;  // what it wrote to standard output and standard error
};
// Runs `task` in a child, which ends with 0 when it returns without a failed expectation.
ChildResult inChild(const std::function<void()>& task);

// Child processes that run a task each; `failed` awaits them and tells how many missed an expectation or were stopped.
struct Processes {
  std::vector<pid_t> pids;

  void start(const std::function<void()>& task);
  void stop();
  int failed();
};

// Another process that has a record file open, and so locked, for a while or (0) as long as this lives.
struct OtherProcess : Processes {
  OtherProcess(const std::string& path, int mode, useconds_t holdUs = 0);
  ~OtherProcess() { stop(); }
};

// What `task` prints to standard output.
std::string printed(const std::function<void()>& task);
