// nas1 volume: the data areas that shares are made on.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>

#include "nouns.h"
#include "output.h"
#include "volumes.h"

namespace {

Output output;

ExitCode list() {
  int lines = 0;
  Listing listing = {"volumes", {"name", "device", "mount", "snapshot_reserved"}, {}};
  for (const VolumeInfo& volume : allVolumes(&lines)) {
    listing.rows.push_back({fieldText(volume.name, sizeof volume.name), fieldText(volume.device, sizeof volume.device),
                            fieldText(volume.mount, sizeof volume.mount), static_cast<long long>(volume.snapshot[0])});
  }
  if (const ExitCode fault = printListing(output, listing); fault != DONE) return fault;
  const int listed = static_cast<int>(listing.rows.size());
  if (listed < lines) {
    tell("the volume table has %d lines, but line %d names no device and mount point, and no line behind it counts",
         lines, listed + 1);
  }
  return DONE;
}

}  // namespace

std::vector<VolumeInfo> allVolumes(int* lines) {
  // Counting takes a shell.
  if (lines != nullptr) (void)Nas1GetVolumeCount(lines, nullptr);
  constexpr std::size_t kMore = 16;
  std::vector<VolumeInfo> volumes;
  std::size_t listed;
  do {
    volumes.resize(volumes.size() + kMore);
    listed =
        static_cast<std::size_t>(Nas1ListVolume(volumes.data(), static_cast<int>(volumes.size() * sizeof(VolumeInfo))));
  } while (listed == volumes.size());
  volumes.resize(listed);
  return volumes;
}

void registerVolume(CLI::App& noun, ExitCode& result) {
  output = {};
  CLI::App* const verb = noun.add_subcommand("list", "Print all volumes");
  addOutputOptions(*verb, output);
  verb->callback([&result] { result = list(); });
}
