#pragma once
// Which numbers of accounts count as taken. That is kept in shared memory and filled from the records when it is first
// needed, so whoever replaces a record file has to have it filled again.

#include <cstdint>
#include <vector>

struct TakenIds {
  bool isLoaded = false;  // else nobody has needed it yet
  std::vector<bool> ids;  // from the first number on
};

// Users first, then groups.
void readTakenIds(TakenIds (&taken)[2]);

// Lets the next new user (0) or group (1) have that number, if it is free.
void offerId(int kind, std::uint32_t id);

// Has both filled anew the next time they are needed. Call it while the account files are locked: who fills them holds
// them open.
void forgetTakenIds();
