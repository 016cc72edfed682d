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

// The word at that offset of a record in the table.
std::int32_t& wordOf(const RawSegment& segment, int record, std::size_t offset) {
  return reinterpret_cast<std::int32_t&>(segment.words[(72 + static_cast<std::size_t>(record) * 104 + offset) / 4]);
}

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
  const RawSegment raw("/etc/samba");
  EXPECT_EQ(0U, raw.words[0]) << "lock word";
  EXPECT_EQ(3U, raw.words[1]) << "count";
  EXPECT_EQ((Results{a.pid, c.pid}), (Results{wordOf(raw, 0, 0), wordOf(raw, 2, 0)}));
  EXPECT_STREQ("third", raw.bytes() + 72 + 2 * 104 + 8);
  EXPECT_LE(before, wordOf(raw, 0, 4));
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
  EXPECT_EQ(0, Nas1DelConnection(PROTO_CIFS, a.pid)) << "empty table";
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
  const std::size_t told = driverRequests().size();
  EXPECT_EQ(-3, add(PROTO_NCP, getppid(), "one too many"));
  EXPECT_TRUE(before == std::string(raw.bytes(), RawSegment::kSize)) << "nothing changes";
  EXPECT_EQ(told, driverRequests().size());
  EXPECT_EQ(0, add(PROTO_NCP, getpid(), "known ones are still replaced"));

  std::vector<ConnectionRecord> records(CONNECTION_MAX);
  const int size = static_cast<int>(records.size() * sizeof(ConnectionRecord));
  for (const std::uint32_t damaged : {CONNECTION_MAX + 1U, 0x7FFFFFFFU}) {
    raw.words[1] = damaged;
    EXPECT_EQ((Results{CONNECTION_MAX, CONNECTION_MAX, -3}),
              (Results{Nas1ConnectionCount(PROTO_NCP), sysListConnection(PROTO_NCP, 0, INT32_MAX, records.data()),
                       add(PROTO_NCP, getppid(), "one too many")}));
  }
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
  for (const int protocol : std::initializer_list<int>{PROTO_FTP, PROTO_SNMP, PROTO_SYSTEM, PROTO_COUNT, -1})
    EXPECT_EQ((Results{-1, -1, 0}), (Results{add(protocol, getpid(), "x"), Nas1DelConnection(protocol, getpid()),
                                             Nas1ConnectionCount(protocol)}))
        << protocol;
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
    const MovedAway driver("/dev/nas1");
    EXPECT_EQ(-2, add(PROTO_NFS, getpid(), "stored all the same"));
  }
  EXPECT_EQ(1, Nas1ConnectionCount(PROTO_NFS));
  EXPECT_EQ(Lines{"<ERR>  [SW]   open device error! /dev/nas1"}, applianceMessages());
  refuseDriverRequest(0x480D);
  EXPECT_EQ(0, add(PROTO_NFS, getpid(), "the driver refuses")) << "only an open that fails counts";
  EXPECT_EQ(Lines{"0x480D 1"}, driverRequests());
}
