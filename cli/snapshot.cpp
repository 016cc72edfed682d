// nas1 snapshot: what the snapshot scheduler is to do with a volume.

#include <nas1api.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "calls.h"
#include "nouns.h"
#include "output.h"
#include "record_files.h"
#include "safe_values.h"
#include "suggest.h"
#include "volumes.h"

namespace {

struct Arguments {
  std::string volume;
  std::optional<std::uint32_t> reserved;
  std::vector<std::uint32_t> schedule;
  bool allowUnsafe = false;
  Output output;
};
Arguments arguments;

// The reserved space, then what the scheduler alone understands.
using Record = std::array<std::uint32_t, 5>;
constexpr int kScheduleWords = 4;

Record readRecord() {
  Record record = {};
  (void)Nas1GetSnapshotConfig(arguments.volume.c_str(), record.data());
  return record;
}

// A record of a volume that does not exist would be read by nobody.
ExitCode checkVolume() {
  std::vector<std::string> names;
  for (const VolumeInfo& volume : allVolumes(nullptr)) names.push_back(fieldText(volume.name, sizeof volume.name));
  if (std::find(names.begin(), names.end(), arguments.volume) != names.end()) return DONE;
  return complain(UNKNOWN_OBJECT, "there is no volume %s%s; nas1 volume list shows them", arguments.volume.c_str(),
                  suggestion(arguments.volume, names).c_str());
}

ExitCode get() {
  if (const ExitCode fault = checkVolume(); fault != DONE) return fault;
  // An unreadable record file would look like a record that was never made.
  if (const ExitCode fault = checkRecordFile(kSystemFile, Use::read); fault != DONE) return fault;
  const Record record = readRecord();
  const auto word = [&](std::size_t i) { return static_cast<long long>(record[i]); };
  return printObject(arguments.output, "snapshot",
                     {{"volume", arguments.volume},
                      {"reserved", word(0)},
                      {"schedule_1", word(1)},
                      {"schedule_2", word(2)},
                      {"schedule_3", word(3)},
                      {"schedule_4", word(4)}});
}

ExitCode set() {
  if (!arguments.reserved && arguments.schedule.empty())
    return complain(USAGE, "nothing to change: give --reserved, --schedule or both");
  if (const ExitCode fault = checkVolume(); fault != DONE) return fault;
  if (const ExitCode fault = checkSafe(Field::volume, "volume", arguments.volume, arguments.allowUnsafe); fault != DONE)
    return fault;
  if (const ExitCode fault = checkRecordFile(kSystemFile, Use::change); fault != DONE) return fault;
  const Record present = readRecord();
  Record wanted = present;
  if (arguments.reserved) wanted[0] = *arguments.reserved;
  std::copy(arguments.schedule.begin(), arguments.schedule.end(), wanted.begin() + 1);
  if (wanted == present) return unchanged();
  std::string words;
  for (const std::uint32_t word : wanted) words += (words.empty() ? "" : ", ") + std::to_string(word);
  if (isOnlyShown("Nas1SetSnapshotConfig", {arguments.volume, describedArgument(words)})) return DONE;
  const int result = Nas1SetSnapshotConfig(arguments.volume.c_str(), wanted.data());
  if (result == 0 && readRecord() == wanted) return DONE;
  return explainFailure(kSystemFile, Use::change, "the record of the volume could not be stored");
}

}  // namespace

void registerSnapshot(CLI::App& noun, ExitCode& result) {
  arguments = {};
  CLI::App* const getVerb = noun.add_subcommand("get", "Print the snapshot settings of a volume");
  getVerb->add_option("VOLUME", arguments.volume, "Name of the volume")->required();
  addOutputOptions(*getVerb, arguments.output);
  getVerb->callback([&result] { result = get(); });

  CLI::App* const setVerb = noun.add_subcommand("set", "Change the snapshot settings of a volume");
  setVerb->add_option("VOLUME", arguments.volume, "Name of the volume")->required();
  setVerb->add_option("--reserved", arguments.reserved, "Reserved snapshot space");
  setVerb->add_option("--schedule", arguments.schedule, "The four numbers of the scheduler")->expected(kScheduleWords);
  setVerb->add_flag("--allow-unsafe", arguments.allowUnsafe, "Hand a name on that a shell may misread");
  addDryRunOption(*setVerb);
  setVerb->callback([&result] { result = set(); });
}
