// Many processes at the account files at once. What becomes of them when some are killed is looked at elsewhere.

#include <random>

#include "accounts/identity.h"
#include "stored_accounts.h"

namespace {

using IdentityRaces = AccountTest;

// Adds and deletes users of one process; an addition is refused where others keep the account file busy for too long.
void addAndDelete(int process, int steps) {
  std::minstd_rand random(static_cast<unsigned>(process));
  Lines mine;
  UserItem item = {};
  int size = 0;
  for (int i = 0; i < steps; ++i) {
    if (mine.size() < 3 || random() % 3 != 0) {
      mine.push_back("P" + std::to_string(process) + "." + std::to_string(i));
      if (sysAddUserItem(PROTO_SYSTEM, mine.back().c_str(), &item, &size) == 0) continue;
      mine.pop_back();
    } else {
      const auto at = mine.begin() + static_cast<long>(random() % mine.size());
      if (sysDelUserItem(PROTO_SYSTEM, at->c_str()) == 0) mine.erase(at);
    }
  }
  for (const std::string& name : mine)
    EXPECT_NE(0, sysCheckCommonItemNotExist(KIND_USER, PROTO_SYSTEM, name.c_str())) << name << " is lost";
}

}  // namespace

TEST_F(IdentityRaces, EightProcessesEndWithDistinctIdsAndACountThatFits) {
  // The second time the ids reach the end of the range, and every process loads the bitmap again and again.
  for (const unsigned first : {0u, 32212u - 150u}) {
    SetUp();
    storeWord("UID_START", first);
    Processes processes;
    for (int process = 0; process < 8; ++process) processes.start([=] { addAndDelete(process, 60); });
    ASSERT_EQ(0, processes.failed());
    std::map<unsigned, Lines> owners;
    for (const std::string& key : storedKeys("user_id.gdbm"))
      owners[storedItem<UserItem>(key.substr(0, key.size() - 1), key.back() - '0').uid].push_back(key);
    EXPECT_GT(owners.size(), 100u);
    const int counted = sysUserItemCount();
    const std::set<unsigned> marked = Identities().marked(KIND_USER);
    EXPECT_EQ(marked.size(), static_cast<std::size_t>(counted)) << "from " << first;
    for (const auto& [id, keys] : owners) {
      EXPECT_EQ(1u, keys.size()) << "id " << id << " of " << keys.front() << " and " << keys.back();
      EXPECT_TRUE(marked.contains(id)) << "id " << id << " would be handed out again";
    }
    // A deletion that has to load the bitmap finds its record gone already, and says so.
    if (first == 0) {
      EXPECT_EQ(Lines(), applianceLog()) << "no id was given back that was not taken";
    }
  }
}
