#pragma once
// Numeric ids of accounts: 32768 to 64979, one byte-per-id bitmap per kind in the segment of protocol 0, rebuilt from
// the account files when it is not loaded.

#include "accounts/account_items.h"
#include "core/record_store.h"
#include "status/segment.h"

inline constexpr int kFirstId = 32768;
inline constexpr int kIdOverflow = kFirstId + kIdentityRange;  // stands for "no id left"

#pragma GCC visibility push(default)
extern "C" {
// Returns the number of ids of a kind in use; 0 for an unknown kind and when the account file cannot be opened.
int sysItemCount(int kind);
}
#pragma GCC visibility pop

// Both look at the account file when the bitmap is not loaded. A caller that stores or deletes the id's record passes
// the file as it holds it open for that: nobody else can then load the bitmap between the record and its mark.

// Takes a free id of a kind. Returns it; kIdOverflow when none is left (which is logged) or nothing can be allocated.
int allocateId(ItemKind kind, const RecordFile* held);

// Stores the index after an id just taken as the one that a rebuild of the bitmap starts from. Not while the account
// file is held: others would wait for this file's disk as well.
void rememberId(ItemKind kind, int id);

// Gives an id back. Returns 0, also for a free one (which is logged); -1 for a number outside the range.
int freeId(ItemKind kind, std::uint32_t id, const RecordFile* held);
