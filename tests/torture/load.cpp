// Many processes at the same files: what was acknowledged is there, what was refused is not.

#include <gdbm.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <cstring>
#include <set>

#include "api/nas1api.h"
#include "core/record_store.h"
#include "torture.h"

namespace {

constexpr useconds_t kPauseUs = 50000;
constexpr int kLargeBytes = 9 * 1024 * 1024;

std::string readSetting(const std::string& key) {
  char value[NAS_PRODUCT_TEXT_SIZE] = {};
  (void)Nas1GetProductConfig(key.c_str(), value);
  return value;
}

// Processes that store settings of their own, as many each; what was acknowledged is read back at the end.
void storeSettings(Outcome& outcome, int processes, int each, useconds_t pauseUs, long& refused) {
  const Shared<bool> stored(static_cast<std::size_t>(processes * each));
  const auto name = [&](int index) { return text("process %d setting %d", index / each, index % each); };
  inProcesses(processes, outcome, [&](int process) {
    for (int index = process * each; index < (process + 1) * each; ++index) {
      const std::string key = name(index);
      stored[static_cast<std::size_t>(index)] =
          Nas1SetProductConfig(key.c_str(), static_cast<int>(key.size()) + 1, key.c_str()) == 0;
      (void)usleep(pauseUs);
    }
    return 0;
  });
  for (int index = 0; index < processes * each; ++index) {
    const std::string found = readSetting(name(index));
    if (stored[static_cast<std::size_t>(index)]) {
      outcome.expect(found == name(index), "missing: " + name(index));
    } else {
      ++refused;
      outcome.expect(found.empty(), "there although refused: " + name(index));
    }
  }
}

void expectSound(Outcome& outcome) {
  const Verdict verdict = checkRecords();
  outcome.expect(verdict.ran && verdict.damaged + verdict.looseEnds == 0, "nas1 db check: " + verdict.firstWord);
}

// What became of one share.
enum Fate : char { NEVER, REFUSED_ADD, ADDED, REFUSED_DELETION, DELETED };

}  // namespace

Outcome settingsTest(const Extent& extent) {
  const int each = extent.full ? 200 : 20;
  Outcome outcome = {.done = text("32 processes store %d settings each, 50 ms apart", each)};
  long refused = 0;
  storeSettings(outcome, 32, each, kPauseUs, refused);
  for (long i = 0; i < refused; ++i) outcome.fault("a store was refused");
  expectSound(outcome);
  outcome.seen = text("%ld refused", refused);
  return outcome;
}

Outcome sharesTest(const Extent& extent) {
  constexpr int kProcesses = 8;
  const int each = extent.full ? 1000 : 30;
  Outcome outcome = {.done = text("%d processes add and delete shares in a batch, %d calls each", kProcesses, each)};
  const Shared<Fate> fates(static_cast<std::size_t>(kProcesses * each));
  const auto name = [&](int index) { return text("p%d.%d", index / each, index % each); };
  inProcesses(kProcesses, outcome, [&](int process) {
    (void)EnableNas1ShareBatch(1);
    int oldest = process * each;
    int newest = oldest;
    for (int call = 0; call < each; ++call) {
      const bool isDeletion = call % 2 == 1 && fates[static_cast<std::size_t>(oldest)] == ADDED;
      const int index = isDeletion ? oldest : newest;
      const std::string share = name(index);
      char buffer[NAS_NAME_SIZE] = {};
      (void)share.copy(buffer, sizeof buffer - 1);
      const int result =
          isDeletion ? Nas1ShareDel(buffer) : Nas1ShareAdd(buffer, share.c_str(), ("/volume/v1/" + share).c_str());
      if (result != 0 && result != -1) return 1;
      fates[static_cast<std::size_t>(index)] =
          isDeletion ? (result == 0 ? DELETED : REFUSED_DELETION) : (result == 0 ? ADDED : REFUSED_ADD);
      ++(isDeletion ? oldest : newest);
      while (oldest < newest && fates[static_cast<std::size_t>(oldest)] != ADDED) ++oldest;
    }
    return 0;
  });
  long refused = 0;
  for (int index = 0; index < kProcesses * each; ++index) {
    const Fate fate = fates[static_cast<std::size_t>(index)];
    const std::string share = name(index);
    char buffer[512] = {};
    const bool isThere = Nas1GetShareInfo(share.c_str(), buffer, sizeof buffer) == 0;
    refused += fate == REFUSED_ADD || fate == REFUSED_DELETION ? 1 : 0;
    outcome.expect(isThere == (fate == ADDED || fate == REFUSED_DELETION),
                   text("share %s: result %d, %s", share.c_str(), fate, isThere ? "there" : "not there"));
    const auto* const info = reinterpret_cast<const ShareInfo*>(buffer);
    outcome.expect(!isThere || (share == info->comment && "/volume/v1/" + share == info->path),
                   "wrong values: " + share);
  }
  expectSound(outcome);
  const double percent = 100.0 * static_cast<double>(refused) / (kProcesses * each);
  outcome.expect(percent < 2, text("%.2f %% refused", percent));
  outcome.seen = text("%ld refused (%.2f %%)", refused, percent);
  return outcome;
}

Outcome largeFileTest(const Extent& extent) {
  const int each = extent.full ? 100 : 10;
  Outcome outcome = {.done = text("4 processes store %d settings each in a file of 9 MiB", each)};
  GDBM_FILE const file = openRecordset(kSystemFile, 0, GDBM_WRCREAT, 0665);
  std::string bulk(kLargeBytes, 'b');
  char key[] = "bulk";
  if (file == nullptr || gdbm_store(file, {key, sizeof key}, {bulk.data(), kLargeBytes}, GDBM_REPLACE) != 0) {
    outcome.fault("the large file could not be made");
  }
  (void)gdbm_close(file);
  long refused = 0;
  storeSettings(outcome, 4, each, 0, refused);
  expectSound(outcome);
  outcome.seen = text("%ld refused", refused);
  return outcome;
}
