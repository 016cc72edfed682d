// How the library gets on with the driver's place: seen through the request for the monitor daemon's PID.

#include <chrono>
#include <thread>

#include <sys/socket.h>
#include <sys/un.h>

#include "frame/appliance.h"
#include "platform/driver_wire.h"

namespace {

constexpr char kDriver[] = "/dev/nas1";

using DriverTest = ApplianceTest;

// A driver stand-in that takes one request and then does what `answer` does with the connection.
int pidFromPeer(const std::function<void(int connection, DriverWireRequest* asked)>& answer) {
  const MovedAway driver(kDriver);
  const int listener = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, kDriver, sizeof kDriver);
  EXPECT_EQ(0, bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address));
  EXPECT_EQ(-1, GetDaemonPid()) << "nobody listens";
  EXPECT_EQ(0, listen(listener, 1));
  std::thread peer([&] {
    DriverWireRequest asked = {};
    const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    answer(connection, &asked);
    (void)close(connection);
  });
  const int pid = GetDaemonPid();
  peer.join();
  (void)close(listener);
  (void)unlink(kDriver);
  return pid;
}

}  // namespace

TEST_F(DriverTest, AsksForNoMoreThanTheRecordAndTakesNoMore) {
  struct Reply {
    DriverWireReply head;
    std::int32_t pid[64];
  } reply = {.head = {.result = 0, .error = 0}, .pid = {}};
  for (std::int32_t& pid : reply.pid) pid = 4711;
  // The record of one integer lies on the caller's stack: a longer reply must be cut (the address checks would tell).
  EXPECT_EQ(4711, pidFromPeer([&](int connection, DriverWireRequest* asked) {
              EXPECT_EQ(static_cast<ssize_t>(sizeof *asked), recv(connection, asked, sizeof *asked, 0));
              EXPECT_EQ(0x4809u, asked->request);
              EXPECT_EQ(4u, asked->replySize);
              EXPECT_EQ(static_cast<ssize_t>(sizeof reply), send(connection, &reply, sizeof reply, 0));
            }));
}

TEST_F(DriverTest, SurvivesAPeerThatVanishesOrAnswersBadly) {
  const auto ask = [](int connection, DriverWireRequest* asked) { (void)recv(connection, asked, sizeof *asked, 0); };
  EXPECT_EQ(0, pidFromPeer(ask)) << "gone after the request";
  EXPECT_EQ(0, pidFromPeer([&](int connection, DriverWireRequest* asked) {
              ask(connection, asked);
              (void)send(connection, "oops", 4, 0);
            }))
      << "half a reply";
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(0, pidFromPeer([&](int connection, DriverWireRequest* asked) {
              ask(connection, asked);
              ask(connection, asked);  // until the caller gives up
            }));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30)) << "no answer at all";
}
