#pragma once
// The volumes that shares are made on, as the volume table lists them.

#include <nas1api.h>

#include <string>
#include <vector>

// The volumes up to the first line of the table that is none.
//   lines  receives the number of lines in the table; may be null
std::vector<VolumeInfo> allVolumes(int* lines);
