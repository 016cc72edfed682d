#pragma once
// All shares at once, the way the back-ends and the sweeps over every share read them.

#include <algorithm>
#include <cstddef>

#include "api/nas1api.h"
#include "core/memory.h"

// The shares as they stood when this was made; a buffer of the caller's unit and line holds them.
struct AllShares {
  int counted = 0;           // shares in the record file
  int bytes = 0;             // bytes of their blocks
  const int result;          // of the count: negative when it failed
  const TrackedBuffer list;  // data is null when there was no memory
  const int listed;          // blocks in the list, in stored order

  AllShares(const char* unit, int line)
      : result(Nas1ShareCountSize(&counted, &bytes)),
        list(unit, line, static_cast<std::size_t>(std::max(bytes, 1))),
        listed(list.data == nullptr ? 0 : Nas1ShareList(0, counted, list.data, bytes)) {}

  // The daemons' files stay as they are while there is nothing to put into them.
  [[nodiscard]] bool none() const { return counted == 0 || bytes == 0; }
};

// Calls visit(share) for every ShareInfo of the list, in its order.
template <typename Visit>
void forEachShare(const AllShares& shares, Visit visit) {
  const char* next = shares.list.text();
  for (int i = 0; i < shares.listed; ++i) {
    const auto* const share = reinterpret_cast<const ShareInfo*>(next);
    visit(share);
    next += share->size;
  }
}
