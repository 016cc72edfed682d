#pragma once
// What the tests of the back-ends share: which numbers make one act, and what its restarts run.

#include "frame/appliance.h"

// All numbers that can arrive, ids and row numbers, for which a back-end runs this command alone.
inline void expectReactions(int (*setConfig)(int, int, void*), std::uint32_t value, const std::vector<int>& numbers,
                            const std::string& command) {
  for (int id = -1; id <= 128; ++id) {
    const bool acts = std::find(numbers.begin(), numbers.end(), id) != numbers.end();
    EXPECT_EQ(acts ? Lines{command} : Lines{}, commandsOf([&] { (void)setConfig(id, sizeof value, &value); })) << id;
  }
}

// Looks at the modes 0 to 3 of a restart and at some outside of them: the command that each runs; null where it runs
// none and fails. A command that ends badly has been run, one that the shell cannot run has not.
inline void expectRestarts(int (*restart)(int), const std::string& helper, const std::vector<const char*>& ran) {
  for (const int how : {0, 1, 2, 3, -1, 4, INT32_MIN, INT32_MAX}) {
    const char* const command = how >= 0 && how < 4 ? ran[static_cast<std::size_t>(how)] : nullptr;
    EXPECT_EQ(command == nullptr ? Lines{} : Lines{command},
              commandsOf([&] { EXPECT_EQ(command == nullptr ? -1 : 0, restart(how)); }))
        << how;
  }
  setExitStatus(helper, 1);
  EXPECT_EQ(0, restart(0)) << "the command ended badly";
  setExitStatus(helper, 127);
  EXPECT_EQ(-1, restart(0)) << "the shell found nothing to run";
}
