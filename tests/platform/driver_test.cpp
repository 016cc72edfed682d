// How the library gets on with the driver's place: seen through the request for the monitor daemon's PID.

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <thread>

#include "api/nas1api.h"
#include "frame/appliance.h"
#include "platform/driver_wire.h"

namespace {

constexpr char kDriver[] = "/dev/nas1";
constexpr char kMovedDriver[] = "/dev/nas1.away";

struct DriverTest : ApplianceTest {
  void SetUp() override {
    ApplianceTest::SetUp();
    std::filesystem::rename(kDriver, kMovedDriver);
  }
  void TearDown() override {
    (void)unlink(kDriver);
    std::filesystem::rename(kMovedDriver, kDriver);
    ApplianceTest::TearDown();
  }
};

// A driver stand-in that takes one request and then does what `answer` does with the connection.
template <typename Answer>
int pidFromPeer(Answer answer) {
  const int listener = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, kDriver, sizeof kDriver);
  EXPECT_EQ(0, bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address));
  EXPECT_EQ(0, listen(listener, 1));
  std::thread peer([&] {
    const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    answer(connection);
    (void)close(connection);
  });
  const int pid = GetDaemonPid();
  peer.join();
  (void)close(listener);
  (void)unlink(kDriver);
  return pid;
}

}  // namespace

TEST_F(DriverTest, IsUnreachableWithoutSomethingThatAnswers) {
  EXPECT_EQ(-1, GetDaemonPid()) << "nothing there";
  ASSERT_EQ(0, mkdir(kDriver, 0700));
  EXPECT_EQ(0, GetDaemonPid()) << "opens, but takes no requests";
  ASSERT_EQ(0, rmdir(kDriver));
  const int dead = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, kDriver, sizeof kDriver);
  ASSERT_EQ(0, bind(dead, reinterpret_cast<const sockaddr*>(&address), sizeof address));
  EXPECT_EQ(-1, GetDaemonPid()) << "a socket that nobody listens on";
  (void)close(dead);
}

TEST_F(DriverTest, AsksForNoMoreThanTheRecordAndTakesNoMore) {
  DriverWireRequest asked = {};
  struct Reply {
    DriverWireReply head;
    std::int32_t pid[64];
  } reply = {.head = {.result = 0, .error = 0}, .pid = {}};
  for (std::int32_t& pid : reply.pid) pid = 4711;
  // The record of one integer lies on the caller's stack: a longer reply must be cut (the address checks would tell).
  const int pid = pidFromPeer([&](int connection) {
    EXPECT_EQ(static_cast<ssize_t>(sizeof asked), recv(connection, &asked, sizeof asked, 0));
    EXPECT_EQ(static_cast<ssize_t>(sizeof reply), send(connection, &reply, sizeof reply, 0));
  });
  EXPECT_EQ(4711, pid);
  EXPECT_EQ(0x4809u, asked.request);
  EXPECT_EQ(4u, asked.replySize);
}

TEST_F(DriverTest, SurvivesAPeerThatVanishesOrAnswersBadly) {
  DriverWireRequest asked = {};
  EXPECT_EQ(0, pidFromPeer([](int) {})) << "gone before the request was read";
  EXPECT_EQ(0, pidFromPeer([&](int connection) { (void)recv(connection, &asked, sizeof asked, 0); }))
      << "gone after the request";
  EXPECT_EQ(0, pidFromPeer([&](int connection) {
              (void)recv(connection, &asked, sizeof asked, 0);
              (void)send(connection, "oops", 4, 0);
            }))
      << "half a reply";
}

TEST_F(DriverTest, DoesNotWaitForEverForAnAnswer) {
  const auto begin = std::chrono::steady_clock::now();
  DriverWireRequest asked = {};
  EXPECT_EQ(0, pidFromPeer([&](int connection) {
              (void)recv(connection, &asked, sizeof asked, 0);
              (void)recv(connection, &asked, sizeof asked, 0);  // until the caller gives up
            }));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}
