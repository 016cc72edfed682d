#include "watches.h"

#include <nas1api.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include "hot_swap.h"

void DiskWatch::look() {
  const std::vector<std::string> devices = listedDisks();
  if (!looked || disks.size() != devices.size()) {
    // Nothing is known of the disks of a new list yet, and their numbers may be others.
    disks.clear();
    for (const std::string& device : devices) disks.push_back({device, access(device.c_str(), F_OK) == 0});
    initDiskNumMap();
    looked = true;
    return;
  }
  for (std::size_t i = 0; i < disks.size(); ++i) {
    const bool present = access(devices[i].c_str(), F_OK) == 0;
    const bool changed = disks[i].device == devices[i] && disks[i].present != present;
    disks[i] = {devices[i], present};
    if (!changed) continue;
    auto index = static_cast<std::int32_t>(i);
    (void)Nas1Event(present ? 1 : 2, &index);
  }
}

namespace {

struct UpsState {
  const char* word;
  unsigned event;
};

constexpr UpsState upsStates[] = {{"online", 25}, {"battery", 9}, {"low", 10}, {"lost", 24}};

std::string readWord(const char* path) {
  char word[32] = "";
  std::FILE* const file = std::fopen(path, "re");
  if (file == nullptr) return word;
  if (std::fscanf(file, "%31s", word) != 1) word[0] = '\0';
  (void)std::fclose(file);
  return word;
}

}  // namespace

void UpsWatch::look() {
  const std::string now = readWord(kUpsFile);
  // Without a file there is no UPS, or its service is being restarted.
  if (now.empty() || now == state) return;
  for (const UpsState& known : upsStates) {
    if (now != known.word) continue;
    state = now;
    (void)Nas1Event(known.event, nullptr);
  }
}
