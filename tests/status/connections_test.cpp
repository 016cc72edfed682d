// The connection table through its exported calls, and its segment as other processes see it.

#include "status/connections.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>

#include "frame/appliance.h"
#include "status/segment.h"

namespace {

// A process that serves a connection until it is told to go.
struct Server {
  pid_t pid;
  Server() : pid(fork()) {
    if (pid != 0) return;
    for (;;) (void)pause();
  }
  ~Server() { end(); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  void end() {
    if (pid <= 0) return;
    (void)kill(pid, SIGKILL);
    (void)waitpid(pid, nullptr, 0);
    pid = 0;
  }
};

ConnectionRecord recordOf(pid_t pid, const char* description) {
  ConnectionRecord record = {};
  record.pid = pid;
  record.time = 12345;  // the library's to set
  (void)std::string_view(description).copy(record.data, sizeof record.data);
  return record;
}

int add(int protocol, pid_t pid, const char* description) {
  const ConnectionRecord record = recordOf(pid, description);
  return Nas1AddConnection(protocol, &record);
}

// "PID description" of every listed connection.
Lines listed(int protocol) {
  std::vector<ConnectionRecord> records(CONNECTION_MAX);
  const int size = static_cast<int>(records.size() * sizeof(ConnectionRecord));
  const int count = Nas1ListConnection(protocol, 0, CONNECTION_MAX, records.data(), size);
  Lines lines;
  for (int i = 0; i < count; i++) {
    const ConnectionRecord& r = records[static_cast<std::size_t>(i)];
    EXPECT_TRUE(r.time >= 0 && r.time < 60) << "seconds since the client connected: " << r.time;
    lines.push_back(std::to_string(r.pid) + " " + r.data);
  }
  return lines;
}

std::string line(pid_t pid, const char* description) { return std::to_string(pid) + " " + description; }

// A protocol's segment as any process finds it, past the library.
struct RawSegment {
  unsigned char* const bytes;
  explicit RawSegment(const char* path)
      : bytes(static_cast<unsigned char*>(shmat(shmget(ftok(path, 'S'), 213064, 0), nullptr, 0))) {}
  ~RawSegment() { (void)shmdt(bytes); }
  RawSegment(const RawSegment&) = delete;
  RawSegment& operator=(const RawSegment&) = delete;
  std::int32_t word(std::size_t offset) const {
    std::int32_t value = 0;
    std::memcpy(&value, bytes + offset, sizeof value);
    return value;
  }
  void setWord(std::size_t offset, std::int32_t value) { std::memcpy(bytes + offset, &value, sizeof value); }
};

}  // namespace

using ConnectionsTest = ApplianceTest;

TEST_F(ConnectionsTest, AddedReplacedAndDeletedRecordsKeepTheTablePacked) {
  const Server a;
  const Server b;
  const Server c;
  const time_t before = time(nullptr);
  EXPECT_EQ(0, add(PROTO_CIFS, a.pid, "first"));
  EXPECT_EQ(0, add(PROTO_CIFS, b.pid, "second"));
  EXPECT_EQ(0, add(PROTO_CIFS, c.pid, "third"));
  {
    RawSegment raw("/etc/samba");
    EXPECT_EQ(0, raw.word(0)) << "lock word";
    EXPECT_EQ(3, raw.word(4)) << "count";
    EXPECT_EQ(a.pid, raw.word(72));
    EXPECT_LE(before, raw.word(72 + 4));
    EXPECT_EQ(c.pid, raw.word(72 + 2 * 104));
    EXPECT_EQ("third", std::string(reinterpret_cast<const char*>(raw.bytes) + 72 + 2 * 104 + 8));
    raw.setWord(72 + 4, raw.word(72 + 4) - 50);
  }
  EXPECT_EQ(0, add(PROTO_CIFS, a.pid, "first again"));
  EXPECT_EQ(3, Nas1ConnectionCount(PROTO_CIFS));
  ConnectionRecord first = {};
  EXPECT_EQ(1, Nas1ListConnection(PROTO_CIFS, 0, 1, &first, sizeof first));
  EXPECT_TRUE(first.time >= 50 && first.time < 60) << "the first time of connection stays: " << first.time;
  EXPECT_STREQ("first again", first.data);

  EXPECT_EQ(0, Nas1DelConnection(PROTO_CIFS, b.pid));
  EXPECT_EQ((Lines{line(a.pid, "first again"), line(c.pid, "third")}), [&] {
    RawSegment raw("/etc/samba");
    raw.setWord(72 + 4, static_cast<std::int32_t>(time(nullptr)));
    return listed(PROTO_CIFS);
  }());
  EXPECT_EQ(-1, Nas1DelConnection(PROTO_CIFS, b.pid)) << "gone already";
  EXPECT_EQ(0, Nas1DelConnection(PROTO_CIFS, c.pid)) << "the last one";
  EXPECT_EQ(0, Nas1DelConnection(PROTO_CIFS, a.pid));
  EXPECT_EQ(0, Nas1DelConnection(PROTO_CIFS, a.pid)) << "empty table";
  const RawSegment raw("/etc/samba");
  EXPECT_TRUE(std::all_of(raw.bytes, raw.bytes + 213064, [](unsigned char byte) { return byte == 0; }))
      << "nothing stays of deleted records";
  EXPECT_EQ((Lines{"info Creating new shared memory segment", "info NotFound!Connections: " + std::to_string(b.pid)}),
            systemLog());
  EXPECT_EQ(Lines(4, "0x480D 1"), driverRequests());
}

TEST_F(ConnectionsTest, DeadServersAreSweptOneAtAnAddAndAllAtAList) {
  Server dead[3];
  const Server alive;
  for (const Server& server : dead) ASSERT_EQ(0, add(PROTO_AFP, server.pid, "dead"));
  Lines expected = {"info Creating new shared memory segment"};
  for (Server& server : dead) {
    expected.push_back("info sharemem.c:293 garbageCollectOnce PID=" + std::to_string(server.pid));
    server.end();
  }
  std::swap(expected[2], expected[3]);  // the last one takes the place of the first
  EXPECT_EQ(0, add(PROTO_AFP, alive.pid, "alive"));
  EXPECT_EQ(3, Nas1ConnectionCount(PROTO_AFP));
  EXPECT_EQ(Lines{line(alive.pid, "alive")}, listed(PROTO_AFP));
  EXPECT_EQ(expected, systemLog());
}

TEST_F(ConnectionsTest, TheFullTableRefusesAndDamagedCountsAreBounded) {
  ASSERT_EQ(0, add(PROTO_NCP, getpid(), "full"));
  RawSegment raw("/etc/nwserv.conf");
  for (std::size_t i = 1; i < CONNECTION_MAX; i++) std::memcpy(raw.bytes + 72 + i * 104, raw.bytes + 72, 104);
  raw.setWord(4, CONNECTION_MAX);
  const std::string before(reinterpret_cast<const char*>(raw.bytes), 213064);
  const std::size_t told = driverRequests().size();
  EXPECT_EQ(-3, add(PROTO_NCP, getppid(), "one too many"));
  EXPECT_TRUE(before == std::string(reinterpret_cast<const char*>(raw.bytes), 213064)) << "nothing changes";
  EXPECT_EQ(told, driverRequests().size());
  EXPECT_EQ(0, add(PROTO_NCP, getpid(), "known ones are still replaced"));

  std::vector<ConnectionRecord> records(CONNECTION_MAX);
  const int size = static_cast<int>(records.size() * sizeof(ConnectionRecord));
  for (const std::int32_t damaged : {CONNECTION_MAX + 1, INT32_MAX}) {
    raw.setWord(4, damaged);
    EXPECT_EQ(CONNECTION_MAX, Nas1ConnectionCount(PROTO_NCP));
    EXPECT_EQ(CONNECTION_MAX, sysListConnection(PROTO_NCP, 0, INT32_MAX, records.data()));
    EXPECT_EQ(-3, add(PROTO_NCP, getppid(), "one too many"));
  }
  raw.setWord(4, -1);
  EXPECT_EQ(0, Nas1ConnectionCount(PROTO_NCP));
  EXPECT_EQ(0, Nas1ListConnection(PROTO_NCP, 0, 5, records.data(), size));
  EXPECT_EQ(0, Nas1DelConnection(PROTO_NCP, getpid()));
  EXPECT_EQ(0, add(PROTO_NCP, getpid(), "afresh"));
  EXPECT_EQ(1, raw.word(4));
}

TEST_F(ConnectionsTest, AListStaysWithinTheTableAndTheBuffer) {
  const Server servers[3];
  for (const Server& server : servers) ASSERT_EQ(0, add(PROTO_CIFS, server.pid, "s"));
  constexpr int kRecord = sizeof(ConnectionRecord);
  const struct {
    const char* name;
    int protocol, start, count, size, result;
    bool cleared;
  } cases[] = {
      {"all", PROTO_CIFS, 0, 3, 3 * kRecord, 3, true},
      {"more than there are", PROTO_CIFS, 1, INT32_MAX, 4 * kRecord, 2, true},
      {"fewer than there are", PROTO_CIFS, 0, 2, 4 * kRecord, 2, true},
      {"one byte short of three", PROTO_CIFS, 0, 3, 3 * kRecord - 1, 2, true},
      {"no room for one", PROTO_CIFS, 0, 3, kRecord - 1, 0, true},
      {"from the end", PROTO_CIFS, 3, 3, 4 * kRecord, 0, true},
      {"far past the end", PROTO_CIFS, INT32_MAX, INT32_MAX, 4 * kRecord, 0, true},
      {"negative start", PROTO_CIFS, -5, 2, 4 * kRecord, 2, true},
      {"negative count", PROTO_CIFS, 0, -1, 4 * kRecord, 0, true},
      {"no count", PROTO_CIFS, 0, 0, 4 * kRecord, 0, false},
      {"no size", PROTO_CIFS, 0, 3, 0, 0, false},
      {"negative size", PROTO_CIFS, 0, 3, -1, 0, false},
      {"NFS has no such list", PROTO_NFS, 0, 3, 4 * kRecord, 0, true},
      {"no table for FTP", PROTO_FTP, 0, 3, 4 * kRecord, -1, true},
      {"no table for SNMP", PROTO_SNMP, 0, 3, 4 * kRecord, -1, true},
      {"the system", PROTO_SYSTEM, 0, 3, 4 * kRecord, 0, false},
      {"unknown protocol", PROTO_COUNT, 0, 3, 4 * kRecord, 0, false},
      {"negative protocol", -1, 0, 3, 4 * kRecord, 0, false},
  };
  for (const auto& c : cases) {
    std::string buffer(5 * kRecord, '\xAA');
    EXPECT_EQ(c.result, Nas1ListConnection(c.protocol, c.start, c.count, buffer.data(), c.size)) << c.name;
    const auto written = static_cast<std::size_t>(c.result > 0 ? c.result * kRecord : 0);
    const auto size = static_cast<std::size_t>(c.cleared ? c.size : 0);
    EXPECT_EQ(std::string(size - written, '\0'), buffer.substr(written, size - written)) << c.name;
    EXPECT_EQ(std::string(buffer.size() - size, '\xAA'), buffer.substr(size)) << c.name;
  }
  EXPECT_EQ(0, Nas1ListConnection(PROTO_CIFS, 0, 3, nullptr, 3 * kRecord));
}

TEST_F(ConnectionsTest, ProtocolsWithoutATableRefuse) {
  for (const int protocol : std::initializer_list<int>{PROTO_FTP, PROTO_SNMP, PROTO_SYSTEM, PROTO_COUNT, -1}) {
    EXPECT_EQ(-1, add(protocol, getpid(), "x")) << protocol;
    EXPECT_EQ(-1, Nas1DelConnection(protocol, getpid())) << protocol;
    EXPECT_EQ(0, Nas1ConnectionCount(protocol)) << protocol;
  }
  EXPECT_EQ(-1, Nas1AddConnection(PROTO_CIFS, nullptr));
  EXPECT_EQ(Lines(2, "err share memory error"), systemLog()) << "only deleting in a known protocol says so";
  EXPECT_EQ(Lines{}, driverRequests());
  // The segment of protocol 0 holds no records: past the entries, too, nothing may be stored over the ids.
  const ConnectionRecord record = recordOf(getpid(), "x");
  EXPECT_EQ(-1, sysAddConnection(PROTO_SYSTEM, &record));
  EXPECT_EQ(Lines{}, readLines("/proc/sysvipc/shm").size() == 1 ? Lines{} : Lines{"a segment was made"});
}

TEST_F(ConnectionsTest, AnUnreachableDriverIsReportedButTheRecordStands) {
  {
    std::filesystem::rename("/dev/nas1", "/dev/nas1.away");
    EXPECT_EQ(-2, add(PROTO_NFS, getpid(), "stored all the same"));
    std::filesystem::rename("/dev/nas1.away", "/dev/nas1");
  }
  EXPECT_EQ(1, Nas1ConnectionCount(PROTO_NFS));
  EXPECT_EQ(Lines{"<ERR>  [SW]   open device error! /dev/nas1"}, applianceMessages());
  refuseDriverRequest(0x480D);
  EXPECT_EQ(0, add(PROTO_NFS, getpid(), "the driver refuses")) << "only an open that fails counts";
  EXPECT_EQ(Lines{"0x480D 1"}, driverRequests());
}
