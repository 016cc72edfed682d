// The event log, the connection table and the numeric ids: shared by all processes, with some of them killed.

#include <gdbm.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <fstream>
#include <map>
#include <set>

#include "accounts/account_items.h"
#include "accounts/identity.h"
#include "api/nas1api.h"
#include "core/record_store.h"
#include "status/segment.h"
#include "torture.h"

namespace {

constexpr char kLog[] = "/var/log/nas1log";
constexpr int kMessageLength = 200;
constexpr int kTrimmedBytes = 0x100000 - 0xFD800;  // what a trim takes off a log that is just over its limit

std::string message(int process, int line) {
  std::string words = text("writer %02d line %05d ", process, line);
  words.append(kMessageLength - words.size(), static_cast<char>('a' + line % 26));
  return words;
}

// Whether a line of the log is whole; whose it is and its number.
bool readMessage(const std::string& line, int* process, int* number) {
  const std::size_t begin = line.find("writer ");
  if (begin == std::string::npos || std::sscanf(line.c_str() + begin, "writer %d line %d ", process, number) != 2)
    return false;
  constexpr std::size_t kStampAndTags = 24 + 1 + 7 + 7;
  return begin == kStampAndTags && line.substr(begin) == message(*process, *number);
}

}  // namespace

Outcome logTest(const Extent& extent) {
  constexpr int kWriters = 16;
  const int each = extent.full ? 2000 : 50;
  Outcome outcome = {.done = text("%d processes write %d lines each into a log at its limit", kWriters, each)};
  {
    std::ofstream log(kLog);
    for (int line = 0; log.tellp() < 0xFFF00; ++line)
      log << text("%024d <INFO> [SW]   ", line) << message(kWriters, line) << '\n';
  }
  inProcesses(kWriters, outcome, [&](int process) {
    for (int line = 0; line < each; ++line) {
      (void)nas1_log(LOG_LEVEL_INFO, LOG_CATEGORY_SW, "%s", message(process, line).c_str());
    }
    return 0;
  });
  std::map<int, int> next;  // by writer: the number that its following line must have
  std::ifstream log(kLog);
  long lines = 0;
  for (std::string line; std::getline(log, line); ++lines) {
    int process = 0;
    int number = 0;
    if (!readMessage(line, &process, &number)) {
      outcome.fault("torn: " + line);
      continue;
    }
    const auto [known, isFirst] = next.try_emplace(process, number);
    outcome.expect(known->second == number, text("writer %d: line %d follows %d", process, number, known->second - 1));
    known->second = number + 1;
  }
  for (int process = 0; process < kWriters; ++process) {
    const bool isWhole = next.contains(process) ? next[process] == each : extent.full;
    outcome.expect(isWhole, text("the last lines of writer %d are lost", process));
  }
  const long written = static_cast<long>(kWriters) * each * (kMessageLength + 40);
  outcome.seen =
      text("at least %ld trims, %ld lines kept", written / (kTrimmedBytes + 2 * (kMessageLength + 40)), lines);
  return outcome;
}

namespace {

constexpr int kServersEach = 8;  // processes whose connections one worker adds and deletes
constexpr useconds_t kKillPauseUs = 100000;

enum Presence : char { ABSENT, PRESENT, EITHER };

// What a worker has done so far; it outlives the worker.
struct Progress {
  int calls;
  int done;  // to be counted by the parent only: the worker has come to its end
  pid_t servers[kServersEach];
  Presence presence[kServersEach];
};

int addAndDelete(Progress& progress, int calls, unsigned seed) {
  std::minstd_rand random(seed);
  while (progress.calls < calls) {
    ++progress.calls;
    const std::size_t i = random() % kServersEach;
    const pid_t pid = progress.servers[i];
    const bool isAddition = progress.presence[i] == ABSENT || (progress.presence[i] == EITHER && random() % 2 == 0);
    progress.presence[i] = EITHER;  // until the call has returned
    ConnectionRecord record = {.pid = pid, .time = 0, .data = {}};
    (void)std::snprintf(record.data, sizeof record.data, "server %d", pid);
    const int result = isAddition ? Nas1AddConnection(PROTO_CIFS, &record) : Nas1DelConnection(PROTO_CIFS, pid);
    if (result == 0) progress.presence[i] = isAddition ? PRESENT : ABSENT;
  }
  progress.done = 1;
  return 0;
}

pid_t startServer() {
  return start([] {
    for (;;) (void)pause();
    return 0;
  });
}

// Adds and deletes; kills a worker, and a server with a connection, every so often. Returns the number of kills.
int churn(const Shared<Progress>& workers, int calls, bool withKills, unsigned seed, Outcome& outcome) {
  std::minstd_rand random(seed);
  std::vector<pid_t> pids;
  const auto startWorker = [&](std::size_t i) {
    const unsigned chance = static_cast<unsigned>(random());
    return start([&, i, chance] { return addAndDelete(workers[i], calls, chance); });
  };
  for (std::size_t i = 0; i < workers.count; ++i) pids.push_back(startWorker(i));
  int kills = 0;
  for (; withKills; ++kills) {
    (void)usleep(kKillPauseUs);
    const std::size_t victim = random() % workers.count;
    if (workers[victim].done != 0) break;
    killHard(pids[victim]);
    const std::size_t server = random() % kServersEach;
    killHard(workers[victim].servers[server]);
    workers[victim].servers[server] = startServer();
    workers[victim].presence[server] = ABSENT;
    pids[victim] = startWorker(victim);
  }
  for (const pid_t pid : pids) outcome.expect(endedWell(pid), "a worker did not come to its end");
  return kills;
}

// Looks at the table in quiet.
void expectTable(const Shared<Progress>& workers, bool exactly, Outcome& outcome) {
  std::vector<ConnectionRecord> records(CONNECTION_MAX);
  const int bytes = static_cast<int>(records.size() * sizeof(ConnectionRecord));
  const int count = Nas1ListConnection(PROTO_CIFS, 0, CONNECTION_MAX, records.data(), bytes);
  std::map<pid_t, int> found;
  for (int i = 0; i < count; ++i) {
    const ConnectionRecord& record = records[static_cast<std::size_t>(i)];
    outcome.expect(record.pid != 0 && text("server %d", record.pid) == record.data,
                   text("record %d is empty or torn", i));
    ++found[record.pid];
  }
  if (!exactly) return;
  outcome.expect(count == Nas1ConnectionCount(PROTO_CIFS), "the count is not that of the list");
  for (std::size_t i = 0; i < workers.count; ++i) {
    for (std::size_t s = 0; s < kServersEach; ++s) {
      const pid_t pid = workers[i].servers[s];
      const Presence presence = workers[i].presence[s];
      const int times = found.contains(pid) ? found[pid] : 0;
      outcome.expect(times <= 1, text("%d is there %d times", pid, times));
      outcome.expect(presence == EITHER || times == (presence == PRESENT ? 1 : 0),
                     text("%d is there %d times, its state is %d", pid, times, presence));
      found.erase(pid);
    }
  }
  outcome.expect(found.empty(), text("%zu records of processes that are gone", found.size()));
}

int tableRound(std::size_t processes, int calls, bool exactly, unsigned seed, Outcome& outcome) {
  startEmpty();
  const Shared<Progress> workers(processes);
  for (std::size_t i = 0; i < processes; ++i) {
    for (pid_t& server : workers[i].servers) server = startServer();
  }
  const int kills = churn(workers, calls, exactly, seed, outcome);
  expectTable(workers, exactly, outcome);
  for (std::size_t i = 0; i < processes; ++i) {
    for (const pid_t server : workers[i].servers) killHard(server);
  }
  return kills;
}

}  // namespace

Outcome connectionsTest(const Extent& extent) {
  const int calls = extent.full ? 15000 : 100;
  Outcome outcome = {.done = text("8 processes add and delete connections, %d calls each, then 16 processes", calls)};
  const int kills = tableRound(8, calls, true, extent.seed, outcome);
  (void)tableRound(16, calls / 2, false, extent.seed, outcome);
  outcome.seen = text("%d workers and as many of their servers killed", kills);
  return outcome;
}

namespace {

// Stores accounts for all the ids that are left, past the library, and has it count them anew.
void fillUp(const std::set<unsigned>& taken, Outcome& outcome) {
  GDBM_FILE const file = gdbm_open(kUserIdFile, 0, GDBM_WRITER, 0, nullptr);
  unsigned number = 0;
  for (unsigned id = kFirstId; file != nullptr && id < kIdOverflow; ++id) {
    if (taken.contains(id)) continue;
    std::string key = text("FILL%u", number++) + std::to_string(PROTO_NCP);
    std::string record(kItemOffset + sizeof(UserItem) + 4, '\0');
    UserItem item = {};
    item.size = sizeof item;
    item.source = PROTO_NCP;
    item.uid = id;
    (void)key.copy(item.name, key.size() - 1);
    std::memcpy(record.data() + kItemOffset, &item, sizeof item);
    (void)gdbm_store(file, {key.data(), static_cast<int>(key.size() + 1)},
                     {record.data(), static_cast<int>(record.size())}, GDBM_INSERT);
  }
  outcome.expect(file != nullptr && gdbm_close(file) == 0, "the ids that are left cannot be filled");
  auto* const segment = static_cast<IdentitySegment*>(sysLockShareMem(PROTO_SYSTEM));
  segment->nextIndexes[KIND_USER] = 0;
  sysUnlockShareMem(PROTO_SYSTEM);
}

}  // namespace

Outcome identitiesTest(const Extent& extent) {
  constexpr int kProcesses = 16;
  const int users = extent.full ? 2000 : 64;
  Outcome outcome = {.done = text("%d processes add %d users%s", kProcesses, users,
                                  extent.full ? ", then all 32212 ids are used up" : "")};
  const Shared<int> refused(1);
  const auto add = [](int process, int number) {
    char name[NAS_NAME_SIZE];
    (void)std::snprintf(name, sizeof name, "USER%d.%d", process, number);
    return Nas1AddUser(PROTO_CIFS, name, "");
  };
  inProcesses(kProcesses, outcome, [&](int process) {
    for (int number = 0; number < users / kProcesses;) {
      if (add(process, number) == 0) {
        ++number;
      } else if (__atomic_add_fetch(refused.items, 1, __ATOMIC_SEQ_CST) > users) {
        return 1;
      }
    }
    return 0;
  });
  const auto listed = [] {
    std::vector<UserItem> items(kIdentityRange + 1);
    items.resize(static_cast<std::size_t>(std::max(
        0, Nas1ListUserItem(0, kIdentityRange + 1, items.data(), static_cast<int>(items.size() * sizeof(UserItem))))));
    std::set<unsigned> ids;
    for (const UserItem& item : items) ids.insert(item.uid);
    return std::pair(items.size(), ids);
  };
  const auto [count, ids] = listed();
  outcome.expect(count == static_cast<std::size_t>(users), text("%zu users", count));
  outcome.expect(ids.size() == count, text("%zu ids of %zu users", ids.size(), count));
  const int counted = Nas1UserItemCount();
  // An addition that was refused may leave its id marked.
  outcome.expect(counted >= users && counted <= users + refused[0], text("%d ids count as used", counted));

  outcome.seen = text("%d refused and tried again", refused[0]);
  if (!extent.full) return outcome;
  fillUp(ids, outcome);
  outcome.expect(add(kProcesses, 0) == -1, "an account without an id");
  outcome.expect(Nas1UserItemCount() == kIdentityRange, text("%d ids count as used, not all", Nas1UserItemCount()));
  const auto [all, allIds] = listed();
  outcome.expect(all == kIdentityRange && allIds.size() == all, text("%zu accounts, %zu ids", all, allIds.size()));
  return outcome;
}
