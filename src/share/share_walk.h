#pragma once
// All shares at once, the way the back-ends and the sweeps over every share read them.

#include <cstddef>

#include "api/nas1api.h"

// The shares as they stood when this was made, gathered in one walk into a tracked buffer of the caller's unit and
// line. As in Nas1ShareList, a record that cannot be read ends the list; it is still counted.
struct AllShares {
  const char* const unit;
  const int line;
  char* list = nullptr;   // ShareInfo blocks end to end
  std::size_t bytes = 0;  // of the blocks
  int counted = 0;        // shares in the record file; 0 when it cannot be opened
  int listed = 0;         // blocks in the list, in stored order
  bool outOfMemory = false;

  AllShares(const char* sourceUnit, int sourceLine);
  ~AllShares();
  AllShares(const AllShares&) = delete;
  AllShares& operator=(const AllShares&) = delete;

  // The daemons' files stay as they are while there is nothing to put into them.
  [[nodiscard]] bool none() const { return !outOfMemory && (counted == 0 || bytes == 0); }

 private:
  bool append(const ShareInfo& share);
  std::size_t room_ = 0;  // bytes of the buffer
};

// Calls visit(share) for every ShareInfo of the list, in its order.
template <typename Visit>
void forEachShare(const AllShares& shares, Visit visit) {
  const char* next = shares.list;
  for (int i = 0; i < shares.listed; ++i) {
    const auto* const share = reinterpret_cast<const ShareInfo*>(next);
    visit(share);
    next += share->size;
  }
}
