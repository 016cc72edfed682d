#pragma once
// Records in words, to tell what changes in them.

#include <map>
#include <string>

#include "record_layouts.h"

// The fields of a sound record by name. Passwords are masked; equal ones look equal, different ones different.
std::map<std::string, std::string> recordFields(RecordKind kind, const std::string& key, const std::string& value,
                                                bool withSecrets);

// "comment: old -> new, path: ..." for what differs between two records; of a record that was not there (empty) all
// fields: "comment: new, ...".
std::string recordChange(RecordKind kind, const std::string& key, const std::string& before, const std::string& after,
                         bool withSecrets);
