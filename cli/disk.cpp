// nas1 disk and nas1 raid: what the driver and the configuration know about the disks.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "code_page.h"
#include "hot_swap.h"
#include "nouns.h"
#include "output.h"
#include "record_files.h"

namespace {

Output output;

ExitCode list() {
  initDiskNumMap();
  Listing listing = {"disks", {"index", "number", "device"}, {}};
  const std::vector<std::string> devices = listedDisks();
  const std::size_t count = std::min(devices.size(), static_cast<std::size_t>(DISK_COUNT));
  for (std::size_t i = 0; i < count; ++i) {
    if (devices[i].empty()) continue;
    listing.rows.push_back({static_cast<long long>(i), static_cast<long long>(DiskNumMap[i]), devices[i]});
  }
  if (listing.rows.empty()) tell("%s lists no disks: the disk with index i has the number i + 1", kHotSwapFile);
  return printListing(output, listing);
}

ExitCode config() {
  if (const ExitCode fault = checkRecordFile(kSystemFile, Use::read); fault != DONE) return fault;
  DiskConfig stored = {};
  if (Nas1GetDiskConfig(&stored) != 0) return complain(LIBRARY_FAILED, "the disk configuration cannot be read");
  return printObject(output, "disk_config",
                     {{"raid_level", static_cast<long long>(stored.raidLevel)},
                      {"file_system", static_cast<long long>(stored.fileSystem)},
                      {"flag", static_cast<long long>(stored.flag)},
                      {"callers", inHex({std::begin(stored.callers), std::end(stored.callers)})}});
}

ExitCode raid() {
  if (const ExitCode fault = checkRecordFile(kSystemFile, Use::read); fault != DONE) return fault;
  unsigned char status[RAID_STATUS_SIZE] = {};
  const int result = Nas1GetRaidStatus(status);
  if (result == -1) return complain(LIBRARY_FAILED, "there is no driver behind /dev/nas1");
  std::int32_t words[2];
  std::memcpy(words, status, sizeof words);
  const std::string drivers = inHex({status + sizeof words, std::end(status)});
  if (const ExitCode fault = printObject(output, "raid",
                                         {{"raid_level", static_cast<long long>(words[0])},
                                          {"flag", static_cast<long long>(words[1])},
                                          {"driver", result == 0 ? Cell(drivers) : Cell()}});
      fault != DONE)
    return fault;
  return result == 0 ? DONE : complain(LIBRARY_FAILED, "the driver does not tell the state of the RAID");
}

}  // namespace

void registerDisk(CLI::App& noun, ExitCode& result) {
  output = {};
  CLI::App* const listVerb =
      noun.add_subcommand("list", "Print the listed disks with the driver's index and the number");
  addOutputOptions(*listVerb, output);
  listVerb->callback([&result] { result = list(); });

  CLI::App* const configVerb = noun.add_subcommand("config", "Print the disk configuration");
  addOutputOptions(*configVerb, output);
  configVerb->callback([&result] { result = config(); });
}

void registerRaid(CLI::App& noun, ExitCode& result) {
  output = {};
  addOutputOptions(noun, output);
  noun.callback([&result] { result = raid(); });
}
