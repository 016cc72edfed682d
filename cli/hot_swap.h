#pragma once
// The disks that the hot-swap configuration lists.

#include <string>
#include <vector>

inline constexpr char kHotSwapFile[] = "/etc/hotswap.conf";

// Their device paths by the driver's index; empty where a word of the list is none.
std::vector<std::string> listedDisks();
