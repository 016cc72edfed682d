// nas1 conn and log.

#include <fcntl.h>

#include "cli/nas1_command.h"

namespace {

using ConnCommand = ApplianceTest;
using LogCommand = ApplianceTest;

// The signal that ends a service; 0 while it runs.
int ending(pid_t service, int how) {
  siginfo_t info = {};
  (void)waitid(P_PID, static_cast<id_t>(service), &info, WEXITED | WNOWAIT | how);
  return info.si_pid == 0 ? 0 : info.si_status;
}

TEST_F(ConnCommand, ClientsAreListedAndOnlyListedOnesAreKicked) {
  Processes services;
  for (int i = 0; i < 3; ++i) {
    services.start([] {
      for (;;) (void)pause();
    });
  }
  const std::string pid = std::to_string(services.pids[0]), other = std::to_string(services.pids[1]);
  (void)done({"conn", "add", "CIFS", pid, "anna at 192.0.2.21"});
  const Json client = nas1Json({"conn", "list"})["connections"][0];
  EXPECT_EQ((Json{"cifs", services.pids[0], "anna at 192.0.2.21"}),
            (Json{client["protocol"], client["pid"], client["client"]}));

  EXPECT_EQ(3, nas1({"conn", "kick", "cifs", other}).exitCode);
  EXPECT_EQ(3, nas1({"conn", "kick", "ncp", pid}).exitCode);
  EXPECT_EQ(4, nas1({"conn", "kick", "nfs", pid}).exitCode);
  for (const pid_t service : services.pids) EXPECT_EQ(0, ending(service, WNOHANG));

  (void)done({"conn", "kick", "cifs", pid});
  EXPECT_EQ(SIGTERM, ending(services.pids[0], 0));
  EXPECT_EQ("", nas1({"conn", "list"}).out);
  for (const auto& [protocol, service, signal] :
       {std::tuple("ncp", services.pids[1], SIGTERM), {"afp", services.pids[2], SIGKILL}}) {
    (void)done({"conn", "add", protocol, std::to_string(service)});
    (void)done({"conn", "kick", protocol, std::to_string(service)});
    EXPECT_EQ(signal, ending(service, 0)) << "each protocol ends its sessions in its own way";
  }
  services.stop();

  EXPECT_EQ(2, nas1({"conn", "add", "cifs", "0"}).exitCode);
  EXPECT_EQ(2, nas1({"conn", "add", "cifs", "1", std::string(96, 'x')}).exitCode);
  const MovedAway driver("/dev/nas1");
  EXPECT_EQ(1, nas1({"conn", "add", "cifs", std::to_string(getpid())}).exitCode);
}

TEST_F(LogCommand, LinesAreTakenApartAndChosen) {
  (void)nas1_log(LOG_LEVEL_ERR, LOG_CATEGORY_SW, "first [x] <y>");
  (void)nas1_log(LOG_LEVEL_ACCESS, LOG_CATEGORY_CIFS, "second");
  (void)nas1_log(LOG_LEVEL_ERR, LOG_CATEGORY_DIS, " third");
  const Json entries = nas1Json({"log"})["log"];
  ASSERT_EQ(3U, entries.size());
  EXPECT_EQ(24U, entries[0]["time"].get<std::string>().size());
  EXPECT_EQ((Json{"ERR", "SW", "first [x] <y>"}),
            (Json{entries[0]["level"], entries[0]["category"], entries[0]["message"]}));
  EXPECT_EQ(" third", entries[2]["message"]);
  EXPECT_EQ((Json{entries[0], entries[2]}), nas1Json({"log", "--level", "err"})["log"]);
  EXPECT_EQ(Json::array({entries[2]}), nas1Json({"log", "--level", "err", "--category", "dis"})["log"]);
  EXPECT_EQ(Json::array({entries[2]}), nas1Json({"log", "-n", "1"})["log"]);
  EXPECT_EQ(2, nas1({"log", "--level", "error"}).exitCode);
}

TEST_F(LogCommand, FollowingGoesOnWhenTheLogIsTrimmed) {
  const std::string old = "Thu Jan  1 00:00:00 1970 <INFO> [SW]   old\n";
  std::string full = old;
  while (full.size() + old.size() < 0x100000) full += old;
  writeFile("/var/log/nas1log", full);
  const char* const followed = "/tmp/followed";
  writeFile(followed, "");
  Processes follower;
  follower.start([=] {
    (void)dup2(open(followed, O_WRONLY), STDOUT_FILENO);
    (void)execlp("nas1", "nas1", "log", "-n", "1", "--follow", nullptr);
  });
  EXPECT_TRUE(comes([=] { return readLines(followed).size() == 1; }));
  (void)nas1_log(LOG_LEVEL_INFO, LOG_CATEGORY_SW, "the one that is too much for the file");
  (void)nas1_log(LOG_LEVEL_INFO, LOG_CATEGORY_SW, "after it");
  ASSERT_LT(readFile("/var/log/nas1log")->size(), full.size()) << "not trimmed";
  EXPECT_TRUE(comes([=] { return readLines(followed).size() >= 3; }));
  follower.stop();
  Lines messages = readLines(followed);
  for (std::string& line : messages) line.erase(0, line.rfind('\t') + 1);
  EXPECT_EQ((Lines{"old", "the one that is too much for the file", "after it"}), messages);
}

}  // namespace
