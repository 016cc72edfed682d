#pragma once
// The state that the appliance is in.

#include <set>
#include <string>

#include "db_records.h"
#include "errors.h"
#include "state_model.h"

struct PresentState {
  State state;  // whole, sorted, passwords included
  std::set<std::string> storedSettings;
  std::set<std::string> storedSnapshots;  // volumes that have a record; the others show their default
  std::set<std::string> leftLists;        // shares that are not there, but have permissions or hosts
};

// Reads everything at one moment, but for the settings, which the library fetches from many places.
ExitCode readPresentState(PresentState& present);

// Takes out what is as it is without anybody having set it: settings and snapshot records with their defaults.
void dropDefaults(PresentState& present);
