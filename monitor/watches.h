#pragma once
// What the monitor looks at from time to time. A watch compares with what it saw the last time and reports changes as
// events.

#include <string>
#include <vector>

// The listed disks: event 2 when a device is gone, event 1 when it is back.
class DiskWatch {
 public:
  void look();

 private:
  struct Disk {
    std::string device;
    bool present;
  };
  std::vector<Disk> disks;
  bool looked = false;
};

// The state of the uninterruptible power supply, a word that its service keeps in a file.
inline constexpr char kUpsFile[] = "/run/ups.state";

class UpsWatch {
 public:
  void look();

 private:
  std::string state = "online";
};
