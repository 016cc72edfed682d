// The benchmarks: one line of a table for each job. Runs in the throw-away appliance only; bench/run puts the whole
// table together.
//
//   nas1_bench tmpfs           every job
//   nas1_bench disk            those whose record files are worth a look on a disk
//   nas1_bench tmpfs WORD      only the jobs whose name contains WORD
//   nas1_bench fill COUNT      stores that many shares, for others to be measured with

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bare.h"
#include "harness.h"

static constexpr int kRepetitions = 40;

int main(int argc, char** argv) {
  if (access("/run/appliance/marker", F_OK) != 0 || argc < 2 || (argc < 3 && std::strcmp(argv[1], "fill") == 0)) {
    std::fprintf(stderr, "%s empties folders such as /etc/admin: use ./dev bench\n", argv[0]);
    return 2;
  }
  if (std::strcmp(argv[1], "fill") == 0) {
    emptyAppliance();
    storeShares(std::atoi(argv[2]));
    return 0;
  }
  cheapHelpers();
  const bool disk = std::strcmp(argv[1], "disk") == 0;
  for (const auto& rows : {settingRows(), shareRows(), accountRows(), programRows()}) {
    for (const Row& row : rows) {
      if (disk && !row.onDisk) continue;
      if (argc > 2 && std::strstr(row.job, argv[2]) == nullptr) continue;
      measure(row, argv[1], kRepetitions);
    }
  }
  return 0;
}
