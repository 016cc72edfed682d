#include <csignal>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "api/nas1api.h"
#include "cli/nas1_command.h"

namespace {

using ConnCommand = ApplianceTest;
using LogCommand = ApplianceTest;

// A process that serves a client until a signal ends it.
struct Service {
  const pid_t pid = fork();
  Service() {
    if (pid == 0) {
      for (;;) pause();
    }
  }
  ~Service() {
    (void)kill(pid, SIGKILL);
    (void)waitpid(pid, nullptr, 0);
  }
  bool runs() const { return ending(WNOHANG) == 0; }
  int awaitSignal() const { return ending(0); }

 private:
  int ending(int how) const {
    siginfo_t info = {};
    (void)waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT | how);
    return info.si_pid == 0 ? 0 : info.si_status;
  }
};

TEST_F(ConnCommand, ClientsAreListedAndOnlyListedOnesAreKicked) {
  const Service listed;
  const Service other;
  const std::string pid = std::to_string(listed.pid);
  ASSERT_EQ(0, nas1({"conn", "add", "CIFS", pid, "anna at 192.0.2.21"}).exitCode);
  const Json clients = nas1Json({"conn", "list"})["connections"];
  ASSERT_EQ(1U, clients.size());
  EXPECT_EQ("cifs", clients[0]["protocol"]);
  EXPECT_EQ(listed.pid, clients[0]["pid"]);
  EXPECT_EQ("anna at 192.0.2.21", clients[0]["client"]);

  EXPECT_EQ(3, nas1({"conn", "kick", "cifs", std::to_string(other.pid)}).exitCode);
  EXPECT_EQ(3, nas1({"conn", "kick", "ncp", pid}).exitCode);
  EXPECT_EQ(3, nas1({"conn", "kick", "cifs", "-1"}).exitCode);
  EXPECT_EQ(4, nas1({"conn", "kick", "nfs", pid}).exitCode);
  EXPECT_EQ(3, nas1({"conn", "kick", "ftp", pid}).exitCode);
  EXPECT_TRUE(listed.runs() && other.runs());

  EXPECT_EQ(0, nas1({"conn", "kick", "cifs", pid}).exitCode);
  EXPECT_EQ(SIGTERM, listed.awaitSignal());
  EXPECT_EQ("", nas1({"conn", "list"}).out);
}

TEST_F(ConnCommand, EveryProtocolEndsItsSessionsInItsOwnWay) {
  const struct {
    const char* protocol;
    int signal;
  } cases[] = {{"ncp", SIGTERM}, {"afp", SIGKILL}};
  for (const auto& c : cases) {
    const Service service;
    const std::string pid = std::to_string(service.pid);
    ASSERT_EQ(0, nas1({"conn", "add", c.protocol, pid}).exitCode);
    EXPECT_EQ(0, nas1({"conn", "kick", c.protocol, pid}).exitCode) << c.protocol;
    EXPECT_EQ(c.signal, service.awaitSignal()) << c.protocol;
    EXPECT_EQ("", nas1({"conn", "list", c.protocol}).out);
  }
}

TEST_F(ConnCommand, AddingTellsAllThatCanGoWrong) {
  EXPECT_EQ(2, nas1({"conn", "add", "cifs", "0"}).exitCode);
  EXPECT_EQ(2, nas1({"conn", "add", "cifs", "1", std::string(96, 'x')}).exitCode);
  const std::string text(95, 'x');
  ASSERT_EQ(0, nas1({"conn", "add", "cifs", "1", text}).exitCode);
  EXPECT_EQ(text, nas1Json({"conn", "list", "cifs"})["connections"][0]["client"]);
  ASSERT_EQ(0, rename("/dev/nas1", "/dev/nas1.away"));
  EXPECT_EQ(1, nas1({"conn", "add", "cifs", std::to_string(getpid())}).exitCode);
  ASSERT_EQ(0, rename("/dev/nas1.away", "/dev/nas1"));
}

TEST_F(LogCommand, LinesAreTakenApartAndChosen) {
  (void)nas1_log(LOG_LEVEL_ERR, LOG_CATEGORY_SW, "first [x] <y>");
  (void)nas1_log(LOG_LEVEL_ACCESS, LOG_CATEGORY_CIFS, "second");
  (void)nas1_log(LOG_LEVEL_ERR, LOG_CATEGORY_DIS, " third");
  const Json entries = nas1Json({"log"})["log"];
  ASSERT_EQ(3U, entries.size());
  const char* const expected[][3] = {
      {"ERR", "SW", "first [x] <y>"}, {"ACCESS", "CIFS", "second"}, {"ERR", "DIS", " third"}};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(24U, entries[i]["time"].get<std::string>().size());
    EXPECT_EQ(expected[i][0], entries[i]["level"]);
    EXPECT_EQ(expected[i][1], entries[i]["category"]);
    EXPECT_EQ(expected[i][2], entries[i]["message"]);
  }
  EXPECT_EQ(2U, nas1Json({"log", "--level", "err"})["log"].size());
  EXPECT_EQ(1U, nas1Json({"log", "--level", "err", "--category", "dis"})["log"].size());
  EXPECT_EQ(Json::array({entries[2]}), nas1Json({"log", "-n", "1"})["log"]);
  EXPECT_EQ(2, nas1({"log", "--level", "error"}).exitCode);
}

// nas1 log --follow in a process of its own, ended with it.
struct Follower {
  pid_t pid = -1;
  std::FILE* output = nullptr;

  Follower() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return;
    pid = fork();
    if (pid == 0) {
      (void)dup2(ends[1], STDOUT_FILENO);
      (void)alarm(20);  // a follower that says nothing must not hold up the tests
      (void)execlp("nas1", "nas1", "log", "-n", "1", "--follow", nullptr);
      _exit(127);
    }
    (void)close(ends[1]);
    output = fdopen(ends[0], "r");
  }
  ~Follower() {
    (void)kill(pid, SIGKILL);
    (void)waitpid(pid, nullptr, 0);
    (void)std::fclose(output);
  }
  std::string nextMessage() const {
    char line[1024] = {};
    (void)std::fgets(line, sizeof line, output);
    const char* const lastTab = std::strrchr(line, '\t');
    return lastTab == nullptr ? line : lastTab + 1;
  }
};

TEST_F(LogCommand, FollowingGoesOnWhenTheLogIsTrimmed) {
  const std::string old = "Thu Jan  1 00:00:00 1970 <INFO> [SW]   old\n";
  std::string full = old;
  while (full.size() + old.size() < 0x100000) full += old;
  writeFile("/var/log/nas1log", full);
  const Follower follower;
  EXPECT_EQ("old\n", follower.nextMessage());
  (void)nas1_log(LOG_LEVEL_INFO, LOG_CATEGORY_SW, "the one that is too much for the file");
  (void)nas1_log(LOG_LEVEL_INFO, LOG_CATEGORY_SW, "after it");
  ASSERT_LT(readFile("/var/log/nas1log")->size(), full.size()) << "not trimmed";
  EXPECT_EQ("the one that is too much for the file\n", follower.nextMessage());
  EXPECT_EQ("after it\n", follower.nextMessage());
}

}  // namespace
