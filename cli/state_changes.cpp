#include "state_changes.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "calls.h"
#include "config_keys.h"
#include "module_fields.h"
#include "record_files.h"
#include "settings.h"

namespace {

// ---- Settings

// The two on which the meaning of all other texts depends.
constexpr const char* firstSettings[] = {"CIFS_CODE_PAGE", "CODING_SYSTEM"};

// By its number, so that every protocol is told, where the key has one and the value comes through unharmed.
void addSetting(const Import& job, const std::string& name, const std::string& word) {
  const auto present = job.present.state.settings->find(name);
  if (present != job.present.state.settings->end() && present->second == word) return;
  const ConfigKey* const key = configKeyNamed(name);
  job.changes.first.emplace_back([key, word] {
    SettingValue value;
    if (const ExitCode fault = parseSetting(*key, key->isNumberedOnly(), word, value); fault != DONE) return fault;
    return storeSetting(*key, fitsNumberedCall(*key, value), value);
  });
}

bool isFirst(const std::string& name) {
  return std::find(std::begin(firstSettings), std::end(firstSettings), name) != std::end(firstSettings);
}

// Two services of one name on the wire would shadow each other.
ExitCode checkServerNames(const Import& job) {
  const std::string name = wantedSetting(job, "CIFS_SERVER_NAME");
  if (name.empty() || name != wantedSetting(job, "NCP_SERVER_NAME")) return DONE;
  return complain(REFUSED, "CIFS_SERVER_NAME and NCP_SERVER_NAME would both be %s; they must be different",
                  name.c_str());
}

// ---- Modules, snapshot settings, products' texts

ExitCode storeModule(const ModuleRecord& record, bool isNew) {
  if (isOnlyShown(isNew ? "Nas1ModuleAdd" : "Nas1ModuleMod", {describedArgument(moduleName(record))})) return DONE;
  if ((isNew ? Nas1ModuleAdd(&record) : Nas1ModuleMod(&record)) == 0) return DONE;
  return explainFailure(kModuleFile, Use::change, "the module could not be stored");
}

void addModuleChanges(const Import& job) {
  if (!job.wanted.modules) return;
  std::map<std::string, const ModuleRecord*> present;
  for (const ModuleRecord& record : *job.present.state.modules) present[moduleName(record)] = &record;
  for (const ModuleRecord& record : *job.wanted.modules) {
    const auto found = present.find(moduleName(record));
    const bool isNew = found == present.end();
    if (!isNew && std::memcmp(found->second, &record, sizeof record) == 0) continue;
    job.changes.first.emplace_back([&record, isNew] { return storeModule(record, isNew); });
  }
}

ExitCode storeSnapshot(const SnapshotState& snapshot) {
  std::string words;
  for (const std::uint32_t word : snapshot.words) words += (words.empty() ? "" : ", ") + std::to_string(word);
  if (isOnlyShown("Nas1SetSnapshotConfig", {snapshot.volume, describedArgument(words)})) return DONE;
  if (Nas1SetSnapshotConfig(snapshot.volume.c_str(), snapshot.words.data()) == 0) return DONE;
  return explainFailure(kSystemFile, Use::change, "the snapshot settings of a volume could not be stored");
}

ExitCode addSnapshotChanges(const Import& job) {
  if (!job.wanted.snapshots) return DONE;
  const auto& volumes = *job.present.state.snapshots;
  for (const SnapshotState& snapshot : *job.wanted.snapshots) {
    const auto found = std::find_if(volumes.begin(), volumes.end(),
                                    [&](const SnapshotState& s) { return s.volume == snapshot.volume; });
    if (found == volumes.end()) {
      return complain(UNKNOWN_OBJECT, "the document has snapshot settings of a volume %s, which is not there",
                      snapshot.volume.c_str());
    }
    // A volume without a record shows a default that may be about to change.
    SnapshotState present = *found;
    if (!job.present.storedSnapshots.contains(snapshot.volume))
      present.words = {
          static_cast<std::uint32_t>(std::strtoul(wantedSetting(job, "DEF_SNAPSHOT_RESERVED").c_str(), nullptr, 10))};
    if (present.words == snapshot.words) continue;
    job.changes.first.emplace_back([&snapshot] { return storeSnapshot(snapshot); });
  }
  return DONE;
}

ExitCode storeProduct(const std::string& key, const std::string& text) {
  const int size = static_cast<int>(text.size()) + 1;
  if (isOnlyShown("Nas1SetProductConfig", {key, size, text})) return DONE;
  if (Nas1SetProductConfig(key.c_str(), size, text.c_str()) == 0) return DONE;
  return explainFailure(kSystemFile, Use::change, "the text of a product could not be stored");
}

// There is no call that removes a text: an empty one counts as none.
void addProductChanges(const Import& job) {
  if (!job.wanted.products) return;
  std::map<std::string, std::string> present;
  for (const ProductText& product : *job.present.state.products) present[product.key] = product.text;
  for (const ProductText& product : *job.wanted.products) {
    const auto found = present.extract(product.key);
    if ((found.empty() ? "" : found.mapped()) == product.text) continue;
    job.changes.first.emplace_back([&product] { return storeProduct(product.key, product.text); });
  }
  if (!job.options.prune) return;
  for (const auto& [key, ignored] : present)
    job.changes.first.emplace_back([name = key] { return storeProduct(name, ""); });
}

}  // namespace

std::string wantedSetting(const Import& job, const char* key) {
  for (const State* const state : {&job.wanted, &job.present.state}) {
    if (state->settings && state->settings->contains(key)) return state->settings->at(key);
  }
  return "";
}

void addSettingChanges(const Import& job) {
  if (!job.wanted.settings) return;
  for (const char* const name : firstSettings) {
    const auto found = job.wanted.settings->find(name);
    if (found != job.wanted.settings->end()) addSetting(job, name, found->second);
  }
  for (const auto& [name, word] : *job.wanted.settings) {
    if (!isFirst(name)) addSetting(job, name, word);
  }
}

ExitCode addOtherChanges(const Import& job) {
  addModuleChanges(job);
  addProductChanges(job);
  return addSnapshotChanges(job);
}

ExitCode findChanges(const State& wanted, const PresentState& present, const ImportOptions& options, Changes& changes) {
  const Import job = {wanted, present, options, changes};
  if (const ExitCode fault = checkServerNames(job); fault != DONE) return fault;
  addSettingChanges(job);
  for (ExitCode (*const add)(const Import&) : {addRemovals, addAccountChanges, addShareChanges, addOtherChanges}) {
    if (const ExitCode fault = add(job); fault != DONE) return fault;
  }
  return DONE;
}
