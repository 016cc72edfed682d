#pragma once
// The calls that are killed: what each of them changes, and how it is read back. Every process has objects of its own.

#include <string>
#include <vector>

// What a process owns, as read back: each part is in one record. Empty for what is not there.
enum Part {
  SHARE,
  READ_PASSWORD,
  WRITE_PASSWORD,
  PERMISSION,
  NFS_HOSTS,
  PASSWORD,
  ACCOUNT,
  NAMED,
  NUMBERED,
  PART_COUNT
};
using Parts = std::vector<std::string>;

// A change of one part that a call makes.
struct Effect {
  Part part;
  std::string value;
  bool isCertain = true;  // else the call may succeed without it
};

struct Operation {
  const char* name;
  // Makes the call; whatever it stores tells the generation. Returns its result.
  int (*call)(int process, int generation);
  std::vector<Effect> (*effects)(int process, int generation);
  int before;  // the operation that makes sure that this one has something to change, or -1
};
extern const Operation operations[];
extern const int operationCount;

constexpr int kOwners = 4;  // processes that can have objects of their own

// Makes what all of them need.
void prepareObjects();
Parts readParts(int process);
