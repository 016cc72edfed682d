// Many processes at the account files at once, and processes that are killed at any point.

#include <random>

#include "accounts/identity.h"
#include "core/record_store.h"
#include "stored_accounts.h"

namespace {

using Steps = std::minstd_rand;

using IdentityRaces = AccountTest;

constexpr int kLost = 255;

// Adds and deletes users of one process, of which there are so many at most. Returns how often the account file was
// kept busy by others for so long that an addition was refused; kLost when a user that was added is not there at the
// end.
int addAndDelete(int process, int steps, std::size_t most) {
  Steps random(static_cast<unsigned>(process));
  std::vector<std::string> mine;
  UserItem item = {};
  int size = 0;
  int refused = 0;
  for (int i = 0; i < steps; ++i) {
    if (mine.size() < 3 || (mine.size() < most && random() % 3 != 0)) {
      const std::string name = "P" + std::to_string(process) + "." + std::to_string(i);
      if (sysAddUserItem(PROTO_SYSTEM, name.c_str(), &item, &size) == 0) {
        mine.push_back(name);
      } else {
        ++refused;
      }
    } else {
      const std::size_t at = random() % mine.size();
      if (sysDelUserItem(PROTO_SYSTEM, mine[at].c_str()) == 0) mine.erase(mine.begin() + static_cast<long>(at));
    }
  }
  for (const std::string& name : mine)
    if (sysCheckCommonItemNotExist(KIND_USER, PROTO_SYSTEM, name.c_str()) == 0) return kLost;
  return refused;
}

// Whether GDBM's own file came through: a kill in the middle of one of its writes can damage it, which says nothing
// about the ids.
bool intact() {
  GDBM_FILE const file = openRecordset("/etc/admin/user_id.gdbm", 0, GDBM_WRCREAT, 0665);
  if (file == nullptr) return false;
  bool sound = true;
  datum next = gdbm_firstkey(file);
  while (next.dptr != nullptr) {
    const datum key = next;
    const datum value = gdbm_fetch(file, key);
    UserItem item = {};
    sound = sound && value.dptr != nullptr && value.dsize == 152;
    if (sound) std::memcpy(&item, value.dptr + 36, sizeof item);
    sound = sound && std::string(key.dptr, static_cast<std::size_t>(key.dsize)) == item.name + std::string("0\0", 2);
    next = gdbm_nextkey(file, key);
    std::free(key.dptr);
    std::free(value.dptr);
  }
  sound = sound && gdbm_last_errno(file) == GDBM_ITEM_NOT_FOUND;
  char text[152] = "scratch";
  const datum scratch = {text, sizeof text};
  sound = sound && gdbm_store(file, scratch, scratch, GDBM_INSERT) == 0 && gdbm_delete(file, scratch) == 0;
  (void)gdbm_close(file);
  return sound;
}

pid_t start(int process, int steps, std::size_t most) {
  const pid_t pid = fork();
  if (pid == 0) _exit(addAndDelete(process, steps, most));
  return pid;
}

// The ids of all records; each must be there once and be marked.
std::set<unsigned> expectDistinctMarkedIds() {
  std::map<unsigned, Lines> owners;
  for (const std::string& key : storedKeys("user_id.gdbm"))
    owners[storedItem<UserItem>(key.substr(0, key.size() - 1), key.back() - '0').uid].push_back(key);
  (void)sysUserItemCount();
  const std::set<unsigned> marked = Identities().marked(KIND_USER);
  std::set<unsigned> ids;
  for (const auto& [id, keys] : owners) {
    EXPECT_EQ(1u, keys.size()) << "id " << id << " of " << keys.front() << " and " << keys.back();
    EXPECT_TRUE(marked.contains(id)) << "id " << id << " would be handed out again";
    ids.insert(id);
  }
  return ids;
}

}  // namespace

TEST_F(IdentityRaces, EightProcessesEndWithDistinctIdsAndACountThatFits) {
  // The second time the ids reach the end of the range, and every process loads the bitmap again and again.
  for (const unsigned first : {0u, 32212u - 150u}) {
    SetUp();
    storeWord("UID_START", first);
    std::vector<pid_t> processes;
    for (int process = 0; process < 8; ++process) processes.push_back(start(process, 60, 60));
    int refused = 0;
    for (const pid_t pid : processes) {
      int status = 0;
      (void)waitpid(pid, &status, 0);
      ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != kLost) << status;
      refused += WEXITSTATUS(status);
    }
    const std::set<unsigned> ids = expectDistinctMarkedIds();
    EXPECT_GT(ids.size(), 100u);
    // The id of an addition that was refused may stay marked; on a machine with time for it there is none.
    const std::size_t marked = Identities().marked(KIND_USER).size();
    EXPECT_EQ(marked, static_cast<std::size_t>(sysUserItemCount())) << "from " << first;
    EXPECT_LE(marked, ids.size() + static_cast<std::size_t>(refused)) << "from " << first;
    // A deletion that has to load the bitmap finds its record gone already, and says so.
    if (first == 0) {
      EXPECT_EQ(Lines(), applianceLog()) << "no id was given back that was not taken";
    }
  }
}

TEST_F(IdentityRaces, AKilledProcessLeavesNoIdThatIsHandedOutTwice) {
  Steps random(4711);
  bool checked = false;
  for (int round = 0; round < 4 && !checked; ++round) {
    SetUp();
    storeWord("UID_START", 32212 - 40);
    std::vector<pid_t> processes;
    int started = 0;
    for (; started < 4; ++started) processes.push_back(start(started, 100000, 4));
    for (int kills = 0; kills < 80; ++kills) {
      (void)usleep(static_cast<useconds_t>(random() % 20000));
      pid_t& victim = processes[random() % processes.size()];
      (void)kill(victim, SIGKILL);
      (void)waitpid(victim, nullptr, 0);
      victim = start(started++, 100000, 4);
    }
    for (const pid_t pid : processes) {
      (void)kill(pid, SIGKILL);
      (void)waitpid(pid, nullptr, 0);
    }
    checked = intact();
  }
  ASSERT_TRUE(checked);
  const std::set<unsigned> ids = expectDistinctMarkedIds();
  EXPECT_GT(ids.size(), 50u);
  for (int i = 0; i < 50; ++i) {
    UserItem item = {};
    int size = 0;
    ASSERT_EQ(0, sysAddUserItem(PROTO_CIFS, std::to_string(i).c_str(), &item, &size));
    EXPECT_FALSE(ids.contains(item.uid)) << item.uid;
  }
  EXPECT_EQ(ids.size() + 50, expectDistinctMarkedIds().size());
}
