// The connection table through its exported calls, and its segment as other processes see it.

#include "status/connections.h"

#include "status/raw_segment.h"

namespace {

// A process that serves a connection until it is told to go.
struct Server : Processes {
  pid_t pid;
  Server() {
    start([] {
      for (;;) (void)pause();
    });
    pid = pids[0];
  }
  ~Server() { stop(); }
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
  ConnectionRecord records[9];
  const int count = Nas1ListConnection(protocol, 0, 9, records, sizeof records);
  Lines lines;
  for (const ConnectionRecord* r = records; r < records + count; ++r) {
    EXPECT_TRUE(r->time >= 0 && r->time < 60) << "seconds since the client connected: " << r->time;
    lines.push_back(std::to_string(r->pid) + " " + r->data);
  }
  return lines;
}

std::string line(pid_t pid, const char* description) { return std::to_string(pid) + " " + description; }

// The word at that offset of a record in the table.
std::int32_t& wordOf(const RawSegment& segment, int record, std::size_t offset) {
  return reinterpret_cast<std::int32_t&>(segment.words[(72 + static_cast<std::size_t>(record) * 104 + offset) / 4]);
}

}  // namespace

using ConnectionsTest = ApplianceTest;

TEST_F(ConnectionsTest, AddedReplacedAndDeletedRecordsKeepTheTablePacked) {
  const Server a, b, c;
  EXPECT_EQ(0, add(PROTO_CIFS, a.pid, "first"));
  EXPECT_EQ(0, add(PROTO_CIFS, b.pid, "second"));
  EXPECT_EQ(0, add(PROTO_CIFS, c.pid, "third"));
  const RawSegment raw("/etc/samba");
  EXPECT_EQ((std::pair{0U, 3U}), (std::pair{raw.words[0], raw.words[1]})) << "lock word and count";
  EXPECT_EQ((Results{a.pid, c.pid}), (Results{wordOf(raw, 0, 0), wordOf(raw, 2, 0)}));
  EXPECT_STREQ("third", raw.bytes() + 72 + 2 * 104 + 8);
  wordOf(raw, 0, 4) -= 50;
  EXPECT_EQ(0, add(PROTO_CIFS, a.pid, "first again"));
  EXPECT_EQ(3, Nas1ConnectionCount(PROTO_CIFS));
  ConnectionRecord first = {};
  EXPECT_EQ(1, Nas1ListConnection(PROTO_CIFS, 0, 1, &first, sizeof first));
  EXPECT_TRUE(first.time >= 50 && first.time < 60) << "the first time of connection stays: " << first.time;

  EXPECT_EQ(0, Nas1DelConnection(PROTO_CIFS, b.pid));
  EXPECT_EQ((Lines{line(a.pid, "first again"), line(c.pid, "third")}), listed(PROTO_CIFS));
  EXPECT_EQ(-1, Nas1DelConnection(PROTO_CIFS, b.pid)) << "gone already";
  EXPECT_EQ(0, Nas1DelConnection(PROTO_CIFS, c.pid)) << "the last one";
  EXPECT_EQ(0, Nas1DelConnection(PROTO_CIFS, a.pid));
  EXPECT_TRUE(std::all_of(raw.words, raw.words + RawSegment::kSize / 4, [](auto word) { return word == 0; }))
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
    server.stop();
  }
  std::swap(expected[2], expected[3]);  // the last one takes the place of the first
  EXPECT_EQ(0, add(PROTO_AFP, alive.pid, "alive"));
  EXPECT_EQ(3, Nas1ConnectionCount(PROTO_AFP));
  EXPECT_EQ(Lines{line(alive.pid, "alive")}, listed(PROTO_AFP));
  EXPECT_EQ(expected, systemLog());
}

TEST_F(ConnectionsTest, TheFullTableRefusesAndDamagedCountsAreBounded) {
  ASSERT_EQ(0, add(PROTO_NCP, getpid(), "full"));
  const RawSegment raw("/etc/nwserv.conf");
  for (std::size_t i = 1; i < CONNECTION_MAX; i++) std::memcpy(raw.bytes() + 72 + i * 104, raw.bytes() + 72, 104);
  raw.words[1] = CONNECTION_MAX;
  const std::string before(raw.bytes(), RawSegment::kSize);
  EXPECT_EQ(-3, add(PROTO_NCP, getppid(), "one too many"));
  EXPECT_TRUE(before == std::string(raw.bytes(), RawSegment::kSize)) << "nothing changes";
  EXPECT_EQ(0, add(PROTO_NCP, getpid(), "known ones are still replaced"));

  std::vector<ConnectionRecord> records(CONNECTION_MAX);
  const int size = static_cast<int>(records.size() * sizeof(ConnectionRecord));
  raw.words[1] = 0x7FFFFFFF;
  EXPECT_EQ((Results{CONNECTION_MAX, CONNECTION_MAX, -3}),
            (Results{Nas1ConnectionCount(PROTO_NCP), sysListConnection(PROTO_NCP, 0, INT32_MAX, records.data()),
                     add(PROTO_NCP, getppid(), "one too many")}));
  raw.words[1] = 0xFFFFFFFF;
  EXPECT_EQ(Results(4, 0),
            (Results{Nas1ConnectionCount(PROTO_NCP), Nas1ListConnection(PROTO_NCP, 0, 5, records.data(), size),
                     Nas1DelConnection(PROTO_NCP, getpid()), add(PROTO_NCP, getpid(), "afresh")}));
  EXPECT_EQ(1U, raw.words[1]);
}

TEST_F(ConnectionsTest, AListStaysWithinTheTableAndTheBuffer) {
  const Server servers[3];
  for (const Server& server : servers) ASSERT_EQ(0, add(PROTO_CIFS, server.pid, "s"));
  constexpr int kRecord = sizeof(ConnectionRecord);
  const struct {
    int start, count, size, result;
  } cases[] = {
      {1, INT32_MAX, 4 * kRecord, 2}, {0, 3, 3 * kRecord - 1, 2}, {INT32_MAX, INT32_MAX, 4 * kRecord, 0},
      {-5, 2, 4 * kRecord, 2},        {0, -1, 4 * kRecord, 0},    {0, 3, 0, 0},
  };
  for (const auto& c : cases) {
    std::string buffer(5 * kRecord, '\xAA');
    EXPECT_EQ(c.result, Nas1ListConnection(PROTO_CIFS, c.start, c.count, buffer.data(), c.size)) << c.start;
    const auto written = static_cast<std::size_t>(c.result * kRecord), size = static_cast<std::size_t>(c.size);
    EXPECT_EQ(std::string(size - written, '\0'), buffer.substr(written, size - written)) << c.start;
    EXPECT_EQ(std::string(buffer.size() - size, '\xAA'), buffer.substr(size)) << c.start;
  }
}

TEST_F(ConnectionsTest, ProtocolsWithoutATableRefuse) {
  ConnectionRecord record = recordOf(getpid(), "x");
  const std::pair<int, int> cases[] = {{PROTO_FTP, -1}, {PROTO_SNMP, -1}, {PROTO_SYSTEM, 0}, {PROTO_COUNT, 0}, {-1, 0}};
  for (const auto& [protocol, listed] : cases)
    EXPECT_EQ((Results{-1, 0, listed}), (Results{add(protocol, getpid(), "x"), Nas1ConnectionCount(protocol),
                                                 Nas1ListConnection(protocol, 0, 3, &record, sizeof record)}))
        << protocol;
  EXPECT_EQ(Lines{}, driverRequests());
  // The segment of protocol 0 holds no records: past the entries, too, nothing may be stored over the ids.
  EXPECT_EQ(-1, sysAddConnection(PROTO_SYSTEM, &record));
  EXPECT_EQ(1U, readLines("/proc/sysvipc/shm").size()) << "a segment was made";
}

TEST_F(ConnectionsTest, AnUnreachableDriverIsReportedButTheRecordStands) {
  {
    const MovedAway driver("/dev/nas1");
    EXPECT_EQ(-2, add(PROTO_NFS, getpid(), "stored all the same"));
  }
  EXPECT_EQ(1, Nas1ConnectionCount(PROTO_NFS));
  EXPECT_EQ(Lines{"<ERR>  [SW]   open device error! /dev/nas1"}, applianceMessages());
  refuseDriverRequest(0x480D);
  EXPECT_EQ(0, add(PROTO_NFS, getpid(), "the driver refuses")) << "only an open that fails counts";
  EXPECT_EQ(Lines{"0x480D 1"}, driverRequests());
}
